// LDAPFilter: parsing (with the exact error texts), normalised printing, and matching over a
// table of filters against one property set of many value types.
#include "RegistryTestSupport.hpp"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

#include <gtest/gtest.h>

#include <list>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

// A type the filter does not know. Any needs operator<< for every held type; this one prints
// "1" so that "(opaque=1)" shows matching is by type, not by the printed text.
struct Opaque {
    int fValue = 1;
};
std::ostream& operator<<(std::ostream& os, Opaque const& opaque) {
    return os << opaque.fValue;
}

AnyMap properties() {
    return AnyMap{
        {"name", Any(std::string("abc"))},
        {"Port", Any(8080)},
        {"ratio", Any(0.5)},
        {"enabled", Any(true)},
        {"objectclass", Any(std::vector<std::string>{"IFoo", "IBar"})},
        {"count", Any(3L)},
        {"small", Any(static_cast<short>(-2))},
        {"big", Any(7ULL)},
        {"empty", Any(std::string())},
        {"spaced", Any(std::string("Hello World"))},
        {"mixed", Any(std::vector<Any>{Any(1), Any(std::string("x"))})},
        {"names", Any(std::list<std::string>{"red", "green"})},
        {"paren", Any(std::string("a(b)"))},
        {"star", Any(std::string("a*b"))},
        {"opaque", Any(Opaque{})},
        {"nothing", Any()},
    };
}

struct MatchRow {
    const char* fFilter;
    bool fExpected;
};

void PrintTo(const MatchRow& row, std::ostream* os) {
    *os << row.fFilter;
}

class LdapMatch : public ::testing::TestWithParam<MatchRow> {};

TEST_P(LdapMatch, MatchesThePropertySet) {
    LDAPFilter const filter(GetParam().fFilter);
    EXPECT_EQ(filter.Match(properties()), GetParam().fExpected) << GetParam().fFilter;
}

INSTANTIATE_TEST_SUITE_P(
    Table, LdapMatch,
    ::testing::Values(
        // strings: exact and case-sensitive values, case-insensitive keys, wildcards
        MatchRow{"(name=abc)", true}, MatchRow{"(name=ABC)", false}, MatchRow{"(NAME=abc)", true},
        MatchRow{"(name=ab)", false}, MatchRow{"(name=a*)", true}, MatchRow{"(name=*c)", true},
        MatchRow{"(name=a*c)", true}, MatchRow{"(name=*b*)", true}, MatchRow{"(name=b*)", false},
        MatchRow{"(name=a*b*c)", true}, MatchRow{"(name=abcd*)", false},
        MatchRow{"(name=*abc*)", true}, MatchRow{"(name=c*a)", false},
        MatchRow{"(name~=A B C)", true}, MatchRow{"(spaced~=helloworld)", true},
        MatchRow{"(name<=abd)", true}, MatchRow{"(name>=abd)", false},
        MatchRow{"(name>=abc)", true},
        // presence and empty values
        MatchRow{"(name=*)", true}, MatchRow{"(missing=*)", false}, MatchRow{"(empty=*)", true},
        MatchRow{"(opaque=*)", true},
        // numbers compare numerically
        MatchRow{"(port=8080)", true}, MatchRow{"(port=8081)", false},
        MatchRow{"(port>=1025)", true}, MatchRow{"(port<=1024)", false},
        MatchRow{"(port=abc)", false}, MatchRow{"(count=3)", true}, MatchRow{"(count<=2)", false},
        MatchRow{"(small<=-1)", true}, MatchRow{"(small>=0)", false}, MatchRow{"(big=7)", true},
        MatchRow{"(ratio=0.5)", true}, MatchRow{"(ratio>=0.25)", true},
        MatchRow{"(ratio<=0.25)", false},
        // bool
        MatchRow{"(enabled=true)", true}, MatchRow{"(enabled=TRUE)", true},
        MatchRow{"(enabled=false)", false}, MatchRow{"(enabled>=true)", false},
        MatchRow{"(enabled<=true)", false},
        // collections match when one element does
        MatchRow{"(objectclass=IBar)", true}, MatchRow{"(objectclass=IBaz)", false},
        MatchRow{"(objectclass=I*)", true}, MatchRow{"(names=green)", true},
        MatchRow{"(names=blue)", false}, MatchRow{"(mixed=x)", true}, MatchRow{"(mixed=1)", true},
        MatchRow{"(mixed=2)", false},
        // types the filter does not know never match a value
        MatchRow{"(opaque=1)", false}, MatchRow{"(missing<=5)", false},
        MatchRow{"(nothing=x)", false},
        // composition
        MatchRow{"(&(name=abc)(port=8080))", true}, MatchRow{"(&(name=abc)(port=1))", false},
        MatchRow{"(|(name=x)(port=8080))", true}, MatchRow{"(|(name=x)(port=1))", false},
        MatchRow{"(!(name=x))", true}, MatchRow{"(!(name=abc))", false},
        MatchRow{"(!(missing=x))", true}, MatchRow{"(&(|(name=x)(name=abc))(!(port<=1024)))", true},
        // whitespace: skipped around the structure and attribute names, kept in values
        MatchRow{" (&  (name=abc) (port=8080) ) ", true}, MatchRow{"( name =abc)", true},
        MatchRow{"(name= abc)", false}, MatchRow{"(name=abc )", false},
        // escapes
        MatchRow{"(paren=a\\(b\\))", true}, MatchRow{"(star=a\\*b)", true},
        MatchRow{"(star=a\\*c)", false}, MatchRow{"(star=a*b)", true},
        MatchRow{"(name=a\\bc)", true}));

