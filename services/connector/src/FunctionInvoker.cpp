#include "korvan/services/connector/FunctionInvoker.hpp"

#include <string>
#include <utility>
#include <vector>

#include "cmddistributor/RuntimeException.hpp"
#include "foundation/core/except/IException.hpp"
#include "korvan/services/connector/JsonValues.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "xvm/RunOnInterpreter.hpp"

namespace korvan::services::connector {
namespace {

using foundation::json::Array;
using foundation::json::Value;

CallOutcome failure(unsigned status, std::string_view identifier, std::string_view message) {
    return {status, errorBody(identifier, message)};
}

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
    } catch (const foundation::core::except::IMsgIDException& e) {
        for (kxArray* a : out) kxReleaseArray(a);
        const std::string id = e.GetID();
        return failure(500, id.empty() ? errorid::kFunctionError : id, e.what());
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
        using cmddistributor::ExecutionStatus;
        switch (e.getExecutionStatus()) {
            case ExecutionStatus::QueueFull:
                return failure(503, errorid::kQueueFull, "The interpreter's queue is full");
            case ExecutionStatus::TimedOut:
                return failure(503, errorid::kTimedOut,
                               "The function did not finish within " +
                                   std::to_string(fTimeout.count()) + " ms");
            default:
                return failure(503, errorid::kUnavailable,
                               std::string("The interpreter is not available: ") + e.what());
        }
    } catch (const std::exception& e) {
        return failure(503, errorid::kUnavailable, e.what());
    }
}

}  // namespace korvan::services::connector
