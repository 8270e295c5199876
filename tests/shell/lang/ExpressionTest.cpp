// Expressions and their display: literals, operators, precedence, ranges, brackets, indexing.
#include <gtest/gtest.h>

#include "LangTestSupport.hpp"

namespace korvan::test {

using namespace korvan::lang;
namespace {

class ExpressionOutput : public ::testing::TestWithParam<OutputCase> {};

TEST_P(ExpressionOutput, PrintsExpectedDisplay) {
    RunOutcome run = runSource(GetParam().fSource);
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Ok) << run.fErr;
    EXPECT_EQ(run.fOut, GetParam().fOutput) << "source: " << GetParam().fSource;
}

INSTANTIATE_TEST_SUITE_P(
    Values, ExpressionOutput,
    ::testing::Values(
        OutputCase{"x = 5", "x = 5\n"}, OutputCase{"x = 5;", ""}, OutputCase{"3 + 4", "ans = 7\n"},
        OutputCase{"x = 1.5", "x = 1.5000\n"}, OutputCase{"x = -0.25 * 4", "x = -1\n"},
        OutputCase{"x = 2i", "x = 0 + 2i\n"}, OutputCase{"x = 1 - 2i", "x = 1 - 2i\n"},
        OutputCase{"x = 2i * 2i", "x = -4\n"}, OutputCase{"x = true", "x = true\n"},
        OutputCase{"x = 'text'", "x = 'text'\n"}, OutputCase{"x = 'it''s'", "x = 'it's'\n"},
        OutputCase{"x = \"text\"", "x = \"text\"\n"},
        OutputCase{"x = string(missing)", "x = <missing>\n"}, OutputCase{"x = []", "x = []\n"},
        OutputCase{"x = 1:0, y = zeros(0, 3)", "x = [1x0 double]\ny = [0x3 double]\n"},
        OutputCase{"x = Inf, y = -Inf, z = NaN", "x = Inf\ny = -Inf\nz = NaN\n"},
        OutputCase{"x = 1/0", "x = Inf\n"},
        OutputCase{"x = [1 2; 3 4]", "x =\n    1    2\n    3    4\n"},
        OutputCase{"x = [1 -2]", "x =\n     1    -2\n"}, OutputCase{"x = [1 - 2]", "x = -1\n"},
        OutputCase{"x = [1, 2\n 3, 4];  x(2, 1)", "ans = 3\n"},
        OutputCase{"x = [\"a\" \"bc\"]", "x =\n    \"a\"     \"bc\"\n"},
        OutputCase{"x = ['ab' 'cd']", "x = 'abcd'\n"}, OutputCase{"x = int32(5)", "x = 5\n"},
        OutputCase{"x = class(int8(300))", "x = 'int8'\n"},
        OutputCase{"x = int8(300)", "x = 127\n"}, OutputCase{"x = int32(7) / int32(2)", "x = 4\n"},
        OutputCase{"x = class(int32(7) * 2)", "x = 'int32'\n"}));

INSTANTIATE_TEST_SUITE_P(
    Operators, ExpressionOutput,
    ::testing::Values(
        OutputCase{"x = 2 + 3 * 4", "x = 14\n"}, OutputCase{"x = (2 + 3) * 4", "x = 20\n"},
        OutputCase{"x = -2 ^ 2", "x = -4\n"}, OutputCase{"x = 2 ^ -1", "x = 0.5000\n"},
        OutputCase{"x = 2 ^ 3 ^ 2", "x = 64\n"}, OutputCase{"x = 10 - 2 - 3", "x = 5\n"},
        OutputCase{"x = [1 2 3] .* [4 5 6]", "x =\n     4    10    18\n"},
        OutputCase{"x = [1 2; 3 4] * [1; 1]", "x =\n    3\n    7\n"},
        OutputCase{"x = [2 4] ./ 2", "x =\n    1    2\n"},
        OutputCase{"x = [1 2 3] .^ 2", "x =\n    1    4    9\n"},
        OutputCase{"x = [1 2 3]'", "x =\n    1\n    2\n    3\n"},
        OutputCase{"x = 3 > 2", "x = true\n"},
        OutputCase{"x = [1 2 3] >= 2", "x =\n    false     true     true\n"},
        OutputCase{"x = 1 != 1", "x = false\n"}, OutputCase{"x = 1 ~= 2", "x = true\n"},
        OutputCase{"x = !true", "x = false\n"},
        OutputCase{"x = true && false || true", "x = true\n"},
        OutputCase{"x = \"ab\" == \"ab\"", "x = true\n"},
        OutputCase{"x = \"ab\" + \"cd\"", "x = \"abcd\"\n"}, OutputCase{"x = 'a' + 1", "x = 98\n"},
        OutputCase{"x = 1:4", "x =\n    1    2    3    4\n"},
        OutputCase{"x = 5:-2:1", "x =\n    5    3    1\n"},
        OutputCase{"x = isempty(3:1)", "x = true\n"},
        OutputCase{"x = 0:0.5:1", "x =\n         0    0.5000    1.0000\n"}));

INSTANTIATE_TEST_SUITE_P(
    Indexing, ExpressionOutput,
    ::testing::Values(
        OutputCase{"v = 10:10:50; v(2)", "ans = 20\n"},
        OutputCase{"v = 10:10:50; v(end)", "ans = 50\n"},
        OutputCase{"v = 10:10:50; v([1 end]), v(min(end, 9))", "ans =\n    10    50\nans = 50\n"},
        OutputCase{"v = 10:10:50; v(end-1:end)", "ans =\n    40    50\n"},
        OutputCase{"v = 10:10:50; v([true false true false false])", "ans =\n    10    30\n"},
        OutputCase{"m = [1 2; 3 4]; m(:, 2)", "ans =\n    2\n    4\n"},
        OutputCase{"m = [1 2; 3 4]; m(2, :)", "ans =\n    3    4\n"},
        OutputCase{"m = [1 2; 3 4]; m(end, end)", "ans = 4\n"},
        OutputCase{"m = [1 2; 3 4]; m(3)", "ans = 2\n"},
        OutputCase{"s = 'hello'; s(1:4)", "ans = 'hell'\n"},
        OutputCase{"s = [\"a\" \"b\" \"c\"]; s(2)", "ans = \"b\"\n"},
        OutputCase{"v = [1 2 3]; v(v > 1)", "ans =\n    2    3\n"},
        OutputCase{"v = []; v(3) = 7", "v =\n    0    0    7\n"},
        OutputCase{"v = [1 2]; v(2) = 9", "v =\n    1    9\n"},
        OutputCase{"m = zeros(2); m(2, 3) = 1", "m =\n    0    0    0\n    0    0    1\n"},
        OutputCase{"v = 1:3; w = v; w(1) = 100; v(1)", "ans = 1\n"},
        OutputCase{"v = 1:5; v(v > 2) = 0", "v =\n    1    2    0    0    0\n"},
        OutputCase{"v = 1:5; v([2 4]) = []", "v =\n    1    3    5\n"},
        OutputCase{"v = [1; 2; 3]; v(end) = []", "v =\n    1\n    2\n"},
        OutputCase{"m = [1 2 3; 4 5 6]; m(:, 2) = []", "m =\n    1    3\n    4    6\n"},
        OutputCase{"m = [1 2 3; 4 5 6]; m(1, :) = []", "m =\n    4    5    6\n"},
        OutputCase{"s = [\"a\" \"b\"]; s(1) = []", "s = \"b\"\n"},
        OutputCase{"s = \"a\"; s(2) = 'b'", "s =\n    \"a\"    \"b\"\n"},
        OutputCase{"v = [1 2]; v(2) = 3i", "v =\n    1 + 0i    0 + 3i\n"}));

class ExpressionError : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(ExpressionError, RaisesIdentifier) {
    RunOutcome run = runSource(GetParam().fSource);
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Error) << GetParam().fSource;
    EXPECT_EQ(run.fResult.fError.fIdentifier, GetParam().fIdentifier) << run.fErr;
    EXPECT_NE(run.fErr.find(GetParam().fIdentifier), std::string::npos) << run.fErr;
}

