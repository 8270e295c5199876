// Statements: display rules, control flow, try/catch and errors, multiple outputs, function
// files on the search path.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "LangTestSupport.hpp"

namespace korvan::test {

using namespace korvan::lang;
namespace {

class StatementOutput : public ::testing::TestWithParam<OutputCase> {};

TEST_P(StatementOutput, PrintsExpectedDisplay) {
    RunOutcome run = runSource(GetParam().fSource);
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Ok) << run.fErr;
    EXPECT_EQ(run.fOut, GetParam().fOutput) << "source: " << GetParam().fSource;
}

INSTANTIATE_TEST_SUITE_P(
    Display, StatementOutput,
    ::testing::Values(OutputCase{"x = 1, y = 2; z = 3", "x = 1\nz = 3\n"},
                      OutputCase{"x = 1 # a comment\n# another\ny = 2;", "x = 1\n"},
                      OutputCase{"x = 4; x", "x = 4\n"},
                      OutputCase{"x = '# not a comment' # but this is", "x = '# not a comment'\n"},
                      OutputCase{"disp(\"50% done\")", "50% done\n"}, OutputCase{"x = 4; x;", ""},
                      OutputCase{"3; ans + 1", "ans = 4\n"}, OutputCase{"disp(5)", "5\n"},
                      OutputCase{"x = [1, ...\n 2]", "x =\n    1    2\n"}));

INSTANTIATE_TEST_SUITE_P(
    ControlFlow, StatementOutput,
    ::testing::Values(
        OutputCase{"if 1 > 2\n disp(1)\nelseif 2 > 1\n disp(2)\nelse\n disp(3)\nend", "2\n"},
        OutputCase{"if []\n disp(1)\nelse\n disp(0)\nend", "0\n"},
        OutputCase{"if [1 1 0]\n disp(1)\nelse\n disp(0)\nend", "0\n"},
        OutputCase{"s = 0; for i = 1:4\n s = s + i;\nend\ns", "s = 10\n"},
        OutputCase{"for i = [1 2; 3 4]\n disp(i(2))\nend", "3\n4\n"},
        OutputCase{"for i = 1:10\n if i == 3, break, end\nend\ni", "i = 3\n"},
        OutputCase{"s = 0; for i = 1:5\n if mod(i, 2) == 0\n continue\n end\n s = s + i;\nend\ns",
                   "s = 9\n"},
        OutputCase{"n = 0; while n < 5\n n = n + 2;\nend\nn", "n = 6\n"},
        OutputCase{"n = 0; while true\n n = n + 1; if n >= 3, break; end\nend\nn", "n = 3\n"},
        OutputCase{"for i = 1:2\n for j = 1:3\n if j == 2, break; end\n end\n disp(j)\nend",
                   "2\n2\n"},
        OutputCase{"x = 1; if x == 1, y = 2, end", "y = 2\n"}));

INSTANTIATE_TEST_SUITE_P(
    TryCatch, StatementOutput,
    ::testing::Values(
        OutputCase{"try\n error('my:id', 'bad %d', 7);\ncatch err\n disp(err.identifier); "
                   "disp(err.message);\nend",
                   "my:id\nbad 7\n"},
        OutputCase{"try\n x = undefinedThing + 1;\ncatch e\n disp(e.identifier)\nend",
                   "KORVAN:lang:UndefinedVariable\n"},
        OutputCase{"try\n error('plain message');\ncatch e\n disp(isempty(e.identifier)); "
                   "disp(e.message)\nend",
                   "true\nplain message\n"},
        OutputCase{"try\n disp(1)\ncatch\n disp(2)\nend", "1\n"},
        OutputCase{"try\n error('a:b', 'x');\ncatch\n disp('caught')\nend\ndisp('after')",
                   "caught\nafter\n"},
        OutputCase{"try\n try\n error('in:ner', 'm')\n catch e\n error(e)\n end\ncatch outer\n "
                   "disp(outer.identifier)\nend",
                   "in:ner\n"},
        OutputCase{
            "for i = 1:3\n try\n if i == 2, error('x:y', 'two'); end\n disp(i)\n catch\n end\nend",
            "1\n3\n"}));

class StatementError : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(StatementError, RaisesIdentifier) {
    RunOutcome run = runSource(GetParam().fSource);
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Error);
    EXPECT_EQ(run.fResult.fError.fIdentifier, GetParam().fIdentifier) << run.fErr;
}

INSTANTIATE_TEST_SUITE_P(
    Errors, StatementError,
    ::testing::Values(ErrorCase{"error('user:thing', 'went wrong')", "user:thing"},
                      ErrorCase{"assert(false)", "KORVAN:lang:AssertionFailed"},
                      ErrorCase{"assert(1 == 2, 'values differ')", "KORVAN:lang:AssertionFailed"},
                      ErrorCase{"disp()", "KORVAN:host:NotEnoughInputs"},
                      ErrorCase{"[a, b] = class(1)", "KORVAN:host:TooManyOutputs"},
                      ErrorCase{"x = disp(1)", "KORVAN:host:TooManyOutputs"}));

