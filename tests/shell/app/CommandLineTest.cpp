// The korvan command line: parsing (table), and the executable's exit status and output for
// scripts, -e code, standard input, usage errors, --help, --version and Ctrl-C.
#include <gtest/gtest.h>

#include <signal.h>

#include "CommandLine.hpp"
#include "KorvanProcess.hpp"
#include "korvan/host/Version.hpp"

namespace korvan::test {

using namespace korvan::shell;
namespace {

using Mode = CommandLine::Mode;

struct ParseCase {
    std::vector<std::string> fArgs;
    bool fTerminal;
    Mode fMode;
    std::string fFileOrCode;  // the file, the code, or a piece of the usage error
};

class ParseTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseTest, ReadsTheArguments) {
    const ParseCase& c = GetParam();
    CommandLine cl = parseCommandLine(c.fArgs, c.fTerminal);
    EXPECT_EQ(cl.fMode, c.fMode);
    if (c.fMode == Mode::Script) {
        EXPECT_EQ(cl.fFile, c.fFileOrCode);
    } else if (c.fMode == Mode::Code) {
        EXPECT_EQ(cl.fCode, c.fFileOrCode);
    } else if (c.fMode == Mode::FunctionWorker) {
        EXPECT_EQ(cl.fServiceFolder + " " + std::to_string(cl.fMemoryLimitMiB), c.fFileOrCode);
    } else if (c.fMode == Mode::UsageError) {
        EXPECT_NE(cl.fError.find(c.fFileOrCode), std::string::npos) << cl.fError;
    }
}

// One case per line.
// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Arguments, ParseTest,
    ::testing::Values(ParseCase{{}, true, Mode::Prompt, ""},
                      ParseCase{{}, false, Mode::StandardInput, ""},
                      ParseCase{{"run.k"}, true, Mode::Script, "run.k"},
                      ParseCase{{"-"}, true, Mode::StandardInput, ""},
                      ParseCase{{"--", "-odd.k"}, true, Mode::Script, "-odd.k"},
                      ParseCase{{"-e", "x = 1"}, false, Mode::Code, "x = 1"},
                      ParseCase{{"-e", "-e"}, true, Mode::Code, "-e"},
                      ParseCase{{"--help"}, true, Mode::Help, ""},
                      ParseCase{{"-h", "--bogus"}, true, Mode::Help, ""},
                      ParseCase{{"run.k", "--version"}, true, Mode::Version, ""},
                      ParseCase{{"--bogus"}, true, Mode::UsageError, "unknown option '--bogus'"},
                      ParseCase{{"-x", "run.k"}, true, Mode::UsageError, "'-x'"},
                      ParseCase{{"-e"}, true, Mode::UsageError, "-e"},
                      ParseCase{{"-e", "1", "-e", "2"}, true, Mode::UsageError, "more than once"},
                      ParseCase{{"a.k", "b.k"}, true, Mode::UsageError, "b.k"},
                      ParseCase{{"-e", "1", "a.k"}, true, Mode::UsageError, "not both"},
                      ParseCase{{"--function-worker", "/s/lab", "--memory-limit-mib", "512"},
                                false, Mode::FunctionWorker, "/s/lab 512"},
                      ParseCase{{"--function-worker", "/s/lab"}, true, Mode::FunctionWorker,
                                "/s/lab 0"},
                      ParseCase{{"--function-worker"}, true, Mode::UsageError, "service folder"},
                      ParseCase{{"--function-worker", "/s", "a.k"}, true, Mode::UsageError,
                                "no script"},
                      ParseCase{{"--function-worker", "/s", "--memory-limit-mib", "1e3"}, true,
                                Mode::UsageError, "whole number"},
                      ParseCase{{"--memory-limit-mib", "512"}, true, Mode::UsageError,
                                "belongs to '--function-worker'"}),
    [](const auto& info) { return "case" + std::to_string(info.index); });
// clang-format on

// ---- the executable ------------------------------------------------------------------------

struct RunCase {
    std::vector<std::string> fArgs;
    std::string fStdin;
    int fStatus;
    std::string fOut;  // must appear on standard output
    std::string fErr;  // must appear on standard error ("" : standard error stays empty)
};

class RunTest : public ::testing::TestWithParam<RunCase> {
  protected:
    TempFolder fPrefs;
};