struct ErrorRow {
    const char* fFilter;
    const char* fMessage;
    bool fWhole;  // the whole text, or only its beginning
};

void PrintTo(const ErrorRow& row, std::ostream* os) {
    *os << row.fFilter;
}

class LdapParseError : public ::testing::TestWithParam<ErrorRow> {};

TEST_P(LdapParseError, ThrowsInvalidArgumentWithTheReason) {
    try {
        LDAPFilter filter(GetParam().fFilter);
        FAIL() << "no error for " << GetParam().fFilter;
    } catch (const std::invalid_argument& error) {
        std::string const what = error.what();
        if (GetParam().fWhole) {
            EXPECT_EQ(what, GetParam().fMessage);
        } else {
            EXPECT_EQ(what.rfind(GetParam().fMessage, 0), 0u) << what;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Table, LdapParseError,
                         ::testing::Values(ErrorRow{"", "Null query: ", true},
                                           ErrorRow{"(a=1", "Unexpected end of query: ", true},
                                           ErrorRow{"a=1", "Malformed query: a=1", true},
                                           ErrorRow{"(a=1)x", "Trailing garbage 'x': x", true},
                                           ErrorRow{"(a?1)", "Undefined operator: )", true},
                                           ErrorRow{"(&)", "Malformed query", false},
                                           ErrorRow{"(!(a=1)(b=2))", "Malformed query", false},
                                           ErrorRow{"(&(a=1)", "Unexpected end of query", false}));

TEST(LdapFilter, PrintsTheNormalisedFilter) {
    EXPECT_EQ(LDAPFilter("( a=1 )").ToString(), "(a=1 )");
    EXPECT_EQ(LDAPFilter(" (& (a=1) (b=2)) ").ToString(), "(&(a=1)(b=2))");
    EXPECT_EQ(LDAPFilter("(a=\\(x\\))").ToString(), "(a=\\(x\\))");
    EXPECT_EQ(LDAPFilter("(a=x*y)").ToString(), "(a=x*y)");
    EXPECT_EQ(LDAPFilter("(!(a>=1))").ToString(), "(!(a>=1))");
    EXPECT_EQ(LDAPFilter("(|(a~=x)(b<=2))").ToString(), "(|(a~=x)(b<=2))");
}

TEST(LdapFilter, ComparesByNormalisedText) {
    EXPECT_EQ(LDAPFilter("( a=1)"), LDAPFilter("(a=1)"));
    EXPECT_FALSE(LDAPFilter("( a=1 )") == LDAPFilter("(a=1)"));
}

TEST(LdapFilter, DefaultFilterIsFalseAndMatchesNothing) {
    LDAPFilter const filter;
    EXPECT_FALSE(filter);
    EXPECT_EQ(filter.ToString(), "");
    EXPECT_FALSE(filter.Match(properties()));
    EXPECT_FALSE(filter.MatchCase(properties()));
    EXPECT_TRUE(LDAPFilter("(a=1)"));
}

TEST(LdapFilter, MatchCaseComparesKeysExactly) {
    AnyMap const map(AnyMap::ORDERED_MAP, {{"Name", Any(std::string("abc"))}});
    EXPECT_TRUE(LDAPFilter("(name=abc)").Match(map));
    EXPECT_FALSE(LDAPFilter("(name=abc)").MatchCase(map));
    EXPECT_TRUE(LDAPFilter("(Name=abc)").MatchCase(map));
}

using korvan::test::FrameworkTest;
using korvan::test::IFoo;

TEST_F(FrameworkTest, FilterMatchesServiceReferenceProperties) {
    auto registration =
        registerFoo(1, {{"Color", Any(std::string("red"))}, {"service.ranking", Any(4)}});
    auto reference = registration.GetReference();
    EXPECT_TRUE(LDAPFilter("(color=red)").Match(reference));
    EXPECT_TRUE(
        LDAPFilter("(&(objectclass=korvan::test::IFoo)(service.ranking>=4))").Match(reference));
    EXPECT_FALSE(LDAPFilter("(color=blue)").Match(reference));
}

}  // namespace
