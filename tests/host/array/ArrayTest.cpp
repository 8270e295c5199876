// Host arrays: ownership, shapes, classes, typed data, integer saturation and objects.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "foundation/core/except/Exception.hpp"
#include "korvan/host/Errors.hpp"
#include "kx/kxArray.hpp"

namespace {

using kx::ArrayPtr;

std::vector<kxSize> dimsOf(const kxArray* a) {
    return {kxGetDimensions(a), kxGetDimensions(a) + kxGetNumberOfDimensions(a)};
}

class Probe : public kx::Object {
  public:
    Probe(std::string cls, int* alive) : fClass(std::move(cls)), fAlive(alive) { ++*fAlive; }
    ~Probe() override { --*fAlive; }
    const std::string& className() const override { return fClass; }

  private:
    std::string fClass;
    int* fAlive;
};

TEST(ArrayOwnership, ShareReleaseDestroy) {
    kxArray* a = kxCreateDoubleScalar(1.0);
    EXPECT_EQ(kxGetReferenceCount(a), 1u);
    EXPECT_EQ(kxShareArray(a), a);
    EXPECT_EQ(kxGetReferenceCount(a), 2u);
    EXPECT_FALSE(kxReleaseArray(a));
    EXPECT_EQ(kxGetReferenceCount(a), 1u);
    EXPECT_TRUE(kxReleaseArray(a));

    // Destroying a shared array drops only the caller's reference.
    kxArray* shared = kxCreateLogicalScalar(true);
    kxShareArray(shared);
    kxDestroyArray(shared);
    EXPECT_EQ(kxGetReferenceCount(shared), 1u);
    EXPECT_TRUE(kxIsLogicalScalarTrue(shared));
    kxDestroyArray(shared);

    EXPECT_FALSE(kxReleaseArray(nullptr));
    kxDestroyArray(nullptr);
    EXPECT_EQ(kxGetReferenceCount(nullptr), 0u);
}

TEST(ArrayOwnership, ArrayPtrCopiesShareAndReleaseOnce) {
    ArrayPtr first(kxCreateStringScalar(u"x"));
    {
        ArrayPtr second = first;
        ArrayPtr third;
        third = second;
        EXPECT_EQ(kxGetReferenceCount(first.get()), 3u);
        ArrayPtr moved(std::move(third));
        EXPECT_EQ(kxGetReferenceCount(first.get()), 3u);
    }
    EXPECT_EQ(kxGetReferenceCount(first.get()), 1u);
}

TEST(ArrayOwnership, ConcurrentShareAndRelease) {
    kxArray* a = kxCreateDoubleMatrix(2, 2);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([a] {
            for (int i = 0; i < 10000; ++i) {
                kxShareArray(a);
                kxReleaseArray(a);
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(kxGetReferenceCount(a), 1u);
    EXPECT_TRUE(kxReleaseArray(a));
}

TEST(ArrayShape, Normalisation) {
    struct Case {
        std::vector<kxSize> in;
        std::vector<kxSize> out;
        kxSize numel;
    };
    const Case cases[] = {
        {{}, {0, 0}, 0},           {{5}, {5, 1}, 5},          {{2, 3}, {2, 3}, 6},
        {{2, 3, 1}, {2, 3}, 6},    {{2, 3, 1, 1}, {2, 3}, 6}, {{1, 1, 1}, {1, 1}, 1},
        {{2, 1, 4}, {2, 1, 4}, 8}, {{2, 3, 0}, {2, 3, 0}, 0}, {{1, 1, 1, 2}, {1, 1, 1, 2}, 2},
    };
    for (const auto& c : cases) {
        ArrayPtr a(kxCreateNumericArray(c.in.size(), c.in.data(), kxClassID::Int16));
        EXPECT_EQ(dimsOf(a.get()), c.out);
        EXPECT_EQ(kxGetNumberOfElements(a.get()), c.numel);
        EXPECT_EQ(kxGetM(a.get()), c.out[0]);
        EXPECT_EQ(kxGetN(a.get()), c.out[1]);
        EXPECT_EQ(kxIsEmpty(a.get()), c.numel == 0);
    }
}

TEST(ArrayShape, SetDimensionsKeepsCountAndColumnMajorData) {
    ArrayPtr a(kxCreateDoubleMatrix(2, 3));
    double* d = kxGetDoubles(a.get());
    for (int i = 0; i < 6; ++i) {
        d[i] = i;
    }
    const kxSize reshaped[] = {3, 1, 2};
    kxSetDimensions(a.get(), 3, reshaped);
    EXPECT_EQ(dimsOf(a.get()), (std::vector<kxSize>{3, 1, 2}));
    EXPECT_EQ(kxGetElementAsDouble(a.get(), 4), 4.0);
    const kxSize wrong[] = {4, 2};
    EXPECT_THROW(kxSetDimensions(a.get(), 2, wrong), std::invalid_argument);
    EXPECT_EQ(dimsOf(a.get()), (std::vector<kxSize>{3, 1, 2}));
}

TEST(ArrayShape, HugeShapeIsOutOfMemory) {
    const kxSize dims[] = {std::numeric_limits<kxSize>::max() / 2, 4};
    EXPECT_THROW(kxCreateNumericArray(2, dims, kxClassID::Double),
                 foundation::core::except::Exception<KORVAN::host::OutOfMemory>);
    const kxSize big[] = {std::numeric_limits<kxSize>::max() / 4, 1};
    EXPECT_THROW(kxCreateNumericArray(2, big, kxClassID::Double),
                 foundation::core::except::Exception<KORVAN::host::OutOfMemory>);
}

TEST(ArrayClass, NamesAndPredicates) {
    int alive = 0;
    struct Case {
        ArrayPtr array;
        const char* name;
        bool numeric, realScalar, realDoubleScalar, logicalScalar;
    };
    Case cases[] = {
        {ArrayPtr(kxCreateDoubleScalar(2)), "double", true, true, true, false},
        {ArrayPtr(kxCreateComplexScalar(1, 2)), "double", true, false, false, false},
        {ArrayPtr(kxCreateNumericMatrix(1, 1, kxClassID::Single)), "single", true, true, false,
         false},
        {ArrayPtr(kxCreateIntegerScalar(kxClassID::UInt8, 3)), "uint8", true, true, false, false},
        {ArrayPtr(kxCreateLogicalScalar(false)), "logical", false, true, false, true},
        {ArrayPtr(kxCreateCharFromUtf8("a")), "char", false, false, false, false},
        {ArrayPtr(kxCreateStringScalar(u"a")), "string", false, false, false, false},
        {ArrayPtr(kxCreateObjectScalar(std::make_shared<Probe>("my.Cls", &alive))), "my.Cls", false,
         false, false, false},
        {ArrayPtr(kxCreateDoubleMatrix(1, 2)), "double", true, false, false, false},
    };
    for (const auto& c : cases) {
        const kxArray* a = c.array.get();
        EXPECT_EQ(kxGetClassName(a), c.name);
        EXPECT_TRUE(kxIsClass(a, c.name));
        EXPECT_FALSE(kxIsClass(a, "other"));
        EXPECT_EQ(kxIsNumeric(a), c.numeric) << c.name;
        EXPECT_EQ(kxIsRealScalar(a), c.realScalar) << c.name;
        EXPECT_EQ(kxIsRealDoubleScalar(a), c.realDoubleScalar) << c.name;
        EXPECT_EQ(kxIsLogicalScalar(a), c.logicalScalar) << c.name;
    }
    EXPECT_FALSE(kxIsNumeric(nullptr));
    EXPECT_EQ(kxGetClassName(nullptr), "");
    EXPECT_THROW(kxGetClassID(nullptr), std::invalid_argument);
}

TEST(ArrayClass, LogicalScalarTrueOnlyForTrueLogicalScalar) {
    ArrayPtr row(kxCreateLogicalMatrix(1, 2));
    kxGetLogicals(row.get())[0] = true;
    kxGetLogicals(row.get())[1] = true;
    struct Case {
        const char* what;
        ArrayPtr array;
        bool expected;
    };
    Case cases[] = {
        {"true", ArrayPtr(kxCreateLogicalScalar(true)), true},
        {"false", ArrayPtr(kxCreateLogicalScalar(false)), false},
        {"number 1", ArrayPtr(kxCreateDoubleScalar(1)), false},
        {"int8 1", ArrayPtr(kxCreateIntegerScalar(kxClassID::Int8, 1)), false},
        {"1x2 logical", row, false},
        {"empty logical", ArrayPtr(kxCreateLogicalMatrix(0, 0)), false},
        {"empty double", ArrayPtr(kxCreateDoubleMatrix(0, 0)), false},
        {"null", ArrayPtr(), false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(kxIsLogicalScalarTrue(c.array.get()), c.expected) << c.what;
    }
}

TEST(ArrayData, TypedAccessorsRefuseOtherClasses) {
    ArrayPtr d(kxCreateDoubleMatrix(1, 2));
    ArrayPtr z(kxCreateComplexScalar(1, 2));
    ArrayPtr c(kxCreateCharFromUtf8("ab"));
    ArrayPtr s(kxCreateStringScalar(u"ab"));
    EXPECT_NO_THROW(kxGetDoubles(d.get()));
    EXPECT_THROW(kxGetDoubles(z.get()), std::invalid_argument);
    EXPECT_THROW(kxGetComplexDoubles(d.get()), std::invalid_argument);
    EXPECT_THROW(kxGetDoubles(c.get()), std::invalid_argument);
    EXPECT_THROW(kxGetChars(d.get()), std::invalid_argument);
    EXPECT_THROW(kxGetLogicals(d.get()), std::invalid_argument);
    EXPECT_THROW(kxGetSingles(d.get()), std::invalid_argument);
    EXPECT_THROW(kxGetData(s.get()), std::invalid_argument);
    EXPECT_THROW(kxGetStringElement(c.get(), 0), std::invalid_argument);
    EXPECT_THROW(kxGetStringElement(s.get(), 1), std::out_of_range);
    EXPECT_THROW(kxGetElementAsDouble(d.get(), 2), std::out_of_range);
    EXPECT_THROW(kxGetScalar(s.get()), std::invalid_argument);
    EXPECT_THROW(kxGetScalar(ArrayPtr(kxCreateDoubleMatrix(0, 3)).get()), std::invalid_argument);
    EXPECT_THROW(kxCreateNumericMatrix(1, 1, kxClassID::Char, kxComplexity::Complex),
                 std::invalid_argument);
    EXPECT_EQ(kxGetElementSize(z.get()), 16u);
    EXPECT_EQ(kxGetElementSize(c.get()), 2u);
}

TEST(ArrayData, ScalarReadsAcrossClasses) {
    EXPECT_EQ(kxGetScalar(ArrayPtr(kxCreateComplexScalar(2.5, -1)).get()), 2.5);
    EXPECT_EQ(kxGetScalar(ArrayPtr(kxCreateLogicalScalar(true)).get()), 1.0);
    EXPECT_EQ(kxGetScalar(ArrayPtr(kxCreateCharFromUtf8("A")).get()), 65.0);
    EXPECT_EQ(kxGetScalar(ArrayPtr(kxCreateIntegerScalar(kxClassID::Int16, -7)).get()), -7.0);
    ArrayPtr z(kxCreateDoubleMatrix(1, 2, kxComplexity::Complex));
    kxGetComplexDoubles(z.get())[1] = {3, 4};
    EXPECT_EQ(kxGetElementAsDouble(z.get(), 1), 3.0);
}

TEST(ArrayData, IntegerScalarsSaturate) {
    struct Case {
        kxClassID cls;
        std::int64_t in;
        double expected;
    };
    const Case cases[] = {
        {kxClassID::Int8, 300, 127},
        {kxClassID::Int8, -300, -128},
        {kxClassID::UInt8, -1, 0},
        {kxClassID::UInt16, 70000, 65535},
        {kxClassID::Int32, std::numeric_limits<std::int64_t>::min(), -2147483648.0},
        {kxClassID::UInt64, -5, 0},
        {kxClassID::Int64, 42, 42},
    };
    for (const auto& c : cases) {
        ArrayPtr a(kxCreateIntegerScalar(c.cls, c.in));
        EXPECT_EQ(kxGetScalar(a.get()), c.expected) << kxGetClassName(a.get()) << " " << c.in;
    }
    ArrayPtr big(
        kxCreateUnsignedScalar(kxClassID::Int64, std::numeric_limits<std::uint64_t>::max()));
    std::int64_t stored = 0;
    std::memcpy(&stored, kxGetData(big.get()), sizeof stored);
    EXPECT_EQ(stored, std::numeric_limits<std::int64_t>::max());
    EXPECT_THROW(kxCreateIntegerScalar(kxClassID::Double, 1), std::invalid_argument);
}

TEST(ArrayData, CharText) {
    ArrayPtr empty(kxCreateCharFromUtf8(""));
    EXPECT_EQ(dimsOf(empty.get()), (std::vector<kxSize>{0, 0}));
    ArrayPtr text(kxCreateCharFromUtf8("h\xc3\xa9 \xf0\x9f\x98\x80"));
    EXPECT_EQ(dimsOf(text.get()), (std::vector<kxSize>{1, 5}));  // surrogate pair: 2 units
    EXPECT_EQ(kxGetCharText(text.get()), u"h\u00e9 \U0001F600");
    EXPECT_EQ(kxGetCharTextUtf8(text.get()), "h\xc3\xa9 \xf0\x9f\x98\x80");
}

TEST(ArrayData, DuplicateIsDeepForDataAndSharesObjects) {
    int alive = 0;
    {
        ArrayPtr s(kxCreateStringMatrix(1, 2));
        kxSetStringElement(s.get(), 1, std::nullopt);
        ArrayPtr copy(kxDuplicateArray(s.get()));
        kxSetStringElement(s.get(), 0, u"changed");
        EXPECT_EQ(kxGetStringElement(copy.get(), 0), std::u16string());
        EXPECT_FALSE(kxGetStringElement(copy.get(), 1).has_value());

        ArrayPtr d(kxCreateDoubleScalar(1));
        ArrayPtr dcopy(kxDuplicateArray(d.get()));
        kxGetDoubles(d.get())[0] = 2;
        EXPECT_EQ(kxGetScalar(dcopy.get()), 1.0);
        EXPECT_EQ(kxGetReferenceCount(dcopy.get()), 1u);

        auto object = std::make_shared<Probe>("my.Cls", &alive);
        ArrayPtr o(kxCreateObjectScalar(object));
        ArrayPtr ocopy(kxDuplicateArray(o.get()));
        EXPECT_EQ(kxGetObject(ocopy.get(), 0), object);
        EXPECT_EQ(kxGetClassName(ocopy.get()), "my.Cls");
        EXPECT_EQ(kxDuplicateArray(nullptr), nullptr);
    }
    EXPECT_EQ(alive, 0);  // the last array let go of the object
}

TEST(ArrayData, ObjectElements) {
    int alive = 0;
    {
        ArrayPtr m(kxCreateObjectMatrix(2, 1, "my.Cls"));
        EXPECT_EQ(kxGetObject(m.get(), 0), nullptr);
        kxSetObject(m.get(), 1, std::make_shared<Probe>("my.Cls", &alive));
        EXPECT_EQ(alive, 1);
        EXPECT_THROW(kxSetObject(m.get(), 0, std::make_shared<Probe>("other.Cls", &alive)),
                     std::invalid_argument);
        EXPECT_THROW(kxSetObject(m.get(), 2, nullptr), std::out_of_range);
        EXPECT_THROW(kxCreateObjectScalar(nullptr), std::invalid_argument);
        kxSetObject(m.get(), 1, nullptr);
        EXPECT_EQ(alive, 0);
        kxSetObject(m.get(), 0, std::make_shared<Probe>("my.Cls", &alive));
    }
    EXPECT_EQ(alive, 0);
}

}  // namespace
