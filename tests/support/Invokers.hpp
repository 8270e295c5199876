// Function invokers for tests, and a request answered in one call.
//
//   InterpreterInvoker  runs calls in-process on an interpreter thread (the host's command
//                       distributor): the real language without worker processes. A refusal
//                       by the host (no interpreter, queue full, time-out) is a 503.
//   BlockingInvoker     base of doubles that answer a call by returning its outcome: start()
//                       runs invoke() on a pool of four threads the tests' process keeps (a
//                       call still blocked at exit does not hold the exit up), holding the
//                       double while it runs; a double not owned by a shared_ptr answers in
//                       place. Its calls never time out.
//   respondNow          routeRequest, then the call it needs started and awaited: the answer
//                       the HTTPS server would write, without sockets.
//
// Threads: start() is called by the server's threads, several at once; InterpreterInvoker has
// only constant members.
#pragma once

#include <chrono>
#include <memory>

#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "xvm/XVM.hpp"

namespace korvan::test {

using namespace korvan::services::connector;

class InterpreterInvoker final : public FunctionInvoker {
  public:
    /// Runs calls on `vm`'s interpreter thread, each expiring after `timeout`.
    InterpreterInvoker(std::shared_ptr<xvm::XVM> vm, std::chrono::milliseconds timeout);
    std::shared_ptr<PendingCall> start(FunctionCall call, CallCompletion done) override;

  private:
    const std::shared_ptr<xvm::XVM> fVM;
    const std::chrono::milliseconds fTimeout;
};

class BlockingInvoker : public FunctionInvoker {
  public:
    /// The outcome of one call; may block (a double that holds calls until released).
    virtual CallOutcome invoke(korvan::host::Function function, foundation::json::Value args,
                               int nargout) = 0;
    std::shared_ptr<PendingCall> start(FunctionCall call, CallCompletion done) override;
};

/// The answer to `request`; a call that has not settled within `limit` is a test failure
/// reported as 504 with a body saying so.
Response respondNow(const Request& request, const RequestContext& context,
                    std::chrono::milliseconds limit = std::chrono::seconds(60));

/// The outcome of `call` started on `invoker`, awaited at most `limit` (then 504).
CallOutcome callNow(FunctionInvoker& invoker, FunctionCall call,
                    std::chrono::milliseconds limit = std::chrono::seconds(60));

}  // namespace korvan::test
