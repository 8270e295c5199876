// The JSON form of host values: every row of the mapping table both ways (written form, the
// value read back, other texts that read as the same value), and what has no form either way.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "JsonMappingTable.hpp"
#include "foundation/json/Parser.hpp"
#include "korvan/services/connector/JsonValues.hpp"

namespace korvan::test {

using namespace korvan::services::connector;
namespace {

namespace json = foundation::json;

// As a call body is read: Python's bare NaN and infinities become envelopes.
kx::ArrayPtr read(const std::string& text) {
    try {
        return arrayFromJson(json::parse(text));
    } catch (const json::ParserException&) {
        const auto rewritten = withNonFiniteEnvelopes(text);
        if (!rewritten) throw;
        return arrayFromJson(json::parse(*rewritten));
    }
}

std::string write(const kxArray* a) {
    return writeJson(jsonFromArray(a));
}

// Deep equality: class, size, complexity, every bit of numeric data (so -0 and NaN count),
// elements of cells and structs (an element never set equals []; fields in any order).
bool same(const kxArray* a, const kxArray* b) {
    auto orEmpty = [](const kxArray* x, kx::ArrayPtr& keep) {
        if (x) return x;
        keep = kx::ArrayPtr(kxCreateDoubleMatrix(0, 0));
        return static_cast<const kxArray*>(keep.get());
    };
    kx::ArrayPtr ka, kb;
    a = orEmpty(a, ka);
    b = orEmpty(b, kb);
    if (kxGetClassID(a) != kxGetClassID(b) || kxIsComplex(a) != kxIsComplex(b) ||
        kxGetM(a) != kxGetM(b) || kxGetN(a) != kxGetN(b))
        return false;
    const kxSize count = kxGetNumberOfElements(a);
    switch (kxGetClassID(a)) {
        case kxClassID::String:
            for (kxSize k = 0; k < count; ++k)
                if (kxGetStringElement(a, k) != kxGetStringElement(b, k)) return false;
            return true;
        case kxClassID::Cell:
            for (kxSize k = 0; k < count; ++k)
                if (!same(kxGetCell(a, k), kxGetCell(b, k))) return false;
            return true;
        case kxClassID::Struct:
            if (kxGetNumberOfFields(a) != kxGetNumberOfFields(b)) return false;
            for (kxSize f = 0; f < kxGetNumberOfFields(a); ++f) {
                const std::string& name = kxGetFieldNameByNumber(a, f);
                if (kxGetFieldNumber(b, name) < 0) return false;
                for (kxSize k = 0; k < count; ++k)
                    if (!same(kxGetField(a, k, name), kxGetField(b, k, name))) return false;
            }
            return true;
        default:
            return std::memcmp(kxGetData(a), kxGetData(b), count * kxGetElementSize(a)) == 0;
    }
}

TEST(JsonMapping, EveryRowIsWrittenAsItsFormAndReadBack) {
    for (const MappingRow& row : mappingTable()) {
        SCOPED_TRACE(row.fName);
        const kx::ArrayPtr host = row.fHost();
        EXPECT_EQ(write(host.get()), row.fJson);
        const kx::ArrayPtr back = read(row.fJson);
        if (row.fReadsBackExact) {
            EXPECT_TRUE(same(back.get(), host.get())) << write(back.get());
        }
        EXPECT_EQ(write(back.get()), row.fJson);  // the written form is stable
        for (const char* other : row.fAlsoRead) {
            const kx::ArrayPtr alt = read(other);
            EXPECT_EQ(write(alt.get()), row.fJson) << other;
            if (row.fReadsBackExact) {
                EXPECT_TRUE(same(alt.get(), host.get())) << other;
            }
        }
    }
}

// Texts whose value has another written form: that form reads back to it (a second round
// writes the same text). The cases are where a plain list would read as another kind.
TEST(JsonMapping, WrittenFormsReadBackToTheSameValue) {
    const struct {
        const char* fText;
        bool fSameValue;  // false: the written form drops what has no form (complexity, char)
    } cases[] = {
        {R"(["a",["b"]])", true},
        {R"([[],[1]])", true},
        {R"([null,"a"])", true},
        {R"([[{"a":1}],[{"a":2}]])", true},
        {R"([{"zxtype":"int8","zxdata":1}])", true},
        {R"([{"zxtype":"struct","zxdata":[]}])", true},
        {R"({"zxtype":"struct","zxdata":[{"zxtype":1}]})", true},
        {R"([[1,2],[{"zxtype":"double","zxdata":"NaN"},3]])", true},
        {R"({"zxtype":"double","zxdata":{"real":[],"imag":[]}})", false},
        {R"({"zxtype":"char","zxdata":[]})", false},
    };
    for (const auto& c : cases) {
        const std::string first = write(read(c.fText).get());
        const kx::ArrayPtr again = read(first);
        EXPECT_EQ(write(again.get()), first) << c.fText;
        if (c.fSameValue) {
            EXPECT_TRUE(same(again.get(), read(c.fText).get())) << c.fText << " -> " << first;
        }
    }
}

TEST(JsonMapping, JsonWithoutHostFormIsRefusedSayingWhy) {
    for (const RefusedJson& row : refusedJson()) {
        SCOPED_TRACE(row.fJson);
        try {
            read(row.fJson);
            ADD_FAILURE() << "read";
        } catch (const ValueMappingError& e) {
            EXPECT_NE(std::string(e.what()).find(row.fSays), std::string::npos) << e.what();
        }
    }
}

TEST(JsonMapping, HostValuesWithoutJsonFormAreRefused) {
    const kxSize dims[3] = {2, 2, 2};
    kx::ArrayPtr cube(kxCreateNumericArray(3, dims, kxClassID::Double));
    kx::ArrayPtr missing(kxCreateMissingString());
    kx::ArrayPtr complexInt(kxCreateNumericMatrix(1, 1, kxClassID::Int8, kxComplexity::Complex));
    kx::ArrayPtr inCell(kxCreateCellMatrix(1, 2));
    kxSetCell(inCell.get(), 1, kxShareArray(missing.get()));
    for (const kxArray* a : {cube.get(), missing.get(), complexInt.get(), inCell.get()})
        EXPECT_THROW(jsonFromArray(a), ValueMappingError) << kxGetClassName(a);
}

TEST(JsonMapping, PythonsBareWordsBecomeEnvelopesOnlyOutsideStrings) {
    const struct {
        const char* fIn;
        std::optional<std::string> fOut;
    } cases[] = {
        {R"([1,2])", std::nullopt},
        {R"(["NaN","Infinity"])", std::nullopt},
        {R"(["a \"NaN\" b"])", std::nullopt},
        {R"([NaN,-Infinity])",
         R"([{"zxtype":"double","zxdata":"NaN"},{"zxtype":"double","zxdata":"-Infinity"}])"},
        {R"({"x":"\\",  "y":Infinity})",
         R"({"x":"\\",  "y":{"zxtype":"double","zxdata":"Infinity"}})"},
    };
    for (const auto& c : cases) EXPECT_EQ(withNonFiniteEnvelopes(c.fIn), c.fOut) << c.fIn;
}

}  // namespace
}  // namespace korvan::test
