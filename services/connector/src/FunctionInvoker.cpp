#include "korvan/services/connector/FunctionInvoker.hpp"

#include <atomic>
#include <cctype>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "cmddistributor/RuntimeException.hpp"
#include "foundation/core/except/IException.hpp"
#include "korvan/services/connector/JsonValues.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "xvm/Dispatch.hpp"
#include "xvm/RunOnInterpreter.hpp"

namespace korvan::services::connector {
namespace {

using foundation::json::Array;
using foundation::json::Value;

CallOutcome failure(unsigned status, std::string_view identifier, std::string_view message) {
    return {status, errorBody(identifier, message)};
}

CallOutcome timedOut(std::chrono::milliseconds timeout) {
    return failure(503, errorid::kTimedOut,
                   "The function did not finish within " + std::to_string(timeout.count()) + " ms");
}

// "1 input", "2 inputs".
std::string counted(std::size_t n, const char* what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

// "HTTP4xx:name": an error a function raises to answer that status (a caller's mistake it
// found itself, such as "HTTP404:NoSuchItem").
bool isChosenStatus(std::string_view id) {
    return id.size() > 8 && id.substr(0, 5) == "HTTP4" &&
           std::isdigit(static_cast<unsigned char>(id[5])) &&
           std::isdigit(static_cast<unsigned char>(id[6])) && id[7] == ':';
}

}  // namespace

unsigned statusOfFunctionError(std::string_view id) {
    if (isChosenStatus(id)) return 400 + static_cast<unsigned>((id[5] - '0') * 10 + (id[6] - '0'));
    // The caller gave more inputs, or asked for more outputs, than the function has.
    static constexpr std::string_view kCallerMistakes[] = {
        "KORVAN:lang:TooManyInputs", "KORVAN:host:TooManyInputs", "KORVAN:lang:TooManyOutputs",
        "KORVAN:host:TooManyOutputs", "KORVAN:host:NotEnoughInputs"};
    for (std::string_view mistake : kCallerMistakes)
        if (id == mistake) return 400;
    return 500;
}

namespace {

CallOutcome callAndConvert(const korvan::host::Function& function, const Value& args, int nargout) {
    std::vector<kx::ArrayPtr> inputs;
    const Array& list = args.asArray();
    for (std::size_t i = 0; i < list.size(); ++i) {
        try {
            inputs.push_back(arrayFromJson(list[i]));
        } catch (const ValueMappingError& e) {
            return failure(400, errorid::kInvalidArguments,
                           "Argument " + std::to_string(i + 1) + ": " + e.what());
        }
    }
    std::vector<const kxArray*> in;
    for (const auto& a : inputs) in.push_back(a.get());
    std::vector<kxArray*> out(static_cast<std::size_t>(std::max(nargout, 1)), nullptr);
    std::vector<kx::ArrayPtr> owned;
    try {
        function(nargout, out.data(), static_cast<int>(in.size()), in.data());
        for (kxArray* a : out) owned.emplace_back(a);
    } catch (const std::bad_alloc&) {
        for (kxArray* a : out) kxReleaseArray(a);
        return failure(500, errorid::kOutOfMemory,
                       "The function needed more memory than it may use");
    } catch (const foundation::core::except::IMsgIDException& e) {
        for (kxArray* a : out) kxReleaseArray(a);
        const std::string id = e.GetID();
        const unsigned status = statusOfFunctionError(id);
        std::string message = e.what();
        if (status == 400 && !isChosenStatus(id))
            message += " The call gave " + counted(in.size(), "input") + " and asked for " +
                       counted(static_cast<std::size_t>(nargout), "output") + ".";
        return failure(status, id.empty() ? errorid::kFunctionError : id, message);
    } catch (const std::exception& e) {
        for (kxArray* a : out) kxReleaseArray(a);
        return failure(500, errorid::kFunctionError, e.what());
    }
    Array results;
    for (int i = 0; i < nargout; ++i) {
        if (!owned[static_cast<std::size_t>(i)])
            return failure(
                500, errorid::kInvalidResult,
                "The function returned fewer than " + std::to_string(nargout) + " outputs");
        try {
            results.push_back(jsonFromArray(owned[static_cast<std::size_t>(i)].get()));
        } catch (const ValueMappingError& e) {
            return failure(500, errorid::kInvalidResult,
                           "Output " + std::to_string(i + 1) + ": " + e.what());
        }
    }
    Value body;
    body.set("results", Value(std::move(results)));
    return {200, std::move(body)};
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

// A call on the blocking-call pool: no time-out (the invoker bounds its own calls).
class PooledCall final : public PendingCall {
  public:
    std::chrono::milliseconds timeout() const noexcept override { return {}; }
    void expire() override {}
};

// The pool that runs blocking invokers' calls. Never destroyed: a call still blocked when the
// process ends must not hold up its exit.
boost::asio::thread_pool& blockingCallPool() {
    static auto* pool = new boost::asio::thread_pool(4);
    return *pool;
}

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
    // Used by the starter's thread only.
    std::optional<xvm::Future<void>> fPosted;
};

}  // namespace

CallOutcome runFunctionCall(const korvan::host::Function& function, const Value& args,
                            int nargout) noexcept {
    try {
        return callAndConvert(function, args, nargout);
    } catch (const std::exception& e) {
        return failure(500, errorid::kFunctionError, e.what());
    } catch (...) {
        return failure(500, errorid::kFunctionError, "The function raised an unknown error");
    }
}

std::shared_ptr<PendingCall> FunctionInvoker::start(FunctionCall call, CallCompletion done) {
    auto self = weak_from_this().lock();
    if (!self) {
        done(invoke(std::move(call.fFunction), std::move(call.fArgs), call.fNargout));
        return std::make_shared<PooledCall>();
    }
    boost::asio::post(
        blockingCallPool(), [self, call = std::move(call), done = std::move(done)]() mutable {
            done(self->invoke(std::move(call.fFunction), std::move(call.fArgs), call.fNargout));
        });
    return std::make_shared<PooledCall>();
}

void FunctionInvoker::open(boost::asio::io_context&, const std::filesystem::path&) {}

std::optional<Value> FunctionInvoker::describe(std::string_view) const {
    return std::nullopt;
}

InterpreterInvoker::InterpreterInvoker(std::shared_ptr<xvm::XVM> vm,
                                       std::chrono::milliseconds timeout)
    : fVM(std::move(vm)), fTimeout(timeout) {}

CallOutcome InterpreterInvoker::invoke(korvan::host::Function function, Value args, int nargout) {
    // runFunctionCall never throws, so what callOnInterpreter throws is the host's own
    // report about the post (queue full, time-out, no interpreter), never the function's.
    try {
        return xvm::callOnInterpreter(
            fVM,
            [function = std::move(function), args = std::move(args), nargout] {
                return runFunctionCall(function, args, nargout);
            },
            fTimeout, "RestFcnService");
    } catch (const cmddistributor::RuntimeException& e) {
        return refusal(e, fTimeout);
    } catch (const std::exception& e) {
        return failure(503, errorid::kUnavailable, e.what());
    }
}

std::shared_ptr<PendingCall> InterpreterInvoker::start(FunctionCall call, CallCompletion done) {
    auto pending = std::make_shared<InterpreterCall>(std::move(done), fTimeout);
    pending->post(fVM, std::move(call), pending);
    return pending;
}

}  // namespace korvan::services::connector
