#include "Invokers.hpp"

#include <atomic>
#include <future>
#include <optional>
#include <string>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "cmddistributor/RuntimeException.hpp"
#include "xvm/Dispatch.hpp"

namespace korvan::test {

using namespace korvan::services::connector;
namespace {

CallOutcome failure(unsigned status, std::string_view identifier, std::string_view message) {
    return {status, errorBody(identifier, message)};
}

CallOutcome timedOut(std::chrono::milliseconds timeout) {
    return failure(503, errorid::kTimedOut,
                   "The function did not finish within " + std::to_string(timeout.count()) + " ms");
}

// The 503 outcome for the host's refusal to run a posted call.
CallOutcome refusal(const cmddistributor::RuntimeException& e, std::chrono::milliseconds timeout) {
    using cmddistributor::ExecutionStatus;
    switch (e.getExecutionStatus()) {
        case ExecutionStatus::QueueFull:
            return failure(503, errorid::kQueueFull, "The interpreter's queue is full");
        case ExecutionStatus::TimedOut:
            return timedOut(timeout);
        default:
            return failure(503, errorid::kUnavailable,
                           std::string("The interpreter is not available: ") + e.what());
    }
}

// Settled once: by the call's end, a refusal or expire(), whichever comes first.
class Settlement {
  public:
    explicit Settlement(CallCompletion done) : fDone(std::move(done)) {}
    bool settle(CallOutcome outcome) {
        if (fSettled.exchange(true, std::memory_order_acq_rel)) return false;
        fDone(std::move(outcome));
        return true;
    }

  private:
    std::atomic<bool> fSettled{false};
    const CallCompletion fDone;
};

// A call posted to the interpreter. The work holds it until it has run (or was withdrawn);
// the starter holds it to expire it.
class InterpreterCall final : public PendingCall {
  public:
    InterpreterCall(CallCompletion done, std::chrono::milliseconds timeout)
        : fSettlement(std::move(done)), fTimeout(timeout) {}

    void post(const std::shared_ptr<xvm::XVM>& vm, FunctionCall call,
              const std::shared_ptr<InterpreterCall>& self) {
        auto future = xvm::postTask(
            vm,
            [self, call = std::move(call)] {
                self->fSettlement.settle(
                    runFunctionCall(call.fFunction, call.fArgs, call.fNargout));
            },
            "RestFcnService");
        if (future.isReady()) {
            // Either the host refused the work (it never runs) or it already ran.
            try {
                future.get();
            } catch (const cmddistributor::RuntimeException& e) {
                fSettlement.settle(refusal(e, fTimeout));
            } catch (const std::exception& e) {
                fSettlement.settle(failure(503, errorid::kUnavailable, e.what()));
            }
            return;
        }
        fPosted.emplace(std::move(future));
    }

    std::chrono::milliseconds timeout() const noexcept override { return fTimeout; }
    void expire() override {
        if (!fSettlement.settle(timedOut(fTimeout))) return;
        if (fPosted) fPosted->getTaskReference().cancel();
    }

  private:
    Settlement fSettlement;
    const std::chrono::milliseconds fTimeout;
    // Set by post(), before the starter can call expire(); empty when the post was refused.
    std::optional<xvm::Future<void>> fPosted;
};

// A call of a BlockingInvoker: no time-out (the double bounds its own calls).
class PooledCall final : public PendingCall {
  public:
    std::chrono::milliseconds timeout() const noexcept override { return {}; }
    void expire() override {}
};

}  // namespace

InterpreterInvoker::InterpreterInvoker(std::shared_ptr<xvm::XVM> vm,
                                       std::chrono::milliseconds timeout)
    : fVM(std::move(vm)), fTimeout(timeout) {}

std::shared_ptr<PendingCall> InterpreterInvoker::start(FunctionCall call, CallCompletion done) {
    auto pending = std::make_shared<InterpreterCall>(std::move(done), fTimeout);
    pending->post(fVM, std::move(call), pending);
    return pending;
}

std::shared_ptr<PendingCall> BlockingInvoker::start(FunctionCall call, CallCompletion done) {
    // Never destroyed: a call still blocked when the process ends must not hold up its exit.
    static auto* pool = new boost::asio::thread_pool(4);
    auto self = std::static_pointer_cast<BlockingInvoker>(weak_from_this().lock());
    if (!self) {
        done(invoke(std::move(call.fFunction), std::move(call.fArgs), call.fNargout));
        return std::make_shared<PooledCall>();
    }
    boost::asio::post(*pool, [self, call = std::move(call), done = std::move(done)]() mutable {
        done(self->invoke(std::move(call.fFunction), std::move(call.fArgs), call.fNargout));
    });
    return std::make_shared<PooledCall>();
}

CallOutcome callNow(FunctionInvoker& invoker, FunctionCall call, std::chrono::milliseconds limit) {
    auto promise = std::make_shared<std::promise<CallOutcome>>();
    auto future = promise->get_future();
    auto pending = invoker.start(std::move(call), [promise](CallOutcome outcome) {
        promise->set_value(std::move(outcome));
    });
    const auto wait = pending->timeout().count() > 0 ? std::min(limit, pending->timeout()) : limit;
    if (future.wait_for(wait) != std::future_status::ready) {
        // What the server does at its call time-out; a call that never settles is the test's
        // failure, reported as a 504 rather than a hang.
        pending->expire();
        if (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            return failure(504, "KORVAN:test:NotSettled", "The call did not settle in time");
    }
    return future.get();
}

Response respondNow(const Request& request, const RequestContext& context,
                    std::chrono::milliseconds limit) {
    auto routed = routeRequest(request, context);
    if (auto* response = std::get_if<Response>(&routed)) return std::move(*response);
    return callResponse(
        request, callNow(context.fInvoker, std::move(std::get<FunctionCall>(routed)), limit));
}

}  // namespace korvan::test
