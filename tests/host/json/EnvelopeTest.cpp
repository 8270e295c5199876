// The typed-number envelope: exact 64-bit integers, type names, ranges.
#include <foundation/json/Parser.hpp>
#include <foundation/json/Serializer.hpp>

#include <gtest/gtest.h>

namespace {

using namespace foundation::json;

TEST(JsonEnvelope, Exact64BitLimits) {
    const Value i = parse(R"({"zxdata": 9223372036854775807, "zxtype": "int64"})");
    ASSERT_EQ(i["zxdata"].kind(), Kind::Int64);
    EXPECT_EQ(i["zxdata"].asInt64(), INT64_MAX);
    EXPECT_EQ(i["zxtype"].asString(), "int64");  // the envelope stays an object

    // zxtype may come first; the unsigned maximum is kept exactly.
    const Value u = parse(R"({"zxtype": "uint64", "zxdata": 18446744073709551615})");
    ASSERT_EQ(u["zxdata"].kind(), Kind::UInt64);
    EXPECT_EQ(u["zxdata"].asUInt64(), UINT64_MAX);

    const Value lo = parse(R"({"zxtype": "int64", "zxdata": -9223372036854775808})");
    EXPECT_EQ(lo["zxdata"].asInt64(), INT64_MIN);

    // 2^53 + 1 cannot be a double: proof that no double was involved.
    const Value odd = parse(R"({"zxtype": "int64", "zxdata": 9007199254740993})");
    EXPECT_EQ(odd["zxdata"].asInt64(), 9007199254740993);
}

TEST(JsonEnvelope, TypeNamesAreExactAndCaseSensitive) {
    const char* recognised[] = {"int64", "uint64", "int32", "uint32",
                                "int16", "uint16", "int8",  "uint8"};
    for (const char* type : recognised) {
        const Value v = parse(std::string(R"({"zxtype": ")") + type + R"(", "zxdata": 7})");
        const Kind want = type[0] == 'u' ? Kind::UInt64 : Kind::Int64;
        EXPECT_EQ(v["zxdata"].kind(), want) << type;
        EXPECT_TRUE(isIntegerEnvelope(v)) << type;
    }
    const char* ignored[] = {"Int64", "INT64", "uint64 ", "int", "double", "int128", ""};
    for (const char* type : ignored) {
        const Value v =
            parse(std::string(R"({"zxtype": ")") + type + R"(", "zxdata": 9223372036854775807})");
        EXPECT_EQ(v["zxdata"], Value(9223372036854775807.0)) << type;
        EXPECT_FALSE(isIntegerEnvelope(v)) << type;
    }
    // zxtype not a string, or zxdata alone: plain JSON.
    EXPECT_EQ(parse(R"({"zxtype": 1, "zxdata": 3})")["zxdata"], Value(3.0));
    EXPECT_EQ(parse(R"({"zxdata": [3]})")["zxdata"], Value(Array{3.0}));
}

TEST(JsonEnvelope, ArraysAndIntegralSpellings) {
    const Value v =
        parse(R"({"zxtype": "int16", "zxdata": [[1, -2], [3e2, 4.0]], "size": [2, 2]})");
    const Value want(
        Array{Array{std::int64_t{1}, std::int64_t{-2}}, Array{std::int64_t{300}, std::int64_t{4}}});
    EXPECT_EQ(v["zxdata"], want);
    EXPECT_EQ(v["size"], Value(Array{2.0, 2.0}));  // further members stay plain

    // An envelope nested in a list, and a number called zxdata inside an ordinary object.
    const Value list = parse(R"([{"zxtype": "uint8", "zxdata": 255}, {"zxdata": 1}])");
    EXPECT_EQ(list.at(0)["zxdata"], Value(std::uint64_t{255}));
    EXPECT_EQ(list.at(1)["zxdata"], Value(1.0));
}

TEST(JsonEnvelope, OutOfRangeOrNonIntegerFailsWithCode7) {
    const char* bad[] = {
        R"({"zxtype": "int8", "zxdata": 128})",
        R"({"zxtype": "int8", "zxdata": -129})",
        R"({"zxtype": "uint8", "zxdata": -1})",
        R"({"zxtype": "uint64", "zxdata": 18446744073709551616})",
        R"({"zxtype": "int64", "zxdata": 9223372036854775808})",
        R"({"zxtype": "int32", "zxdata": 1.5})",
        R"({"zxtype": "int32", "zxdata": "1"})",
        R"({"zxtype": "int32", "zxdata": [1, null]})",
    };
    for (const char* text : bad) {
        try {
            (void)parse(text);
            ADD_FAILURE() << "accepted " << text;
        } catch (const ParserException& e) {
            EXPECT_EQ(e.code(), kParseInvalidTypedInteger) << text;
            EXPECT_EQ(std::string(e.what()).rfind("JSON ParserException (E0007): ", 0), 0u)
                << e.what();
        }
    }
    EXPECT_EQ(parse(R"({"zxtype": "int8", "zxdata": -128})")["zxdata"], Value(-128));
    EXPECT_EQ(parse(R"({"zxtype": "uint16", "zxdata": 65535})")["zxdata"], Value(65535u));
}

TEST(JsonEnvelope, SerializerRoundTripsExactIntegers) {
    SerializeOptions options;
    options.fIntegerEnvelope = true;
    const Value doc(Object{{"big", UINT64_MAX}, {"neg", INT64_MIN}, {"list", Array{1, 2u}}});
    const std::string text = serialize(doc, options);
    EXPECT_EQ(text, R"({"big":{"zxdata":18446744073709551615,"zxtype":"uint64"},)"
                    R"("list":[{"zxdata":1,"zxtype":"int64"},{"zxdata":2,"zxtype":"uint64"}],)"
                    R"("neg":{"zxdata":-9223372036854775808,"zxtype":"int64"}})");
    const Value back = parse(text);
    EXPECT_EQ(back["big"]["zxdata"].asUInt64(), UINT64_MAX);
    EXPECT_EQ(back["neg"]["zxdata"].asInt64(), INT64_MIN);
    // An envelope read back is written again as it was, not wrapped twice.
    EXPECT_EQ(serialize(back, options), text);
}

}  // namespace
