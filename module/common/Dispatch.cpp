// postToInterpreter: one packaged-task request per post; the future is dropped at once.
#include "common/Dispatch.hpp"

#include <utility>

#include "cmddistributor/CmdRequest.hpp"
#include "cmddistributor/IIP.hpp"
#include "cmddistributor/Types.hpp"
#include "xvm/Dispatch.hpp"
#include "xvm/Future.hpp"

namespace rest::kv::connector {

void postToInterpreter(const std::shared_ptr<xvm::XVM>& interpreter, boost::function<void()> work) {
    const auto taskId = xvm::detail::createID();
    const cmddistributor::RunOptions options;
    const xvm::detail::Target target{interpreter};
    auto distributorAndSinks = xvm::detail::getCmdDistributorAndSinks(target, options);

    if (!distributorAndSinks.fDistributor) {
        // Nothing runs; the failure ("No CmdDistributor available") is held by a future that
        // nobody reads.
        xvm::Future<void> dropped = xvm::detail::makeNoDistributorFuture(kDispatchOrigin);
        return;
    }

    auto task = std::make_shared<cmddistributor::PackagedTaskIIP>(
        std::move(work), distributorAndSinks.fOutputSink, distributorAndSinks.fErrorSink,
        cmddistributor::PackagedTaskIIP::kKind, kDispatchOrigin,
        cmddistributor::kPackagedTaskStreamID);
    auto request = std::make_shared<cmddistributor::FcnCmdRequest<void>>(std::move(task));
    auto reference = std::make_shared<xvm::detail::CmdDistributorTaskReference>(
        distributorAndSinks.fDistributor, taskId);
    // Dropped here: releasing the future and the task reference never waits for the work.
    xvm::Future<void> dropped(
        distributorAndSinks.fDistributor->enqueueWithFuture(request, options, taskId),
        std::move(reference));
}

}  // namespace rest::kv::connector
