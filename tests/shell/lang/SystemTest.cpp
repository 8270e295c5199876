// The built-in system(command): exit status, captured output, printing with one output, and
// serving work posted to the interpreter thread while the command runs.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "LangTestSupport.hpp"
#include "xvm/RunOnInterpreter.hpp"
#include "xvm/XVM.hpp"

namespace korvan::test {

using namespace korvan::lang;
namespace {

class SystemOutput : public ::testing::TestWithParam<OutputCase> {};

TEST_P(SystemOutput, StatusAndOutput) {
    RunOutcome run = runSource(GetParam().fSource);
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Ok) << run.fErr;
    EXPECT_EQ(run.fOut, GetParam().fOutput) << "source: " << GetParam().fSource;
}

INSTANTIATE_TEST_SUITE_P(
    Commands, SystemOutput,
    ::testing::Values(
        OutputCase{"[s, o] = system('echo hello'); s, o", "s = 0\no = 'hello\n'\n"},
        OutputCase{"[s, o] = system(\"printf 'a b'; exit 3\"); s, o", "s = 3\no = 'a b'\n"},
        // Standard error is not captured unless the command asks for it.
        OutputCase{"[s, o] = system('echo lost >/dev/null 2>&1; echo err 1>&2; echo out'); o",
                   "o = 'out\n'\n"},
        OutputCase{"[s, o] = system('echo err 1>&2 2>&1'); o", "o = ''\n"},
        OutputCase{"[s, o] = system('(echo err 1>&2) 2>&1'); o", "o = 'err\n'\n"},
        OutputCase{"[s, o] = system('kill -9 $$'); s", "s = 137\n"},
        OutputCase{"[s, o] = system('true'); isempty(o)", "ans = true\n"},
        // One output: the command's output is shown instead of returned.
        OutputCase{"s = system('echo shown')", "shown\ns = 0\n"},
        OutputCase{"system('echo plain');", "plain\n"}));

TEST(System, RefusesABadArgument) {
    EXPECT_EQ(runSource("system(1)").fResult.fError.fIdentifier.rfind("KORVAN:", 0), 0u);
    EXPECT_EQ(runSource("system()").fResult.fError.fIdentifier, "KORVAN:host:NotEnoughInputs");
}

// The command waits for a file that only work posted to the interpreter thread creates: it
// ends (status 0) only if system() serves that work while it waits. The wait is bounded, so
// a system() that does not serve it fails the test with status 1 instead of hanging.
TEST(System, ServesWorkPostedToTheInterpreterThreadWhileTheCommandRuns) {
    auto vm = xvm::Factory::createXVM();
    xvm::CurrentXVMScope current(vm);
    std::ostringstream out, err;
    Interpreter in(out, err);
    const auto flag = std::filesystem::temp_directory_path() /
                      ("korvan-system-flag-" + std::to_string(::getpid()));
    std::filesystem::remove(flag);
    const auto interpreterThread = std::this_thread::get_id();
    std::atomic<bool> onInterpreterThread{false};
    std::thread poster([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        try {
            xvm::runOnInterpreter(
                vm,
                [&] {
                    onInterpreterThread = std::this_thread::get_id() == interpreterThread;
                    std::ofstream(flag) << "x";
                },
                std::chrono::milliseconds(10000), "system test");
        } catch (const std::exception&) {
        }
    });
    in.setVariable("flag", kx::ArrayPtr(kxCreateCharFromUtf8(flag.string())));
    auto r = in.run(
        "[s, o] = system(['i=0; while [ ! -e ''' flag ''' ]; do i=$((i+1)); "
        "[ $i -gt 200 ] && exit 1; sleep 0.05; done; echo seen']);");
    poster.join();
    std::filesystem::remove(flag);
    ASSERT_EQ(r.fStatus, Interpreter::Status::Ok) << err.str();
    EXPECT_EQ(kxGetScalar(in.variable("s").get()), 0);
    EXPECT_EQ(kxGetCharTextUtf8(in.variable("o").get()), "seen\n");
    EXPECT_TRUE(onInterpreterThread);
}

// An interrupt ends the command and everything it started (here a background job that would
// keep the output open for 20 s) and raises the interrupt error, which a script can catch.
TEST(System, AnInterruptEndsTheCommandAndItsChildren) {
    std::ostringstream out, err;
    Interpreter in(out, err);
    std::thread interrupter([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        Interpreter::requestInterrupt();
    });
    const auto started = std::chrono::steady_clock::now();
    auto r = in.run(
        "try\n  [s, o] = system('(sleep 20; echo late) & sleep 20');\n"
        "catch e\n  caught = e.identifier;\nend");
    const auto took = std::chrono::steady_clock::now() - started;
    interrupter.join();
    ASSERT_EQ(r.fStatus, Interpreter::Status::Ok) << err.str();
    EXPECT_EQ(kxGetCharTextUtf8(in.variable("caught").get()), "KORVAN:lang:Interrupted");
    EXPECT_FALSE(in.variable("o"));
    EXPECT_LT(took, std::chrono::seconds(15)) << "the command was not ended";
}

}  // namespace
}  // namespace korvan::test