TEST_P(RunTest, ExitStatusAndOutput) {
    const RunCase& c = GetParam();
    ProcessOptions options = korvanOptions(c.fArgs, fPrefs);
    options.fStdin = c.fStdin;
    ProcessOutcome r = runKorvan(options);
    ASSERT_TRUE(r.fExited) << "timed out: " << r.fTimedOut << "\n" << r.fOut << r.fErr;
    EXPECT_EQ(r.fStatus, c.fStatus) << r.fOut << r.fErr;
    EXPECT_NE(r.fOut.find(c.fOut), std::string::npos) << r.fOut;
    if (c.fErr.empty())
        EXPECT_EQ(r.fErr, "");
    else
        EXPECT_NE(r.fErr.find(c.fErr), std::string::npos) << r.fErr;
}

INSTANTIATE_TEST_SUITE_P(
    Runs, RunTest,
    ::testing::Values(
        RunCase{{"-e", "x = 1 + 1"}, "", 0, "x = 2\n", ""},
        RunCase{{"-e", "error('my:id', 'bad %d', 7)"}, "", 1, "", "Error (my:id): bad 7\n"},
        RunCase{{"-e", "disp(1); nosuchname; disp(2)"},
                "",
                1,
                "1\n",
                "Error (KORVAN:lang:UndefinedVariable): "},
        RunCase{{"-e", "print('a'); exit(3); print('b')"}, "", 3, "a", ""},
        RunCase{{"-e", "exit(0)"}, "", 0, "", ""},
        RunCase{{}, "disp(40 + 2)\n", 0, "42\n", ""},  // standard input, not a terminal
        RunCase{{"-"}, "y = 'from stdin'\n", 0, "y = 'from stdin'", ""},
        RunCase{{}, "error('in:stdin', 'no')\n", 1, "", "Error (in:stdin): no"},
        RunCase{{"no/such/script.k"}, "", 1, "", "Error (KORVAN:lang:FileNotFound)"},
        RunCase{{"--bogus"}, "", 2, "", "korvan: unknown option '--bogus'\nTry 'korvan --help'"},
        RunCase{{"-e"}, "", 2, "", "--help"}, RunCase{{"--help"}, "", 0, "korvan -e CODE", ""},
        RunCase{{"--version"}, "", 0, std::string("korvan ") + korvan::hostVersion() + "\n", ""}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

TEST(HelpTest, NamesTheFormsVariablesAndExitStatus) {
    TempFolder prefs;
    ProcessOutcome r = runKorvan(korvanOptions({"--help"}, prefs));
    for (const char* piece :
         {"korvan FILE", "-e CODE", "--version", "KORVAN_PREFDIR", "KORVAN_REST_CONSENT",
          "KORVAN_LOG", "KORVAN_MODULE_PATH", "Exit status", "usage error"})
        EXPECT_NE(r.fOut.find(piece), std::string::npos) << piece;
}

TEST(ScriptTest, FindsFunctionFilesNextToTheScriptFromAnyFolder) {
    TempFolder prefs, scripts, elsewhere;
    scripts.write("twice.k", "function y = twice(x)\n  y = 2 * x;\nend\n");
    auto script = scripts.write("main.k", "r = twice(21)\nif r != 42\n  exit(5)\nend\n");
    ProcessOptions options = korvanOptions({script.string()}, prefs);
    options.fWorkingFolder = elsewhere.path();
    ProcessOutcome r = runKorvan(options);
    ASSERT_TRUE(r.fExited);
    EXPECT_EQ(r.fStatus, 0) << r.fErr;
    EXPECT_EQ(r.fOut, "r = 42\n");
}

TEST(ScriptTest, AnErrorInAFunctionFileEndsTheScriptWithStatusOne) {
    TempFolder prefs, scripts;
    scripts.write("fails.k",
                  "function fails()\n  error('lib:broken', 'broken %s', 'here');\nend\n");
    auto script = scripts.write("main.k", "disp('before');\nfails();\ndisp('after');\n");
    ProcessOutcome r = runKorvan(korvanOptions({script.string()}, prefs));
    EXPECT_EQ(r.fStatus, 1);
    EXPECT_EQ(r.fOut, "before\n");
    EXPECT_EQ(r.fErr, "Error (lib:broken): broken here\n");
}

TEST(ModuleFolderTest, AMissingModuleIsAWarningAndScriptsStillRun) {
    TempFolder prefs, empty;
    ProcessOptions options = korvanOptions({"-e", "disp(7)"}, prefs);
    options.fEnv["KORVAN_MODULE_PATH"] = empty.path().string();
    ProcessOutcome r = runKorvan(options);
    EXPECT_EQ(r.fStatus, 0);
    EXPECT_EQ(r.fOut, "7\n");
    EXPECT_NE(r.fErr.find("Warning: the module libzxrestfcnconnector.so was not found in " +
                          empty.path().string()),
              std::string::npos)
        << r.fErr;
}

TEST(StartupTest, TheConnectorModuleAndTheServiceSideAreThere) {
    TempFolder prefs;
    prefs.write("rest/services/alpha/twice.k", "function y = twice(x)\n y = 2 * x;\nend\n");
    ProcessOutcome r = runKorvan(korvanOptions(
        {"-e", "c = restFunctionConnector(); disp(c.ServiceNames); disp(string(c.Status))"},
        prefs));
    EXPECT_EQ(r.fStatus, 0) << r.fErr;
    EXPECT_EQ(r.fOut, "alpha\nnotrunning\n");
    EXPECT_EQ(r.fErr, "");
}

// The settings folder holds the token and the function services whose code runs: one that
// other users can write to is refused with a warning that says how to mend it.
TEST(CommandLineRun, ASettingsFolderOthersCanWriteToIsRefused) {
    TempFolder prefs;
    std::filesystem::permissions(prefs.path(), std::filesystem::perms::all,
                                 std::filesystem::perm_options::replace);
    ProcessOutcome r = runKorvan(korvanOptions({"-e", "disp(1)"}, prefs));
    EXPECT_EQ(r.fStatus, 0) << r.fErr;
    EXPECT_NE(r.fErr.find("Warning: no settings folder: The settings folder " +
                          prefs.path().string() + " can be written by other users (mode 0777)"),
              std::string::npos)
        << r.fErr;
    EXPECT_FALSE(std::filesystem::exists(prefs.path() / "rest"));
}

TEST(InterruptTest, CtrlCEndsARunningScriptWithTheInterruptError) {
    TempFolder prefs;
    ProcessOptions options = korvanOptions({"-e", "warning('running'); while true, end"}, prefs);
    options.fInterruptWhen = "Warning: running";
    ProcessOutcome r = runKorvan(options);
    ASSERT_TRUE(r.fExited) << "timed out: " << r.fTimedOut;
    EXPECT_EQ(r.fStatus, 1);
    EXPECT_NE(r.fErr.find("Error (KORVAN:lang:Interrupted): "), std::string::npos) << r.fErr;
}

TEST(InterruptTest, AScriptCanCatchCtrlCAndCleanUp) {
    TempFolder prefs;
    ProcessOptions options =
        korvanOptions({"-e",
                       "try\n warning('serving');\n while true\n  pause(3600);\n end\n"
                       "catch err\n disp(err.identifier)\nend\ndisp('cleaned up')"},
                      prefs);
    options.fInterruptWhen = "Warning: serving";
    ProcessOutcome r = runKorvan(options);
    ASSERT_TRUE(r.fExited) << "timed out: " << r.fTimedOut;
    EXPECT_EQ(r.fStatus, 0) << r.fErr;
    EXPECT_EQ(r.fOut, "KORVAN:lang:Interrupted\ncleaned up\n");
}

// Standard output redirected to a pipe (a file, a supervisor, `| tee`) shows each line as it is
// written, in the order of both streams, while the script still runs: the interrupt is sent
// only once the last line before the pause arrived, so buffered output would time out.
TEST(InterruptTest, RedirectedOutputArrivesLineByLineWhileTheScriptRuns) {
    TempFolder prefs;
    ProcessOptions options = korvanOptions(
        {"-e", "disp('one'); warning('two'); x = 3\nprint('four\\n'); y = 'five'\npause(600)"},
        prefs);
    options.fErrorsIntoOutput = true;
    options.fInterruptWhen = "five";
    ProcessOutcome r = runKorvan(options);
    ASSERT_FALSE(r.fTimedOut) << "output held back until the end: " << r.fOut;
    std::size_t one = r.fOut.find("one\n"), two = r.fOut.find("Warning: two"),
                three = r.fOut.find("x = 3"), four = r.fOut.find("four\n"),
                five = r.fOut.find("five"), interrupted = r.fOut.find("KORVAN:lang:Interrupted");
    EXPECT_TRUE(one < two && two < three && three < four && four < five && five < interrupted &&
                interrupted != std::string::npos)
        << r.fOut;
}

}  // namespace
}  // namespace korvan::test
