// Cell arrays and structs: literals, brace and paren indexing, fields, growth, the built-ins
// over them, deep equality, display and the errors of misuse.
#include <gtest/gtest.h>

#include "LangTestSupport.hpp"
#include "TestClasses.hpp"
#include "kcos/kcos.hpp"
#include "korvan/host/UserCode.hpp"

namespace korvan::test {

using namespace korvan::lang;
namespace {

class StructCellOutput : public ::testing::TestWithParam<OutputCase> {};

TEST_P(StructCellOutput, PrintsExpectedDisplay) {
    RunOutcome run = runSource(GetParam().fSource);
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Ok) << run.fErr;
    EXPECT_EQ(run.fOut, GetParam().fOutput) << "source: " << GetParam().fSource;
}

INSTANTIATE_TEST_SUITE_P(
    Cells, StructCellOutput,
    ::testing::Values(
        OutputCase{"c = {1, 'a'; 2, \"b\"}",
                   "c =\n  2x2 cell array\n    {[1]}    {'a'}\n    {[2]}    {\"b\"}\n"},
        OutputCase{"c = {}", "c = {}\n"}, OutputCase{"c = {}; size(c)", "ans =\n    0    0\n"},
        OutputCase{"c = {1, 2\n 3, 4}; c{2, 1}", "ans = 3\n"},
        OutputCase{"c = {1 -2 {3}}; numel(c), class(c{3})", "ans = 3\nans = 'cell'\n"},
        OutputCase{"c = {10, 20, 30}; c{2}, c{end}, c{1, 3}", "ans = 20\nans = 30\nans = 30\n"},
        OutputCase{"c = {1, {2, 3}}; c{2}{2}", "ans = 3\n"},
        OutputCase{"c = {1}; c{3} = 'x'", "c =\n  1x3 cell array\n    {[1]}    {[]}    {'x'}\n"},
        OutputCase{"c = {}; c{end+1} = 5; c{end+1} = 6; c{2}", "ans = 6\n"},
        OutputCase{"c{2} = 1; class(c), c{1}", "ans = 'cell'\nans = []\n"},
        OutputCase{"c = []; c{1} = 1; class(c)", "ans = 'cell'\n"},
        OutputCase{"c = {1, 2, 3}; d = c(2:3)", "d =\n  1x2 cell array\n    {[2]}    {[3]}\n"},
        OutputCase{"c = {1, 2, 3}; c(2) = []", "c =\n  1x2 cell array\n    {[1]}    {[3]}\n"},
        OutputCase{"c = {1, 2}; c{2} = []; size(c), c{2}", "ans =\n    1    2\nans = []\n"},
        OutputCase{"c = {1, 2}; c(2) = {'z'}; c{2}", "ans = 'z'\n"},
        OutputCase{"c = {}; c{2}.a = 1; c{2}.a", "ans = 1\n"},
        OutputCase{"c = {[1 2]}; c{1}(3) = 9; c{1}", "ans =\n    1    2    9\n"},
        OutputCase{"c = {1}; d = c; d{1} = 2; c{1}", "ans = 1\n"},
        OutputCase{"x = [{1}, {2, 3}]; size(x), x{3}", "ans =\n    1    3\nans = 3\n"},
        OutputCase{"x = [{1}; {'a'}]; size(x)", "ans =\n    2    1\n"},
        OutputCase{"x = [{1}, 5]; class(x{2})", "ans = 'double'\n"},
        OutputCase{"x = {1, 2}'; size(x)", "ans =\n    2    1\n"},
        OutputCase{"r = {}; [r{1}, r{2}] = size(ones(4, 5)); r{2}", "ans = 5\n"},
        OutputCase{"for e = {7, 'x'}\n disp(class(e))\nend", "cell\ncell\n"},
        OutputCase{"m = {{1}, struct('a', 1), [1 2 3], ones(2), '', int8(3), true}",
                   "m =\n  1x7 cell array\n    {1x1 cell}    {1x1 struct}    {[1 2 3]}    "
                   "{2x2 double}    {''}    {[3]}    {[true]}\n"},
        OutputCase{"disp({1, 'ab'})", "  1x2 cell array\n    {[1]}    {'ab'}\n"}));

INSTANTIATE_TEST_SUITE_P(
    Structs, StructCellOutput,
    ::testing::Values(
        OutputCase{"s = struct('a', 1, 'bb', 'text')",
                   "s =\n  struct with fields:\n     a: 1\n    bb: 'text'\n"},
        OutputCase{"s = struct()", "s =\n  struct with no fields\n"},
        OutputCase{"s.a = 1; s.b.c = [1 2]; s",
                   "s =\n  struct with fields:\n    a: 1\n    b: [1x1 struct]\n"},
        OutputCase{"s.b.c = [1 2]; s.b.c(2)", "ans = 2\n"},
        OutputCase{"s = []; s.k = 'v'; s.k", "ans = 'v'\n"},
        OutputCase{"s.a(3) = 5; s.a", "ans =\n    0    0    5\n"},
        OutputCase{"s.a = 1; s(3).a = 3; size(s), s(2).a, s(3)",
                   "ans =\n    1    3\nans = []\nans =\n  struct with fields:\n    a: 3\n"},
        OutputCase{"s.a = 1; s(2).b = 2; s(1).b, fieldnames(s)",
                   "ans = []\nans =\n  2x1 cell array\n    {'a'}\n    {'b'}\n"},
        OutputCase{"s(2).a = 1; s(1).a, s(2).a", "ans = []\nans = 1\n"},
        OutputCase{"s = struct('a', {1, 2, 3}); s(2) = []; s(2).a", "ans = 3\n"},
        OutputCase{"s = struct('a', {1, 2})", "s =\n  1x2 struct array with fields:\n    a\n"},
        OutputCase{"s = struct('a', {1, 2}, 'b', 'x'); s(2).a, s(2).b", "ans = 2\nans = 'x'\n"},
        OutputCase{"s = struct('a', {{1, 2}}); class(s.a), size(s)",
                   "ans = 'cell'\nans =\n    1    1\n"},
        OutputCase{"s = struct('a', {}); size(s), isempty(s)", "ans =\n    0    0\nans = true\n"},
        OutputCase{"s.a = 1; t = s; t.a = 2; s.a", "ans = 1\n"},
        OutputCase{"s = [struct('a', 1, 'b', 2), struct('b', 3, 'a', 4)]; s(2).a", "ans = 4\n"},
        OutputCase{"s.a = 1; s(2) = struct('a', 5); s(2).a", "ans = 5\n"},
        OutputCase{"disp(struct('k', {}))", "  0x0 struct array with fields:\n    k\n"}));

INSTANTIATE_TEST_SUITE_P(
    Builtins, StructCellOutput,
    ::testing::Values(
        OutputCase{"c = cell(2); size(c), isempty(c{2, 2})", "ans =\n    2    2\nans = true\n"},
        OutputCase{"size(cell(1, 3)), size(cell([2 4])), size(cell(0))",
                   "ans =\n    1    3\nans =\n    2    4\nans =\n    0    0\n"},
        OutputCase{"iscell({}), iscell(1), isstruct(struct()), isstruct({})",
                   "ans = true\nans = false\nans = true\nans = false\n"},
        OutputCase{"iscellstr({'a', ''}), iscellstr({'a', 1}), iscellstr('a')",
                   "ans = true\nans = false\nans = false\n"},
        OutputCase{"s = struct('a', 1, 'b', 2); isfield(s, 'b'), isfield(s, {'a', 'z'})",
                   "ans = true\nans =\n     true    false\n"},
        OutputCase{"isfield(5, 'a')", "ans = false\n"},
        OutputCase{"s = rmfield(struct('a', 1, 'b', 2, 'c', 3), {'a', 'c'}); fieldnames(s)",
                   "ans =\n  1x1 cell array\n    {'b'}\n"},
        OutputCase{"class(struct('a', 1)), class({1})", "ans = 'struct'\nans = 'cell'\n"},
        OutputCase{"numel(struct('a', {1, 2, 3})), numel({1, 2})", "ans = 3\nans = 2\n"},
        OutputCase{"s = struct(\"n\", 1); s.n", "ans = 1\n"}));

// isequal compares deeply: cells element by element, structs by field set and values.
INSTANTIATE_TEST_SUITE_P(
    Equality, StructCellOutput,
    ::testing::Values(
        OutputCase{"isequal({1, 'x'}, {1, 'x'})", "ans = true\n"},
        OutputCase{"isequal({1, 'x'}, {1, 'y'})", "ans = false\n"},
        OutputCase{"isequal({1, 2}, {1; 2})", "ans = false\n"},
        OutputCase{"isequal({1, {2}}, {1, {2}}), isequal({1, {2}}, {1, {3}})",
                   "ans = true\nans = false\n"},
        OutputCase{"isequal(struct('a', 1, 'b', 2), struct('b', 2, 'a', 1))", "ans = true\n"},
        OutputCase{"isequal(struct('a', 1), struct('a', 2))", "ans = false\n"},
        OutputCase{"isequal(struct('a', 1), struct('a', 1, 'b', 1))", "ans = false\n"},
        OutputCase{"isequal(struct('a', {1, 2}), struct('a', {1, 2}))", "ans = true\n"},
        OutputCase{"isequal({}, []), isequal(struct(), {})", "ans = false\nans = false\n"},
        OutputCase{"c = cell(1, 2); isequal(c, {[], []})", "ans = true\n"}));

class StructCellError : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(StructCellError, RaisesIdentifier) {
    RunOutcome run = runSource(GetParam().fSource);
    EXPECT_EQ(run.fResult.fStatus, Interpreter::Status::Error) << GetParam().fSource;
    EXPECT_EQ(run.fResult.fError.fIdentifier, GetParam().fIdentifier) << GetParam().fSource;
    EXPECT_FALSE(run.fResult.fError.fMessage.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Misuse, StructCellError,
    ::testing::Values(ErrorCase{"c = {1, 2}; c{1:2}", "KORVAN:lang:BraceMultiple"},
                      ErrorCase{"c = {1, 2}; c{[]}", "KORVAN:lang:BraceMultiple"},
                      ErrorCase{"c = {1, 2}; c{1:2} = 3", "KORVAN:lang:BraceMultiple"},
                      ErrorCase{"x = 5; x{1}", "KORVAN:lang:BraceNotCell"},
                      ErrorCase{"x = 5; x{1} = 2", "KORVAN:lang:BraceNotCell"},
                      ErrorCase{"c = {1, 2}; c{3}", "KORVAN:lang:IndexOutOfBounds"},
                      ErrorCase{"c = {1, 2}; c(2) = 5", "KORVAN:lang:AssignClass"},
                      ErrorCase{"c = {1}; c == c", "KORVAN:lang:UnsupportedOperand"},
                      ErrorCase{"c = {1}; c + 1", "KORVAN:lang:UnsupportedOperand"},
                      ErrorCase{"s.a = 1; 2 * s", "KORVAN:lang:UnsupportedOperand"},
                      ErrorCase{"s.a = 1; -s", "KORVAN:lang:UnsupportedOperand"},
                      ErrorCase{"if {1}, end", "KORVAN:lang:NotLogicalCondition"},
                      ErrorCase{"s.a = 1; s.b", "KORVAN:lang:NoSuchField"},
                      ErrorCase{"s = struct('a', {1, 2}); s.a", "KORVAN:lang:FieldOfArray"},
                      ErrorCase{"s = struct('a', {1, 2}); s.a = 3", "KORVAN:lang:FieldOfArray"},
                      ErrorCase{"s._a = 1", "KORVAN:lang:InvalidFieldName"},
                      ErrorCase{"struct('1a', 2)", "KORVAN:lang:InvalidFieldName"},
                      ErrorCase{"struct('a')", "KORVAN:lang:InvalidArgument"},
                      ErrorCase{"struct('a', 1, 'a', 2)", "KORVAN:lang:InvalidArgument"},
                      ErrorCase{"struct('a', {1, 2}, 'b', {1, 2, 3})",
                                "KORVAN:lang:InvalidArgument"},
                      ErrorCase{"s.a = 1; s(2) = struct('b', 2)", "KORVAN:lang:FieldsDiffer"},
                      ErrorCase{"[struct('a', 1), struct('b', 1)]", "KORVAN:lang:FieldsDiffer"},
                      ErrorCase{"[struct('a', 1), 5]", "KORVAN:lang:ConcatClass"},
                      ErrorCase{"x = 5; x.a = 1", "KORVAN:lang:UnsupportedOperand"},
                      ErrorCase{"rmfield(struct('a', 1), 'b')", "KORVAN:lang:NoSuchField"},
                      ErrorCase{"fieldnames({})", "KORVAN:lang:InvalidArgument"}));

// The messages name what went wrong, not only the kind of error.
TEST(StructCellMessages, NameTheFieldTheOperatorAndTheClass) {
    const struct {
        const char* fSource;
        std::vector<std::string> fParts;
    } cases[] = {
        {"s.alpha = 1; s.beta", {"'beta'", "alpha"}},
        {"s = struct('wide', {1, 2}); s.wide", {"'wide'", "1x2"}},
        {"c = {1}; c == c", {"'=='", "'cell'"}},
        {"s.a = 1; s + 1", {"'+'", "'struct'"}},
        {"c = {1, 2, 3}; c{2:3}", {"2"}},
    };
    for (const auto& c : cases) {
        RunOutcome run = runSource(c.fSource);
        for (const auto& part : c.fParts)
            EXPECT_NE(run.fResult.fError.fMessage.find(part), std::string::npos)
                << c.fSource << ": " << run.fResult.fError.fMessage;
    }
}

// Objects inside structs and cells stay handles: a property set through a field reaches the
// object, and the object's own property syntax is unchanged.
TEST(StructCellObjects, PropertySetThroughAFieldReachesTheObject) {
    korvan::test::registerTestClasses();
    korvan::host::UserCode privileged(kcos::COSClient::privilegedClient());
    kx::ArrayPtr widget = privileged.construct("kcostest.Widget");
    std::ostringstream out, err;
    Interpreter in(out, err);
    in.setVariable("w", widget);
    auto r = in.run("s.w = w; s.w.Port = 7; c = {w}; p = c{1}.Port; w.Port = 8080; q = s.w.Port");
    ASSERT_EQ(r.fStatus, Interpreter::Status::Ok) << err.str();
    EXPECT_EQ(korvan::test::widgetOf(widget.get())->fPort, 8080);
    EXPECT_EQ(kxGetScalar(in.variable("p").get()), 7);
    EXPECT_EQ(kxGetScalar(in.variable("q").get()), 8080);
    EXPECT_TRUE(kxIsObject(in.variable("w").get()));
}

}  // namespace
}  // namespace korvan::test
