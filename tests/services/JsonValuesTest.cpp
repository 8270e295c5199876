// The JSON form of host values: round trips through host arrays, the exact forms written, and
// the inputs that have no host form.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "foundation/json/Parser.hpp"
#include "korvan/services/connector/JsonValues.hpp"

namespace {

using namespace korvan::services::connector;
namespace json = foundation::json;

std::string roundTrip(const std::string& text) {
    kx::ArrayPtr array = arrayFromJson(json::parse(text));
    return writeJson(jsonFromArray(array.get()));
}

TEST(JsonValuesTest, FormsReadBackAsWritten) {
    const char* cases[] = {
        "1.5",
        "true",
        "\"text\"",
        "null",
        "[1,2,3]",
        "[[1,2],[3,4],[5,6]]",
        "[[1],[2]]",
        "[true,false]",
        "[[\"a\",\"b\"],[\"c\",\"d\"]]",
        "{\"zxdata\":-128,\"zxtype\":\"int8\"}",
        "{\"zxdata\":[[1,2],[3,4]],\"zxtype\":\"int32\"}",
        "{\"zxdata\":9223372036854775807,\"zxtype\":\"int64\"}",
        "{\"zxdata\":18446744073709551615,\"zxtype\":\"uint64\"}",
        "{\"zxdata\":\"h\u00e9llo\",\"zxtype\":\"char\"}",
        "{\"zxdata\":[\"ab\",\"cd\"],\"zxtype\":\"char\"}",
        "{\"zxdata\":\"NaN\",\"zxtype\":\"double\"}",
        ("[1,{\"zxdata\":\"Inf\",\"zxtype\":\"double\"},{\"zxdata\":\"-Inf\",\"zxtype\":\"double\"}"
         "]"),
        // Numbers as the shortest text that reads back to the same double.
        "0.1",
        "1e-300",
        "-0",
        "[0.30000000000000004,1.7976931348623157e+308,5e-324]",
    };
    for (const char* text : cases) EXPECT_EQ(roundTrip(text), text) << text;
}

TEST(JsonValuesTest, ShapesAndClassesOfReadValues) {
    kx::ArrayPtr m = arrayFromJson(json::parse("[[1,2,3],[4,5,6]]"));
    ASSERT_TRUE(kxIsDouble(m.get()));
    EXPECT_EQ(kxGetM(m.get()), 2u);
    EXPECT_EQ(kxGetN(m.get()), 3u);
    // Column-major storage: (1,0) is the second element.
    EXPECT_EQ(kxGetDoubles(m.get())[1], 4.0);
    EXPECT_EQ(kxGetDoubles(m.get())[2], 2.0);

    kx::ArrayPtr empty = arrayFromJson(json::parse("null"));
    EXPECT_TRUE(kxIsDouble(empty.get()));
    EXPECT_TRUE(kxIsEmpty(empty.get()));

    kx::ArrayPtr s = arrayFromJson(json::parse("\"x\""));
    EXPECT_TRUE(kxIsStringArray(s.get()));
    EXPECT_TRUE(kxIsScalar(s.get()));

    kx::ArrayPtr big =
        arrayFromJson(json::parse("{\"zxtype\":\"uint64\",\"zxdata\":18446744073709551615}"));
    ASSERT_EQ(kxGetClassID(big.get()), kxClassID::UInt64);
    EXPECT_EQ(*static_cast<const std::uint64_t*>(kxGetData(big.get())),
              std::numeric_limits<std::uint64_t>::max());
    kx::ArrayPtr nan = arrayFromJson(json::parse("{\"zxtype\":\"double\",\"zxdata\":\"NaN\"}"));
    EXPECT_TRUE(std::isnan(kxGetScalar(nan.get())));
}

TEST(JsonValuesTest, DoublesKeepEveryBit) {
    for (double d : {0.1, 1.0 / 3.0, 2.0 / 3.0, 1e-300, 123456789.123456789, -5e307}) {
        kx::ArrayPtr a(kxCreateDoubleScalar(d));
        const std::string text = writeJson(jsonFromArray(a.get()));
        kx::ArrayPtr back = arrayFromJson(json::parse(text));
        EXPECT_EQ(kxGetScalar(back.get()), d) << text;
    }
}

TEST(JsonValuesTest, HostValuesWithoutJsonFormAreRefused) {
    const kxSize dims[3] = {2, 2, 2};
    kx::ArrayPtr cube(kxCreateNumericArray(3, dims, kxClassID::Double));
    EXPECT_THROW(jsonFromArray(cube.get()), ValueMappingError);
    kx::ArrayPtr complex(kxCreateComplexScalar(1, 2));
    EXPECT_THROW(jsonFromArray(complex.get()), ValueMappingError);
    kx::ArrayPtr missing(kxCreateMissingString());
    EXPECT_THROW(jsonFromArray(missing.get()), ValueMappingError);
}

TEST(JsonValuesTest, JsonWithoutHostFormIsRefused) {
    const char* cases[] = {
        "[1,true]",                                         // mixed classes
        "[1,\"a\"]",                                        // mixed classes
        "[[1,2],[3]]",                                      // ragged rows
        "[[1],2]",                                          // rows and elements mixed
        "[[[1]]]",                                          // three levels
        "{\"a\":1}",                                        // object without envelope
        "{\"zxtype\":\"float128\",\"zxdata\":1}",           // unknown type
        "{\"zxtype\":\"double\",\"zxdata\":\"nan\"}",       // only NaN, Inf, -Inf
        "{\"zxtype\":\"char\",\"zxdata\":[\"ab\",\"c\"]}",  // char rows of unequal length
        "[null]",                                           // null only as a whole value
    };
    for (const char* text : cases)
        EXPECT_THROW(arrayFromJson(json::parse(text)), ValueMappingError) << text;
}

}  // namespace