INSTANTIATE_TEST_SUITE_P(
    Errors, ExpressionError,
    ::testing::Values(ErrorCase{"x = y + 1", "KORVAN:lang:UndefinedVariable"},
                      ErrorCase{"x = [1 2] + [1 2 3]", "KORVAN:lang:SizeMismatch"},
                      ErrorCase{"x = [1 2] * [3 4]", "KORVAN:lang:InnerDimensions"},
                      ErrorCase{"v = 1:3; v(4)", "KORVAN:lang:IndexOutOfBounds"},
                      ErrorCase{"v = 1:3; v(0)", "KORVAN:lang:BadIndex"},
                      ErrorCase{"v = 1:3; v(1.5)", "KORVAN:lang:BadIndex"},
                      ErrorCase{"x = [1 2; 3]", "KORVAN:lang:ConcatMismatch"},
                      ErrorCase{"x = (1 + ", "KORVAN:lang:SyntaxError"},
                      ErrorCase{"x = 'abc", "KORVAN:lang:UnterminatedText"},
                      ErrorCase{"x = 1 $ 2", "KORVAN:lang:UnexpectedCharacter"},
                      ErrorCase{"if 1\n x = 2", "KORVAN:lang:SyntaxError"},
                      ErrorCase{"x = end", "KORVAN:lang:SyntaxError"},
                      ErrorCase{"v = [1 2]; v(1:2) = [1 2 3]", "KORVAN:lang:AssignSize"},
                      ErrorCase{"m = [1 2; 3 4]; m(1, 1) = []", "KORVAN:lang:DeleteShape"},
                      ErrorCase{"v = 1:3; v(5) = []", "KORVAN:lang:IndexOutOfBounds"},
                      ErrorCase{"x = \"a\" * 2", "KORVAN:lang:UnsupportedOperand"},
                      ErrorCase{"if \"yes\"\n end", "KORVAN:lang:NotLogicalCondition"},
                      ErrorCase{"x = int8(1) + int16(1)", "KORVAN:lang:UnsupportedOperand"}));

TEST(Nesting, DeepTextIsASyntaxErrorAndUsualDepthsRun) {
    const auto repeat = [](std::string_view part, int times) {
        std::string text;
        for (int i = 0; i < times; ++i) text += part;
        return text;
    };
    // Deep enough to overflow the stack without the parser's limit.
    for (const std::string& source :
         {"x = " + repeat("(", 20000) + "1" + repeat(")", 20000),
          "x = " + repeat("[", 20000) + repeat("]", 20000), "x = " + repeat("-", 20000) + "1",
          repeat("if true\n", 20000) + repeat("end\n", 20000)}) {
        const RunOutcome run = runSource(source);
        EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Error);
        EXPECT_EQ(run.fResult.fError.fIdentifier, "KORVAN:lang:SyntaxError") << run.fErr;
    }
    const RunOutcome run =
        runSource("x = " + repeat("(", 100) + "1" + repeat(")", 100) + ";\n" +
                  repeat("if true\n", 60) + "y = -x;\n" + repeat("end\n", 60) + "y");
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Ok) << run.fErr;
    EXPECT_EQ(run.fOut, "y = -1\n");
}

}  // namespace
}  // namespace korvan::test
