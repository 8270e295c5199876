// foundation::json parsing: values, failure codes and positions, trailing content, flags.
#include <foundation/json/Parser.hpp>

#include <gtest/gtest.h>

namespace {

using namespace foundation::json;

// The exception a whole-text parse throws, or nullopt.
std::optional<ParserException> failureOf(std::string_view text, std::uint8_t flags = 0) {
    try {
        (void)parse(text, flags);
    } catch (const ParserException& e) {
        return e;
    }
    return std::nullopt;
}

TEST(JsonParser, PlainDocument) {
    const Value doc = parse(R"({"Port": 8080, "HostName": "h\u00e9", "ServiceNames": "a b",
                                "List": [true, false, null, -1.5e2], "Nested": {"x": {}}})");
    EXPECT_EQ(doc["Port"], Value(8080.0));  // plain numbers are doubles
    EXPECT_EQ(doc["HostName"].asString(), "h\xC3\xA9");
    EXPECT_EQ(doc["List"], Value(Array{true, false, nullptr, -150.0}));
    EXPECT_EQ(doc["Nested"]["x"], Value(Object{}));
    EXPECT_EQ(parse("  \"only\"  \n"), Value("only"));
    EXPECT_EQ(parse("18446744073709551615"), Value(18446744073709551615.0));
}

TEST(JsonParser, MessageFormat) {
    const char text[] = "{\n  \"a\": 1,\n  \"b\": x\n}";
    const ParserException e(text, text + 19, text + sizeof text - 1, 7, "Something");
    EXPECT_STREQ(e.what(), "JSON ParserException (E0007): Something (Line 3, Column 8)");
    EXPECT_EQ(e.code(), 7);
    EXPECT_EQ(e.offset(), 19u);
    const ParserException wide(text, text, text + 1, 123456, "Wide");
    EXPECT_STREQ(wide.what(), "JSON ParserException (E123456): Wide (Line 1, Column 1)");
}

TEST(JsonParser, ColumnsCountCharactersNotBytes) {
    const std::string text = "[\"\xC3\xA9\xE2\x82\xAC\", x]";  // two 2- and 3-byte characters
    const auto e = failureOf(text);
    ASSERT_TRUE(e);
    EXPECT_EQ(e->line(), 1u);
    EXPECT_EQ(e->column(), 8u);  // [ " é € " , space, then x
}

TEST(JsonParser, FailuresReportCodeDescriptionAndPlace) {
    struct Case {
        std::string text;
        int code;
        std::size_t line;
        std::size_t column;
    };
    const Case cases[] = {
        {"", kParseUnexpectedEnd, 1, 1},
        {"   ", kParseUnexpectedEnd, 1, 4},
        {"{\"a\": 1", kParseUnexpectedEnd, 1, 8},
        {"{\n  \"a\": tru }", kParseSyntaxError, 2, 8},
        {"[1, 2,]", kParseSyntaxError, 1, 7},
        {"{'a': 1}", kParseSyntaxError, 1, 2},
        {"[NaN]", kParseSyntaxError, 1, 2},
        {"\"\\x\"", kParseSyntaxError, 1, 3},
        {"\"\\u12G4\"", kParseInvalidEscape, 1, 6},
        {"\"\\udc00\"", kParseInvalidSurrogate, 1, 8},
        {"[1e400]", kParseNumberOutOfRange, 1, 7},
        {std::string(kMaxDepth + 1, '['), kParseTooDeep, 1, kMaxDepth + 1},
        {"\"\xFF\"", kParseSyntaxError, 1, 2},
    };
    for (const auto& c : cases) {
        const auto e = failureOf(c.text);
        ASSERT_TRUE(e) << c.text;
        EXPECT_EQ(e->code(), c.code) << c.text << ": " << e->what();
        EXPECT_EQ(e->description(), get_parse_result_description(c.code));
        EXPECT_EQ(e->line(), c.line) << c.text << ": " << e->what();
        EXPECT_EQ(e->column(), c.column) << c.text << ": " << e->what();
    }
}

TEST(JsonParser, TrailingContentIsParseIncomplete) {
    const std::string text = "{\"a\": 1} {\"b\": 2}";
    const auto e = failureOf(text);
    ASSERT_TRUE(e);
    EXPECT_EQ(e->code(), 0);
    EXPECT_STREQ(e->what(), "JSON ParserException (E0000): Parse incomplete (Line 1, Column 10)");

    // The entry itself succeeds and says where it stopped (after trailing white space).
    Value value;
    const ParseStatus status = parse(text.data(), text.data() + text.size(), value, 0);
    EXPECT_TRUE(status.ok());
    EXPECT_EQ(status.fPosition - text.data(), 9);
    EXPECT_EQ(value, Value(Object{{"a", 1.0}}));

    for (const char* trailing : {"1 2", "[] x", "null,", "\"a\"\"b\"", "{}\n}"}) {
        const auto t = failureOf(trailing);
        ASSERT_TRUE(t) << trailing;
        EXPECT_EQ(t->code(), 0) << trailing;
        EXPECT_EQ(t->description(), "Parse incomplete");
    }
}

TEST(JsonParser, FailedEntryLeavesResultUndefined) {
    const std::string text = "[1, 2";
    Value value("previous");
    const ParseStatus status = parse(text.data(), text.data() + text.size(), value, 0);
    EXPECT_EQ(status.fCode, kParseUnexpectedEnd);
    EXPECT_TRUE(value.isUndefined());
}

TEST(JsonParser, FlagsLoosenTheGrammar) {
    EXPECT_TRUE(failureOf("[1, /* two */ 2] // end"));
    EXPECT_EQ(parse("[1, /* two */ 2] // end", kParseAllowComments), Value(Array{1.0, 2.0}));
    EXPECT_EQ(parse("{\"a\": [1,],}", kParseAllowTrailingCommas), Value(Object{{"a", Array{1.0}}}));
    EXPECT_EQ(parse("\"\xFF\"", kParseAllowInvalidUtf8), Value("\xFF"));
}

TEST(JsonParser, BrokenCommentAtTheStartFailsInsideTheText) {
    for (const std::string text : {"/", "/?", "/? comment", "/*", "/* open", "\n/x"}) {
        SCOPED_TRACE(text);
        Value value;
        const ParseStatus status =
            parse(text.data(), text.data() + text.size(), value, kParseAllowComments);
        EXPECT_FALSE(status.ok());
        EXPECT_GE(status.fPosition, text.data());
        EXPECT_LE(status.fPosition, text.data() + text.size());
        const auto failure = failureOf(text, kParseAllowComments);
        ASSERT_TRUE(failure);
        EXPECT_LE(failure->offset(), text.size());
    }
}

TEST(JsonParser, DuplicateKeysLastWins) {
    EXPECT_EQ(parse(R"({"a": 1, "a": 2})"), Value(Object{{"a", 2.0}}));
}

TEST(JsonParser, DescriptionsOfUnknownCodes) {
    EXPECT_STREQ(get_parse_result_description(0), "Success");
    EXPECT_STREQ(get_parse_result_description(-1), "Unknown parse result");
    EXPECT_STREQ(get_parse_result_description(kParseInvalidTypedInteger),
                 "Typed number is not an integer of its type");
}

}  // namespace