TEST(Statements, ErrorLineNamesIdentifierAndMessage) {
    RunOutcome run = runSource("disp(1)\nerror('pkg:fail', 'Value %d is bad.', 3)\ndisp(2)");
    EXPECT_EQ(run.fOut, "1\n");
    EXPECT_EQ(run.fErr, "Error (pkg:fail): Value 3 is bad.\n");
}

TEST(Statements, ExitEndsTheRunWithItsCode) {
    RunOutcome run = runSource("disp(1)\nexit(3)\ndisp(2)");
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Exit);
    EXPECT_EQ(run.fResult.fExitCode, 3);
    EXPECT_EQ(run.fOut, "1\n");
}

TEST(Statements, WorkspaceLastsAcrossRunsAndClearEmptiesIt) {
    std::ostringstream out, err;
    Interpreter in(out, err);
    in.run("x = 41;");
    in.run("y = x + 1;");
    ASSERT_TRUE(in.variable("y"));
    EXPECT_EQ(kxGetScalar(in.variable("y").get()), 42);
    in.run("clear");
    EXPECT_FALSE(in.variable("x"));
    EXPECT_EQ(in.run("x").fError.fIdentifier, "KORVAN:lang:UndefinedVariable");
}

// Function files in a temporary folder added to the search path.
class FunctionFilesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fDir = std::filesystem::temp_directory_path() /
               ("korvan_lang_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(fDir / "pkg");
    }
    void TearDown() override { std::filesystem::remove_all(fDir); }
    void write(const std::string& relative, const std::string& text) {
        std::ofstream(fDir / relative) << text;
    }
    std::filesystem::path fDir;
};

TEST_F(FunctionFilesTest, CallsWithScopesOutputsAndReturn) {
    write("addmul.k", "function [s, p] = addmul(a, b)\n s = a + b;\n p = a * b;\n x = 99;\nend\n");
    write("early.k", "function r = early(v)\n r = 1;\n if v > 0\n return\n end\n r = 2;\nend\n");
    write("pkg/twice.k", "function y = twice(x)\n y = 2 * x;\nend\n");
    write("recur.k",
          "function r = recur(n)\n if n <= 1\n r = 1;\n else\n r = n * recur(n - 1);\n end\nend\n");
    std::ostringstream out, err;
    Interpreter in(out, err);
    in.addPath(fDir);
    auto r = in.run(
        "x = 1;\n[s, p] = addmul(3, 4)\nq = addmul(2, 5)\nx\nearly(1)\nearly(-1)\n"
        "pkg.twice(21)\nrecur(5)");
    EXPECT_EQ(r.fStatus, Interpreter::Status::Ok) << err.str();
    EXPECT_EQ(out.str(), "s = 7\np = 12\nq = 7\nx = 1\nans = 1\nans = 2\nans = 42\nans = 120\n");
}

TEST_F(FunctionFilesTest, FurtherFunctionsOfAFileAreLocalToIt) {
    write("outer.k",
          "function r = outer(x)\n r = inner(x) + 1;\nend\nfunction y = inner(x)\n y = 10 * "
          "x;\nend\n");
    std::ostringstream out, err;
    Interpreter in(out, err);
    in.addPath(fDir);
    EXPECT_EQ(in.run("outer(2)").fStatus, Interpreter::Status::Ok) << err.str();
    EXPECT_EQ(out.str(), "ans = 21\n");
    EXPECT_EQ(in.run("inner(2)").fError.fIdentifier, "KORVAN:lang:UndefinedVariable");
}

TEST_F(FunctionFilesTest, ErrorsInsideAFunctionReachTheCaller) {
    write("fails.k", "function fails()\n error('f:inner', 'from inside');\nend\n");
    write("noout.k", "function r = noout()\nend\n");
    write("wrong.k", "function r = other()\n r = 1;\nend\n");
    std::ostringstream out, err;
    Interpreter in(out, err);
    in.addPath(fDir);
    EXPECT_EQ(in.run("try, fails(), catch e, disp(e.identifier), end").fStatus,
              Interpreter::Status::Ok);
    EXPECT_EQ(out.str(), "f:inner\n");
    EXPECT_EQ(in.run("v = noout();").fError.fIdentifier, "KORVAN:lang:OutputNotSet");
    EXPECT_EQ(in.run("wrong()").fError.fIdentifier, "KORVAN:lang:FunctionFile");
    EXPECT_EQ(in.run("fails(1)").fError.fIdentifier, "KORVAN:lang:TooManyInputs");
    // The caller's scope is intact after the failed calls.
    EXPECT_EQ(in.run("z = 5; fails(); ").fStatus, Interpreter::Status::Error);
    EXPECT_TRUE(in.variable("z"));
}

TEST_F(FunctionFilesTest, ScriptFileDefinesLocalFunctions) {
    write("script.k", "y = helper(4)\nfunction r = helper(v)\n r = v + 1;\nend\n");
    std::ostringstream out, err;
    Interpreter in(out, err);
    EXPECT_EQ(in.runFile(fDir / "script.k").fStatus, Interpreter::Status::Ok) << err.str();
    EXPECT_EQ(out.str(), "y = 5\n");
    EXPECT_EQ(in.runFile(fDir / "missing.k").fStatus, Interpreter::Status::Error);
}

}  // namespace
}  // namespace korvan::test
