// Fixtures shared by the module test executables.
//
// PublishedEnvironment: every double (update-flip client, connector client, connector service)
// is registered before the module is loaded and first used; the environment then makes the
// first connector object and waits until the module has handed the client its update callback,
// so each case starts from a settled module.
// ModuleTest: returns the doubles to their defaults before each case and captures the module's
// log channel for the case's length.
// ScopedDialog: the consent dialog "korvan.internal.rest.showDialog" in the host function table,
// with a scripted answer; removed again at scope end.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ModuleHarness.hpp"
#include "UserActions.hpp"
#include "foundation/log/Capture.hpp"

namespace korvan::test {

class PublishedEnvironment : public ::testing::Environment {
  public:
    void SetUp() override;
    void TearDown() override;
};

class ModuleTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// The module's log lines since the case began (or since clearLog).
    std::vector<std::string> logLines() const { return fLog.lines(); }
    void clearLog() { fLog.clear(); }

    ModuleHarness& harness = ModuleHarness::instance();
    FakeConnectorClient& client = harness.client();
    FakeUpdateFlipClient& flip = harness.updateFlip();

  private:
    foundation::log::ScopedCapture fLog{kModuleChannel};
};

/// What the scripted consent dialog answers.
enum class DialogAnswer {
    LogicalTrue,   // true
    LogicalFalse,  // false
    NumberOne,     // 1
    Nothing,       // no output at all
    TwoTrues,      // [true true]
    Throws,        // raises a host error
};

class ScopedDialog {
  public:
    static constexpr const char* kName = "korvan.internal.rest.showDialog";

    explicit ScopedDialog(DialogAnswer answer);
    ~ScopedDialog();
    ScopedDialog(const ScopedDialog&) = delete;
    ScopedDialog& operator=(const ScopedDialog&) = delete;

    int calls() const { return fState->fCalls.load(); }
    /// The threads the dialog ran on.
    std::vector<std::thread::id> threads() const;

  private:
    struct State {
        std::atomic<int> fCalls{0};
        mutable std::mutex fMutex;
        std::vector<std::thread::id> fThreads;  // guarded by fMutex
    };
    std::shared_ptr<State> fState = std::make_shared<State>();
};

}  // namespace korvan::test
