// Built-in functions: table of calls and what they display, plus the ones with side effects
// (warnings, pause draining posted work, getenv).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "LangTestSupport.hpp"
#include "korvan/host/Warnings.hpp"
#include "xvm/RunOnInterpreter.hpp"
#include "xvm/XVM.hpp"

namespace korvan::test {

using namespace korvan::lang;
namespace {

class BuiltinOutput : public ::testing::TestWithParam<OutputCase> {};

TEST_P(BuiltinOutput, PrintsExpectedDisplay) {
    RunOutcome run = runSource(GetParam().fSource);
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Ok) << run.fErr;
    EXPECT_EQ(run.fOut, GetParam().fOutput) << "source: " << GetParam().fSource;
}

INSTANTIATE_TEST_SUITE_P(
    Arrays, BuiltinOutput,
    ::testing::Values(
        OutputCase{"class(1), class('a'), class(\"a\"), class(true)",
                   "ans = 'double'\nans = 'char'\nans = 'string'\nans = 'logical'\n"},
        OutputCase{"isequal([1 2], [1 2]), isequal([1 2], [1 2 3]), isequal('ab', \"ab\")",
                   "ans = true\nans = false\nans = true\n"},
        OutputCase{"isempty([]), isempty(''), isempty(0)", "ans = true\nans = true\nans = false\n"},
        OutputCase{"length([1 2; 3 4; 5 6]), length([])", "ans = 3\nans = 0\n"},
        OutputCase{"size([1 2 3])", "ans =\n    1    3\n"},
        OutputCase{"[r, c] = size(zeros(2, 3))", "r = 2\nc = 3\n"},
        OutputCase{"ones(2, 1)", "ans =\n    1\n    1\n"},
        OutputCase{"sum([1 2 3]), sum([1 2; 3 4])", "ans = 6\nans =\n    4    6\n"},
        OutputCase{"[m, i] = max([3 9 2])", "m = 9\ni = 2\n"},
        OutputCase{"min([4 1 7]), max(2, [1 5])", "ans = 1\nans =\n    2    5\n"},
        OutputCase{"abs(-3), abs(3 + 4i), sqrt(16), sqrt(-4)",
                   "ans = 3\nans = 5\nans = 4\nans = 0 + 2i\n"},
        OutputCase{"exp(0), log(1), floor(2.7), round(2.5), round(-2.5)",
                   "ans = 1\nans = 0\nans = 2\nans = 3\nans = -3\n"},
        OutputCase{"mod(7, 3), mod(-1, 3), mod(5, 0)", "ans = 1\nans = 2\nans = 5\n"},
        OutputCase{"double('A'), logical(2), class(uint64(5))",
                   "ans = 65\nans = true\nans = 'uint64'\n"}));

INSTANTIATE_TEST_SUITE_P(
    Text, BuiltinOutput,
    ::testing::Values(OutputCase{"string(42), string('abc'), char(\"xyz\")",
                                 "ans = \"42\"\nans = \"abc\"\nans = 'xyz'\n"},
                      OutputCase{"join([\"a\" \"b\" \"c\"], \"-\"), join([\"a\" \"b\"])",
                                 "ans = \"a-b-c\"\nans = \"a b\"\n"},
                      OutputCase{"split(\"a,b,,c\", \",\")",
                                 "ans =\n    \"a\"\n    \"b\"\n    \"\"\n    \"c\"\n"},
                      OutputCase{"split(\"  one two  \")", "ans =\n    \"one\"\n    \"two\"\n"},
                      OutputCase{"format('%d-%s', 5, 'x')", "ans = '5-x'\n"},
                      OutputCase{"format(\"%5.2f|\", [1.5 2.25])", "ans = \" 1.50| 2.25|\"\n"},
                      OutputCase{"format('%d', 1.5)", "ans = '1.500000e+00'\n"},
                      OutputCase{"format('%x %c %%', 255, 65)", "ans = 'ff A %'\n"},
                      OutputCase{"format('%d and %d', 1)", "ans = '1 and '\n"},
                      OutputCase{"print('a\\tb %s\\n', \"c\")", "a\tb c\n"},
                      OutputCase{"disp('hello'), disp(\"s\"), disp([1 2])",
                                 "hello\ns\n    1    2\n"},
                      OutputCase{"x = string(missing); isequal(x, x)", "ans = false\n"}));

TEST(Builtins, LastWarningReturnsMessageAndIdentifier) {
    korvan::host::WarningSink previous = korvan::host::setWarningSink([](const std::string&) {});
    RunOutcome run = runSource("warning('my:warn', 'level %d', 3);\n[msg, id] = lastwarning()");
    korvan::host::setWarningSink(previous);
    EXPECT_EQ(run.fOut, "msg = 'level 3'\nid = 'my:warn'\n") << run.fErr;
}

TEST(Builtins, GetenvReadsTheEnvironment) {
    ::setenv("KORVAN_LANG_TEST_VALUE", "abc", 1);
    RunOutcome run =
        runSource("getenv('KORVAN_LANG_TEST_VALUE'), isempty(getenv('KORVAN_LANG_NOT_SET_X'))");
    EXPECT_EQ(run.fOut, "ans = 'abc'\nans = true\n");
}

TEST(Builtins, PauseRunsWorkPostedToTheInterpreterThread) {
    auto vm = xvm::Factory::createXVM();
    xvm::CurrentXVMScope current(vm);
    std::ostringstream out, err;
    Interpreter in(out, err);
    std::atomic<bool> ran{false};
    std::atomic<bool> onInterpreterThread{false};
    const auto interpreterThread = std::this_thread::get_id();
    std::thread poster([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        xvm::runOnInterpreter(
            vm,
            [&] {
                onInterpreterThread = std::this_thread::get_id() == interpreterThread;
                ran = true;
            },
            std::chrono::milliseconds(5000), "lang test");
    });
    auto r = in.run("pause(0.5)");
    poster.join();
    EXPECT_EQ(r.fStatus, Interpreter::Status::Ok) << err.str();
    EXPECT_TRUE(ran);
    EXPECT_TRUE(onInterpreterThread);
    EXPECT_EQ(in.run("pause('x')").fError.fIdentifier, "KORVAN:lang:InvalidArgument");
}

}  // namespace
}  // namespace korvan::test
