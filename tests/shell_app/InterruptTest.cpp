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

class InterruptTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        if (!korvan::host::findFunction("requestInterruptThen"))
            korvan::host::registerFunction("requestInterruptThen", requestInterruptThen);
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

TEST_F(InterruptTest, EmptyLoopBodiesStillCheck) {
    // Bounded loops: a missing check shows as a normal end, not as a hang.
    for (const char* loop : {"requestInterruptThen(0); n = 0; while n < 1e6, n = n + 1; end",
                             "requestInterruptThen(0); while true, end",
                             "requestInterruptThen(0); for i = 1:1e6, end"}) {
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
