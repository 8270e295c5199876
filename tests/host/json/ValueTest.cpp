// foundation::json::Value: kinds, lookup and the conversion errors.
#include <foundation/json/Value.hpp>

#include <gtest/gtest.h>

namespace {

using namespace foundation::json;

std::string conversionMessage(const std::function<void()>& read) {
    try {
        read();
    } catch (const ConversionError& e) {
        return e.what();
    }
    return "(no error)";
}

TEST(JsonValue, KindNamesAreTheTraitNames) {
    EXPECT_STREQ(traits<Undefined>::name, "undefined");
    EXPECT_STREQ(traits<double>::name, "double");
    const std::pair<Value, const char*> cases[] = {
        {Value(), "undefined"},      {Value(nullptr), "null"}, {Value(true), "boolean"},
        {Value(-3), "int64"},        {Value(3u), "uint64"},    {Value(1.5), "double"},
        {Value(1.5f), "float"},      {Value("x"), "string"},   {Value(Array{}), "array"},
        {Value(Object{}), "object"},
    };
    for (const auto& [value, name] : cases) {
        EXPECT_STREQ(value.kindName(), name);
    }
}

TEST(JsonValue, MissingMemberIsUndefinedWithoutError) {
    const Value doc(Object{{"Port", 8080.0}});
    EXPECT_EQ(doc["Port"].asNumber(), 8080.0);
    EXPECT_TRUE(doc["HostName"].isUndefined());
    EXPECT_EQ(&doc["HostName"], &Value::UNDEFINED);
    // Reading the missing member is what fails, naming the undefined kind.
    EXPECT_EQ(conversionMessage([&] { (void)doc["HostName"].asString(); }),
              "invalid conversion: undefined to string");
}

TEST(JsonValue, WrongKindReadsNameBothKinds) {
    const Value text("8080");
    const Value number(8080.0);
    const Value list(Array{1.0});
    EXPECT_EQ(conversionMessage([&] { (void)text.asNumber(); }),
              "invalid conversion: string to double");
    EXPECT_EQ(conversionMessage([&] { (void)number.asString(); }),
              "invalid conversion: double to string");
    EXPECT_EQ(conversionMessage([&] { (void)list.asObject(); }),
              "invalid conversion: array to object");
    EXPECT_EQ(conversionMessage([&] { (void)list["key"]; }), "invalid conversion: array to object");
    EXPECT_EQ(conversionMessage([&] { (void)Value(nullptr).asBool(); }),
              "invalid conversion: null to boolean");
    EXPECT_EQ(conversionMessage([&] { (void)number.asInt64(); }),
              "invalid conversion: double to int64");
}

TEST(JsonValue, NumericReads) {
    EXPECT_EQ(Value(std::int64_t{-7}).asNumber(), -7.0);
    EXPECT_EQ(Value(2.5f).asNumber(), 2.5);
    EXPECT_EQ(Value(0.1).asFloat(), 0.1f);
    const std::uint64_t big = UINT64_MAX;
    EXPECT_EQ(Value(big).asUInt64(), big);
    EXPECT_THROW((void)Value(big).asInt64(), ConversionError);
    EXPECT_EQ(Value(std::uint64_t{INT64_MAX}).asInt64(), INT64_MAX);
    EXPECT_EQ(Value(std::int64_t{5}).asUInt64(), 5u);
    EXPECT_THROW((void)Value(std::int64_t{-1}).asUInt64(), ConversionError);
}

TEST(JsonValue, BuildingAndEquality) {
    Value doc;
    doc.set("b", 1.0).set("a", "x").set("b", 2.0);  // keys unique: last set wins
    Value list;
    list.push(1).push(nullptr);
    doc.set("list", list);
    ASSERT_EQ(doc.size(), 3u);
    EXPECT_EQ(doc.asObject().begin()->first, "a");  // ordered by key
    EXPECT_EQ(doc["b"], Value(2.0));
    EXPECT_EQ(doc["list"].at(1), Value(nullptr));
    EXPECT_THROW((void)doc["list"].at(2), std::out_of_range);
    EXPECT_NE(Value(1), Value(1.0));  // kinds differ
    EXPECT_THROW(Value(1.0).push(2), ConversionError);
}

}  // namespace
