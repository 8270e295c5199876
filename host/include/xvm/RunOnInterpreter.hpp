// Running work on the interpreter thread and waiting for it, with a time-out: the way a
// thread that is not the interpreter (an HTTPS session of the connector service, a test)
// runs a host function call and gets its result.
//
//   kxArray* result = xvm::callOnInterpreter(
//       vm, [name, args] { return callTheFunction(name, args); }, std::chrono::seconds(30),
//       "RestFcnService");
//
// The work must own what it uses (capture by value or by shared pointer, never the caller's
// locals by reference): work that started before the time-out outlives the call.
//
// Outcomes:
//  - the work ran: its value is returned, or its own exception is rethrown as it was;
//  - the interpreter has no distributor (or `vm` is null): RuntimeException NoDistributor;
//  - the queue was full or the distributor closed: RuntimeException QueueFull / Stopped;
//  - it did not finish within `timeout`: the request is withdrawn from the queue if it has not
//    started, and RuntimeException TimedOut is thrown. Work that had already started runs to
//    its end on the interpreter thread and its result is discarded.
// Called on the interpreter thread itself, the work runs at once, in place (waiting for the
// queue there would never end); it then overtakes work that is still queued.
//
// Threads: any thread. Blocks the caller for at most about `timeout`.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include <boost/function.hpp>

#include "cmddistributor/Types.hpp"
#include "korvan/host/Export.hpp"
#include "xvm/XVM.hpp"

namespace xvm {

/// Runs `work` on `vm`'s interpreter thread and waits (rules above).
KORVAN_HOST_EXPORT void runOnInterpreter(const std::shared_ptr<XVM>& vm,
                                         boost::function<void()> work,
                                         std::chrono::milliseconds timeout, std::string origin,
                                         const cmddistributor::RunOptions& runOptions = {});

/// Same, for work that returns a value (moved out to the caller).
template <class Fn>
std::invoke_result_t<Fn&> callOnInterpreter(const std::shared_ptr<XVM>& vm, Fn&& fn,
                                            std::chrono::milliseconds timeout, std::string origin,
                                            const cmddistributor::RunOptions& runOptions = {}) {
    using Result = std::invoke_result_t<Fn&>;
    // Shared so that work still running after a time-out uses live storage.
    auto callable = std::make_shared<std::decay_t<Fn>>(std::forward<Fn>(fn));
    if constexpr (std::is_void_v<Result>) {
        runOnInterpreter(
            vm, [callable] { (*callable)(); }, timeout, std::move(origin), runOptions);
    } else {
        auto slot = std::make_shared<std::optional<Result>>();
        runOnInterpreter(
            vm, [callable, slot] { slot->emplace((*callable)()); }, timeout, std::move(origin),
            runOptions);
        return std::move(**slot);
    }
}

}  // namespace xvm
