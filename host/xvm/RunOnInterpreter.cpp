#include "xvm/RunOnInterpreter.hpp"

#include "cmddistributor/RuntimeException.hpp"
#include "xvm/Dispatch.hpp"

namespace xvm {

void runOnInterpreter(const std::shared_ptr<XVM>& vm, boost::function<void()> work,
                      std::chrono::milliseconds timeout, std::string origin,
                      const cmddistributor::RunOptions& runOptions) {
    if (work.empty()) throw std::invalid_argument("func cannot be empty.");
    if (vm && vm->getCmdDistributor() && vm->isOwnerThread()) {
        // Waiting for our own queue would never end: run in place.
        work();
        return;
    }
    auto future = postTask(detail::Target{vm}, std::move(work), std::move(origin), runOptions);
    if (!future.waitFor(timeout)) {
        // Withdrawn if it has not started; otherwise it finishes unobserved.
        future.getTaskReference().cancel();
        throw cmddistributor::RuntimeException(
            cmddistributor::ExecutionStatus::TimedOut,
            "Interpreter did not finish the request within {1} ms", {}, {}, {}, {}, false,
            {static_cast<std::int64_t>(timeout.count())});
    }
    future.get();
}

}  // namespace xvm
