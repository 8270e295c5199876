// ModuleHarness: the process-wide context of a module test executable.
//
// It owns the interpreter thread on which the connector module is loaded (through the host's
// module loader, as the host loads it) and on which every user-code action of a test runs, and
// the test doubles registered in the host's service registry (ServiceRegistrations).
//
// The module keeps process-wide state (its connector object, the client holder, the update-flip
// holder that looks for its service only once), so each test executable covers one family of
// scenarios and decides in its environment what is registered before the module is first used.
// Under ctest every test case runs in a process of its own; run directly, the cases of one
// executable share one process, so fixtures return the doubles to their defaults.
//
// Threads: run() may be called from any thread except the interpreter thread; the harness
// itself is created on first use and lives until the process ends (never destroyed).
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "ServiceRegistrations.hpp"
#include "cmddistributor/RuntimeException.hpp"
#include "foundation/core/except/IException.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "xvm/RunOnInterpreter.hpp"

namespace korvan::test {

/// The log channel of the module.
inline constexpr const char* kModuleChannel = " KV::Conn ";

class ModuleHarness {
  public:
    /// The harness of this process: a new interpreter with a command distributor, served by
    /// a thread of its own.
    static ModuleHarness& instance();

    /// The path of the built module library.
    static std::string modulePath();

    ServiceRegistrations& services() { return fServices; }
    FakeConnectorClient& client() { return *fServices.client(); }
    FakeUpdateFlipClient& updateFlip() { return *fServices.updateFlip(); }

    const std::shared_ptr<xvm::XVM>& vm() const { return fThread->getXVM(); }
    std::thread::id interpreterThreadId() const { return fThread->getThreadId(); }

    /// Loads the module on the interpreter thread with the built-in bound to
    /// "restFunctionConnector" (the loader runs the initialiser once).
    void loadModule();

    /// Runs `work` on the interpreter thread and returns its value or throws what it threw:
    /// a copy of a host exception with its exact type (IException::clone), a
    /// std::runtime_error with the text of another std::exception, or NonStdError for anything
    /// else. The exception object itself never leaves the interpreter thread, so no two
    /// threads share it. The work may use the caller's locals: if it does not finish within a
    /// minute the process is aborted rather than left with work referring to a dead frame.
    template <class F>
    std::invoke_result_t<F&> run(F&& work) {
        using Result = std::invoke_result_t<F&>;
        auto failure = std::make_shared<CapturedFailure>();
        if constexpr (std::is_void_v<Result>) {
            call([&work, failure] {
                try {
                    work();
                } catch (...) {
                    failure->capture();
                }
            });
            failure->rethrowIfAny();
        } else {
            auto result = call([&work, failure]() -> std::optional<Result> {
                try {
                    return std::optional<Result>(work());
                } catch (...) {
                    failure->capture();
                    return std::nullopt;
                }
            });
            failure->rethrowIfAny();
            return std::move(*result);
        }
    }

    /// Returns once everything posted to the interpreter before this call has run.
    void drainInterpreter();

    /// Ends the interpreter thread (environment tear-down); later run() calls fail.
    void stop();

  private:
    /// What work threw, taken apart on the interpreter thread (inside its handler).
    class CapturedFailure {
      public:
        void capture();
        void rethrowIfAny() const;

      private:
        std::unique_ptr<foundation::core::except::IException> fClone;
        std::optional<std::string> fStdWhat;
        bool fOther = false;
    };

    template <class F>
    std::invoke_result_t<F&> call(F&& work) {
        try {
            return xvm::callOnInterpreter(vm(), std::forward<F>(work), kRunLimit, "ModuleTest");
        } catch (const cmddistributor::RuntimeException& e) {
            if (e.getExecutionStatus() == cmddistributor::ExecutionStatus::TimedOut) {
                abortTimedOut();
            }
            throw;
        }
    }

    ModuleHarness();
    [[noreturn]] static void abortTimedOut();

    static constexpr std::chrono::milliseconds kRunLimit{60000};

    ServiceRegistrations fServices;
    std::unique_ptr<korvan::host::InterpreterThread> fThread;
};

/// Thrown by ModuleHarness::run in place of an exception that is not a std::exception.
struct NonStdError {};

/// Polls `condition` until it holds or `timeout` passes; returns its last answer.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds timeout = std::chrono::seconds(10));

/// What a call threw, as the host sees it.
struct CaughtError {
    std::string fId;  // "" when nothing was thrown; "std: <what>" / "foreign" without an id
    std::vector<resource_core::MsgArgument> fArgs;
    std::string fText;  // what(): the catalogue text with the arguments filled in
};

template <class F>
CaughtError catchError(F&& f) {
    try {
        f();
    } catch (const foundation::core::except::IMsgIDException& e) {
        return {e.GetID(), e.GetBaseMsgIDObj().getArguments(), e.what()};
    } catch (const std::exception& e) {
        return {std::string("std: ") + e.what(), {}, e.what()};
    } catch (...) {
        return {"foreign", {}, ""};
    }
    return {};
}

/// The identifier of the host error `f` throws ("" when none).
template <class F>
std::string errorIdOf(F&& f) {
    return catchError(std::forward<F>(f)).fId;
}

/// A message argument as text: a UTF-8 argument as it is, a UTF-16 one as "u:" and its text,
/// an integer as "<int> " and its decimal digits.
std::string argumentText(const resource_core::MsgArgument& argument);

/// The lines of `all` that appear in `expected` order (others in between are allowed).
bool containsInOrder(const std::vector<std::string>& all, const std::vector<std::string>& expected);

}  // namespace korvan::test
