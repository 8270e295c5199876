// The metadata of a function file: inputs and outputs from the function line, the summary and
// description from the comment block after it; the forms a function line takes.
#include <gtest/gtest.h>

#include "korvan/shell/FunctionHelp.hpp"

namespace korvan::shell {
namespace {

using korvan::services::connector::FunctionMetadata;
using Names = std::vector<std::string>;

TEST(FunctionHelp, FunctionLinesAndHelpBlocks) {
    // clang-format off
    const struct {
        const char* fText;
        FunctionMetadata fExpected;
    } cases[] = {
        {"function s = plus(a, b)\n# plus(a, b): the sum.\n#   {\"args\":[1,2]}\n#\n  s = a + b;\nend\n", {Names{"a", "b"}, Names{"s"}, "plus(a, b): the sum.", "  {\"args\":[1,2]}"}},
        {"# a note before\n\nfunction [m, s, n] = stats(v)\n# Mean, spread, count.\nm = 1;\n", {Names{"v"}, Names{"m", "s", "n"}, "Mean, spread, count.", ""}},
        {"function hello\n  disp(1)\nend\n", {Names{}, Names{}, "", ""}},
        {"function noOut(x,y)  # trailing comment\n", {Names{"x", "y"}, Names{}, "", ""}},
        {"function [a,b]=tight(x)\n#One\n# two\n#  three\n", {Names{"x"}, Names{"a", "b"}, "One", "two\n three"}},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fText);
        const auto meta = parseFunctionHelp(c.fText);
        ASSERT_TRUE(meta);
        EXPECT_EQ(meta->fInputs, c.fExpected.fInputs);
        EXPECT_EQ(meta->fOutputs, c.fExpected.fOutputs);
        EXPECT_EQ(meta->fSummary, c.fExpected.fSummary);
        EXPECT_EQ(meta->fDescription, c.fExpected.fDescription);
    }
    for (const char* notAFunction : {"", "# only a comment\n", "x = 1;\n", "functional = 2\n"})
        EXPECT_FALSE(parseFunctionHelp(notAFunction)) << notAFunction;
}

}  // namespace
}  // namespace korvan::shell
