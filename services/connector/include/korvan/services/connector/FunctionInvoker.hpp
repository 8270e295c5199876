// Running one function call: the JSON arguments become host arrays, the function runs, its
// results become JSON. All three steps run together on the interpreter thread, so the HTTPS
// threads never touch host arrays or host code.
//
// runFunctionCall is that unit of work; it never throws, every failure becomes an outcome with
// an HTTP status and an error body. FunctionInvoker decides where the work runs:
// InterpreterInvoker posts it to an interpreter through its command distributor and waits with
// a time-out (queue full, time-out or no interpreter: 503).
//
// Threads: invoke() is called by the server's call threads, several at once; InterpreterInvoker
// has only constant members.
#pragma once

#include <chrono>
#include <memory>

#include "foundation/json/Value.hpp"
#include "korvan/host/Functions.hpp"
#include "xvm/XVM.hpp"

namespace korvan::services::connector {

/// HTTP status and JSON body of an answered call.
struct CallOutcome {
    unsigned fStatus = 200;
    foundation::json::Value fBody;
};

/// The largest nargout a request may ask for.
inline constexpr int kMaxNargout = 64;

/// Converts `args` (a JSON array), calls `function` with `nargout` outputs and converts the
/// results. 200 {"results": [...]}; 400 for arguments without a host form; 500 for an error the
/// function raised (its identifier and message) or a result without a JSON form.
CallOutcome runFunctionCall(const korvan::host::Function& function,
                            const foundation::json::Value& args, int nargout) noexcept;

class FunctionInvoker {
  public:
    virtual ~FunctionInvoker() = default;
    virtual CallOutcome invoke(korvan::host::Function function, foundation::json::Value args,
                               int nargout) = 0;
};

class InterpreterInvoker : public FunctionInvoker {
  public:
    /// Runs calls on `vm`'s interpreter thread, waiting at most `timeout` for each.
    InterpreterInvoker(std::shared_ptr<xvm::XVM> vm, std::chrono::milliseconds timeout);
    CallOutcome invoke(korvan::host::Function function, foundation::json::Value args,
                       int nargout) override;

  private:
    const std::shared_ptr<xvm::XVM> fVM;
    const std::chrono::milliseconds fTimeout;
};

}  // namespace korvan::services::connector
