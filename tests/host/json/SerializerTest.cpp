// foundation::json::serialize: text form, precision, undefined and non-finite numbers.
#include <foundation/json/Parser.hpp>
#include <foundation/json/Serializer.hpp>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include <gtest/gtest.h>

namespace {

using namespace foundation::json;

TEST(JsonSerializer, CompactKeyOrderedText) {
    Value doc(Object{{"b", Array{true, nullptr, "q\"\\\n\x01"}}, {"a", 1.0}, {"gone", Value()}});
    EXPECT_EQ(serialize(doc), R"({"a":1,"b":[true,null,"q\"\\\n\u0001"]})");
    EXPECT_EQ(serialize(Value(Array{Value(), -0.0, 1e21})), "[null,-0,1e+21]");
    EXPECT_EQ(serialize(Value()), "null");
    EXPECT_EQ(serialize(Value(-5)), "-5");
    EXPECT_EQ(serialize(Value("h\xC3\xA9")), "\"h\xC3\xA9\"");
}

TEST(JsonSerializer, DoublesReadBackExactly) {
    const double values[] = {0.1, 1.0 / 3.0, 5e-324, std::numeric_limits<double>::max(), -2.5};
    SerializeOptions full;
    full.fFullPrecision = true;
    for (double d : values) {
        EXPECT_EQ(parse(serialize(Value(d))).asNumber(), d);
        EXPECT_EQ(parse(serialize(Value(d), full)).asNumber(), d);
    }
    // Many arbitrary doubles (fixed seed): both forms read back bit for bit.
    std::mt19937_64 random(20240531);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t bits = random();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        if (!std::isfinite(d)) {
            continue;
        }
        ASSERT_EQ(parse(serialize(Value(d))).asNumber(), d) << serialize(Value(d), full);
        ASSERT_EQ(parse(serialize(Value(d), full)).asNumber(), d) << serialize(Value(d), full);
    }
    EXPECT_TRUE(std::signbit(parse("-0").asNumber()));
    EXPECT_EQ(parse("1e-400").asNumber(), 0.0);  // underflow is zero, not a failure
    EXPECT_EQ(serialize(Value(0.1)), "0.1");
    EXPECT_EQ(serialize(Value(0.1), full), "0.10000000000000001");
    EXPECT_EQ(serialize(Value(0.1f)), "0.1");
}

TEST(JsonSerializer, NonFiniteNumbers) {
    const double nonFinite[] = {std::nan(""), INFINITY, -INFINITY};
    SerializeOptions asNull;
    asNull.fNonFinite = SerializeOptions::NonFinite::Null;
    for (double d : nonFinite) {
        EXPECT_THROW(serialize(Value(Array{d})), std::domain_error);
        EXPECT_EQ(serialize(Value(Array{d}), asNull), "[null]");
    }
    EXPECT_EQ(serialize(Value(Array{std::numeric_limits<float>::infinity()}), asNull), "[null]");
}

}  // namespace
