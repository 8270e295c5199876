// When the prompt must read more lines before running what it has (korvan::lang::isIncomplete).
#include <gtest/gtest.h>

#include <string>

#include "korvan/lang/Parser.hpp"

namespace {

struct IncompleteCase {
    const char* fSource;
    bool fIncomplete;
};

class IncompleteTest : public ::testing::TestWithParam<IncompleteCase> {};

TEST_P(IncompleteTest, DecidesWhetherToReadMore) {
    EXPECT_EQ(korvan::lang::isIncomplete(GetParam().fSource), GetParam().fIncomplete)
        << GetParam().fSource;
}

INSTANTIATE_TEST_SUITE_P(
    Sources, IncompleteTest,
    ::testing::Values(
        // complete statements and blocks
        IncompleteCase{"x = 1 + 1\n", false}, IncompleteCase{"", false},
        IncompleteCase{"while true, end\n", false},
        IncompleteCase{"if x\n y = 1\nelse\n y = 2\nend\n", false},
        IncompleteCase{"function y = f(x)\n y = x;\nend\n", false},
        IncompleteCase{"x = v(end)\n", false}, IncompleteCase{"x = 1 # wait...\n", false},
        // open blocks, brackets and continuations
        IncompleteCase{"if x > 1\n", true}, IncompleteCase{"for i = 1:3\n disp(i)\n", true},
        IncompleteCase{"while true\n", true}, IncompleteCase{"try\n error('a:b', 'c')\n", true},
        IncompleteCase{"try\n x = 1;\ncatch err\n", true},
        IncompleteCase{"function y = f(x)\n", true},
        IncompleteCase{"for i = 1:2\n if i == 1\n end\n", true},
        IncompleteCase{"for i = 1:2\n x = v(end);\n", true},  // `end` in an index closes nothing
        IncompleteCase{"m = [1 2\n", true}, IncompleteCase{"x = 1 + ...\n", true},
        // errors more lines cannot cure: run them and show the error
        IncompleteCase{"x = 1 +\n", false}, IncompleteCase{"end\n", false},
        IncompleteCase{"x = 'abc\n", false}, IncompleteCase{"if x )\n", false},
        IncompleteCase{"x = $\n", false}),
    [](const auto& info) { return "case" + std::to_string(info.index); });

}  // namespace
