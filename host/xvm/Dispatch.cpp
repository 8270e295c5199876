#include "xvm/Dispatch.hpp"

#include <stdexcept>

#include "cmddistributor/CmdRequest.hpp"
#include "cmddistributor/IIP.hpp"
#include "cmddistributor/RuntimeException.hpp"

namespace xvm {
namespace detail {

// ---- task references --------------------------------------------------------------------

TaskReference::~TaskReference() = default;

void TaskReference::then(const boost::function<void()>& /*continuation*/) const {
    throw std::runtime_error("then is unsupported");
}

CmdDistributorTaskReference::CmdDistributorTaskReference(
    std::shared_ptr<cmddistributor::CmdDistributor> distributor,
    foundation::msg_svc::exchange::IDType taskId)
    : fDistributor(std::move(distributor)), fTaskId(taskId) {}

bool CmdDistributorTaskReference::cancel() const {
    return fDistributor && fDistributor->cancel(fTaskId);
}

foundation::msg_svc::exchange::IDType NullCmdDistributorTaskReference::getTaskID() const {
    return foundation::msg_svc::exchange::nilID();
}

// ---- posting ----------------------------------------------------------------------------

foundation::msg_svc::exchange::IDType createID() {
    return foundation::msg_svc::exchange::newID();
}

CmdDistributorAndSinks getCmdDistributorAndSinks(const Target& target,
                                                 const cmddistributor::RunOptions& runOptions) {
    std::shared_ptr<XVM> vm;
    if (const auto* handle = std::get_if<std::shared_ptr<XVM>>(&target)) {
        vm = *handle;
    } else {
        vm = Factory::findByMcrID(std::get<kvutil::contextmgr::McrID>(target));
    }
    CmdDistributorAndSinks result;
    if (vm) {
        result.fDistributor = vm->getCmdDistributor();
        result.fOutputSink = vm->getOutputSink();
        result.fErrorSink = vm->getErrorSink();
    }
    if (runOptions.fOutputSink) result.fOutputSink = runOptions.fOutputSink;
    if (runOptions.fErrorSink) result.fErrorSink = runOptions.fErrorSink;
    if (!result.fOutputSink) result.fOutputSink = kvutil::io::stdoutSink();
    if (!result.fErrorSink) result.fErrorSink = kvutil::io::stderrSink();
    return result;
}

Future<void> makeNoDistributorFuture(std::string sourceFile) {
    cmddistributor::RuntimeException error(cmddistributor::ExecutionStatus::NoDistributor,
                                           "No CmdDistributor available", {},
                                           std::move(sourceFile));
    return Future<void>(cmddistributor::makeFailedFuture(error),
                        std::make_shared<NullCmdDistributorTaskReference>());
}

}  // namespace detail

Future<void> postTask(const detail::Target& target, boost::function<void()> work,
                      std::string origin, const cmddistributor::RunOptions& runOptions) {
    const auto taskId = detail::createID();
    auto [distributor, out, err] = detail::getCmdDistributorAndSinks(target, runOptions);
    // Built before the distributor check, so empty work is refused the same way either way.
    auto iip = std::make_shared<cmddistributor::PackagedTaskIIP>(std::move(work), out, err, origin);
    if (!distributor) return detail::makeNoDistributorFuture(std::move(origin));
    auto request = std::make_shared<cmddistributor::FcnCmdRequest<void>>(std::move(iip));
    auto future = distributor->enqueueWithFuture(request, runOptions, taskId);
    return Future<void>(std::move(future), std::make_shared<detail::CmdDistributorTaskReference>(
                                               std::move(distributor), taskId));
}

// ---- Future<void> -------------------------------------------------------------------------

Future<void>::Future(boost::future<void> future,
                     std::shared_ptr<const detail::TaskReference> reference)
    : fFuture(std::move(future)),
      fReference(reference ? std::move(reference)
                           : std::make_shared<detail::NullCmdDistributorTaskReference>()) {}

Future<void>::~Future() = default;

void Future<void>::get() {
    fFuture.get();
}

bool Future<void>::waitFor(std::chrono::milliseconds timeout) {
    return fFuture.wait_for(boost::chrono::milliseconds(timeout.count())) ==
           boost::future_status::ready;
}

}  // namespace xvm
