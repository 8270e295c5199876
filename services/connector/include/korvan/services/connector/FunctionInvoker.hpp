// Running one function call: the JSON arguments become host arrays, the function runs, its
// results become JSON. All three steps run together on the thread that runs the call (in a
// function worker, its interpreter), so the HTTPS threads never touch host arrays or host code.
//
// runFunctionCall is that unit of work; it never throws, every failure becomes an outcome with
// an HTTP status and an error body. FunctionInvoker decides where the work runs (the product's
// is WorkerInvoker: function worker processes). start() returns at once and hands the outcome
// to a completion, so that the HTTPS server waits for the call without tying up a thread.
//
// Threads: start() is called by the server's threads, several at once.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <boost/asio/io_context.hpp>

#include "foundation/json/Value.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

/// HTTP status and JSON body of an answered call.
struct CallOutcome {
    CallOutcome() = default;
    CallOutcome(unsigned status, foundation::json::Value body)
        : fStatus(status), fBody(std::move(body)) {}

    unsigned fStatus = 200;
    foundation::json::Value fBody;
    /// The body as JSON text when whoever ran the call wrote it already (a function worker);
    /// used as it stands instead of fBody when not empty.
    std::string fBodyText;
};

/// The largest nargout a request may ask for.
inline constexpr int kMaxNargout = 64;

/// Converts `args` (a JSON array), calls `function` with `nargout` outputs and converts the
/// results. 200 {"results": [...]}; 400 for arguments without a host form and for the caller's
/// mistakes (more inputs, or more outputs, than the function has); the status an error chose
/// ("HTTP4xx:name", see statusOfFunctionError); 500 for any other error the function raised
/// (its identifier and message) or a result without a JSON form.
/// The HTTP status that answers an error a function raised with identifier `id`: 400 to 499
/// for "HTTP4xx:<name>" (a function's way to answer a caller's mistake it found), 400 for the
/// caller's mistakes of inputs and outputs, else 500.
unsigned statusOfFunctionError(std::string_view id);
KORVAN_CONNECTOR_SERVICE_EXPORT CallOutcome runFunctionCall(const korvan::host::Function& function,
                                                            const foundation::json::Value& args,
                                                            int nargout) noexcept;

/// One call to make: what route() found for a POST and what start() takes.
struct FunctionCall {
    korvan::host::Function fFunction;  // the in-process callable (invokers that run in-process)
    foundation::json::Value fArgs;     // a JSON array
    int fNargout = 1;
    std::string fService;  // the names the call was routed by (function workers)
    std::string fName;
};

/// Receives the outcome of a started call; called exactly once, on whichever thread settles
/// the call (the thread that ran it, or the caller of expire()).
using CallCompletion = std::function<void(CallOutcome)>;

/// A call on its way, shared by its starter and the work that runs it. The first of the call's
/// end, a refusal by the host and expire() settles it; whatever comes later is dropped.
class KORVAN_CONNECTOR_SERVICE_EXPORT PendingCall {
  public:
    virtual ~PendingCall() = default;
    /// How long the starter waits before expire(); zero: no limit (the call bounds itself).
    virtual std::chrono::milliseconds timeout() const noexcept = 0;
    /// Settles the call with 503 kTimedOut unless it has settled; a call that has not started
    /// is withdrawn and never runs. Work that has started runs to its end, its outcome dropped.
    virtual void expire() = 0;
};

class KORVAN_CONNECTOR_SERVICE_EXPORT FunctionInvoker
    : public std::enable_shared_from_this<FunctionInvoker> {
  public:
    virtual ~FunctionInvoker() = default;
    /// Starts `call` and returns at once; `done` receives the outcome exactly once (a refusal
    /// may settle it before start() returns).
    virtual std::shared_ptr<PendingCall> start(FunctionCall call, CallCompletion done) = 0;

    /// Called by the connector service at each start, before it listens: `io` is the server's
    /// I/O context (completions may run on its threads), `logFolder` the connector's log
    /// folder (empty: no logs). Throws std::runtime_error saying why calls cannot be served
    /// (invalid settings, workers that do not start); the start then fails. Default: nothing.
    virtual void open(boost::asio::io_context& io, const std::filesystem::path& logFolder);
    /// Called at each stop once the server's threads have ended: undoes open(). Default:
    /// nothing.
    virtual void close() noexcept {}
    /// What `service`'s calls run with, for GET /v1/services; nullopt: nothing to show.
    virtual std::optional<foundation::json::Value> describe(std::string_view service) const;
};

}  // namespace korvan::services::connector
