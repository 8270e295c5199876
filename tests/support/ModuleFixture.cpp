#include "ModuleFixture.hpp"

#include "korvan/host/Functions.hpp"
#include "korvan/host/Warnings.hpp"

namespace korvan::test {

void PublishedEnvironment::SetUp() {
    auto& harness = ModuleHarness::instance();
    harness.services().publishUpdateFlip();
    harness.services().publishClient();
    harness.services().publishService();
    harness.loadModule();
    // The first connector object builds the module's connector; its tracker then reports the
    // connector service, and the module hands the client its update callback.
    user::connector();
    ASSERT_TRUE(waitUntil([&] { return harness.client().hasUpdateCallback(); }))
        << "the module never registered its update callback with the connector client";
    harness.drainInterpreter();
}

void PublishedEnvironment::TearDown() {
    ModuleHarness::instance().stop();
}

void ModuleTest::SetUp() {
    harness.services().publishUpdateFlip();
    harness.services().publishClient();
    harness.services().publishService();
    harness.drainInterpreter();
    client.reset();
    flip.reset();
    korvan::host::clearLastWarning();
    clearLog();
}

void ModuleTest::TearDown() {
    // Work a case posted must not run into the next one.
    harness.drainInterpreter();
}

ScopedDialog::ScopedDialog(DialogAnswer answer) {
    korvan::host::registerFunction(
        kName, [state = fState, answer](int, kxArray** plhs, int, const kxArray**) {
            ++state->fCalls;
            {
                std::lock_guard lock(state->fMutex);
                state->fThreads.push_back(std::this_thread::get_id());
            }
            switch (answer) {
                case DialogAnswer::LogicalTrue:
                    plhs[0] = kxCreateLogicalScalar(true);
                    break;
                case DialogAnswer::LogicalFalse:
                    plhs[0] = kxCreateLogicalScalar(false);
                    break;
                case DialogAnswer::NumberOne:
                    plhs[0] = kxCreateDoubleScalar(1);
                    break;
                case DialogAnswer::Nothing:
                    break;
                case DialogAnswer::TwoTrues: {
                    kxArray* both = kxCreateLogicalMatrix(1, 2);
                    kxGetLogicals(both)[0] = true;
                    kxGetLogicals(both)[1] = true;
                    plhs[0] = both;
                    break;
                }
                case DialogAnswer::Throws:
                    throw std::runtime_error("the dialog could not be shown");
            }
        });
}

ScopedDialog::~ScopedDialog() {
    korvan::host::unregisterFunction(kName);
}

std::vector<std::thread::id> ScopedDialog::threads() const {
    std::lock_guard lock(fState->fMutex);
    return fState->fThreads;
}

}  // namespace korvan::test
