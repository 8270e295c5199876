// Interrupting the interpreter (Interpreter::requestInterrupt): before statements, in loops,
// in pause, caught by try/catch, cleared once raised and at the start of each run.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <sstream>
#include <thread>

#include "korvan/host/Functions.hpp"
#include "korvan/lang/Interpreter.hpp"
#include "kx/kxArray.hpp"
#include "xvm/XVM.hpp"

namespace {

using korvan::lang::Interpreter;

// requestInterruptThen(x): asks for an interrupt and returns x, so that a script can ask at a
// chosen point without racing a second thread.
void requestInterruptThen(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) {
    Interpreter::requestInterrupt();
    if (nrhs > 0 && nlhs >= 0) plhs[0] = kxDuplicateArray(prhs[0]);
}

// countdown(n): true for n calls, then false; the first call asks for an interrupt. A
// condition for a loop with an empty body that ends by itself if nothing stops it.
long gCountdownLeft = -1;  // -1: not started
void countdown(int, kxArray** plhs, int, const kxArray** prhs) {
    if (gCountdownLeft < 0) {
        gCountdownLeft = static_cast<long>(kxGetScalar(prhs[0]));
        Interpreter::requestInterrupt();
    }
    plhs[0] = kxCreateLogicalScalar(gCountdownLeft-- > 0);
}

class InterruptTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        if (!korvan::host::findFunction("requestInterruptThen"))
            korvan::host::registerFunction("requestInterruptThen", requestInterruptThen);
        if (!korvan::host::findFunction("countdown"))
            korvan::host::registerFunction("countdown", countdown);
    }
    Interpreter::Result run(const std::string& source) {
        fOut.str("");
        fErr.str("");
        return fInterpreter.run(source);
    }
    std::ostringstream fOut, fErr;
    Interpreter fInterpreter{fOut, fErr};
};

TEST_F(InterruptTest, NextStatementRaisesTheInterruptAndTheRunEnds) {
    auto r = run("a = 1;\nrequestInterruptThen(0);\nb = 2\n");
    EXPECT_EQ(r.fStatus, Interpreter::Status::Error);
    EXPECT_EQ(r.fError.fIdentifier, "KORVAN:lang:Interrupted");
    EXPECT_FALSE(r.fError.fMessage.empty());
    EXPECT_EQ(fErr.str(), "Error (KORVAN:lang:Interrupted): " + r.fError.fMessage + "\n");
    EXPECT_EQ(fOut.str(), "");  // b = 2 never ran
    EXPECT_FALSE(fInterpreter.variable("b"));
}

TEST_F(InterruptTest, LoopsWithEmptyBodiesCheckAtEachIteration) {
    // The request is made while the loop statement runs (in its condition or range), so only
    // the loop's own check can see it. Bounded loops: a missing check shows as a normal end,
    // not as a hang.
    gCountdownLeft = -1;
    for (const char* loop :
         {"while countdown(1e6), end", "for i = requestInterruptThen(1:1e6), end"}) {
        auto r = run(loop);
        EXPECT_EQ(r.fError.fIdentifier, "KORVAN:lang:Interrupted") << loop;
    }
}

TEST_F(InterruptTest, TryCatchSeesItAndTheRunGoesOn) {
    auto r =
        run("try\n requestInterruptThen(0);\n x = 1;\ncatch err\n disp(err.identifier)\nend\n"
            "z = 3\n");
    EXPECT_EQ(r.fStatus, Interpreter::Status::Ok);
    EXPECT_EQ(fOut.str(), "KORVAN:lang:Interrupted\nz = 3\n");
    EXPECT_FALSE(fInterpreter.variable("x"));
}

TEST_F(InterruptTest, ARequestBeforeTheRunIsDropped) {
    Interpreter::requestInterrupt();
    EXPECT_EQ(run("y = 2;").fStatus, Interpreter::Status::Ok);
    Interpreter::requestInterrupt();
    Interpreter::clearInterrupt();
    EXPECT_EQ(run("y = 3;").fStatus, Interpreter::Status::Ok);
}

TEST_F(InterruptTest, PauseEndsEarlyWithAndWithoutInterpreterHandle) {
    for (bool withVM : {false, true}) {
        auto vm = xvm::Factory::createXVM();
        xvm::CurrentXVMScope scope(withVM ? vm : nullptr);
        // pause(20) would run for 20 s and end normally if it did not check.
        auto r = run("pause(requestInterruptThen(20))");
        EXPECT_EQ(r.fError.fIdentifier, "KORVAN:lang:Interrupted") << withVM;
    }
}

TEST_F(InterruptTest, AnotherThreadInterruptsARunningLoop) {
    std::atomic<bool> done{false};
    // Keeps asking until the run is over (the run clears requests made before it started).
    std::thread asker([&done] {
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!done && std::chrono::steady_clock::now() < until) {
            Interpreter::requestInterrupt();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    auto r = run("n = 0; while n < 5e6, n = n + 1; end");
    done = true;
    asker.join();
    EXPECT_EQ(r.fError.fIdentifier, "KORVAN:lang:Interrupted");
    Interpreter::clearInterrupt();
}

}  // namespace
