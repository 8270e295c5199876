#include "korvan/services/connector/FunctionInvoker.hpp"

#include <cctype>
#include <string>
#include <utility>
#include <vector>

#include "foundation/core/except/IException.hpp"
#include "korvan/services/connector/JsonValues.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace korvan::services::connector {
namespace {

using foundation::json::Array;
using foundation::json::Value;

CallOutcome failure(unsigned status, std::string_view identifier, std::string_view message) {
    return {status, errorBody(identifier, message)};
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

void FunctionInvoker::open(boost::asio::io_context&, const std::filesystem::path&) {}

std::optional<Value> FunctionInvoker::describe(std::string_view) const {
    return std::nullopt;
}

}  // namespace korvan::services::connector
