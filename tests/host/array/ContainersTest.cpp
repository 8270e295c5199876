// Cell and struct arrays: elements held and released, fields added and removed without losing
// values, copies that share elements, and misuse refused.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "kx/kxArray.hpp"

namespace {

using kx::ArrayPtr;

TEST(CellArray, HoldsElementsUntilReplacedAndSharesThemWithCopies) {
    ArrayPtr cell(kxCreateCellMatrix(1, 3));
    EXPECT_EQ(kxGetClassName(cell.get()), "cell");
    EXPECT_TRUE(kxIsCell(cell.get()));
    EXPECT_EQ(kxGetCell(cell.get(), 1), nullptr);  // never set: reads as []

    ArrayPtr value(kxCreateDoubleScalar(7));
    kxSetCell(cell.get(), 1, kxShareArray(value.get()));
    EXPECT_EQ(kxGetReferenceCount(value.get()), 2u);
    EXPECT_EQ(kxGetCell(cell.get(), 1), value.get());

    ArrayPtr copy(kxDuplicateArray(cell.get()));
    EXPECT_EQ(kxGetCell(copy.get(), 1), value.get());
    EXPECT_EQ(kxGetReferenceCount(value.get()), 3u);
    kxSetCell(copy.get(), 1, kxCreateDoubleScalar(8));  // the original keeps its element
    EXPECT_EQ(kxGetCell(cell.get(), 1), value.get());
    EXPECT_EQ(kxGetReferenceCount(value.get()), 2u);
    copy = ArrayPtr();
    cell = ArrayPtr();
    EXPECT_EQ(kxGetReferenceCount(value.get()), 1u);
}

TEST(StructArray, FieldsAddedAndRemovedKeepEveryElementsValues) {
    ArrayPtr s(kxCreateStructMatrix(1, 2, {"a", "b"}));
    EXPECT_EQ(kxGetClassName(s.get()), "struct");
    for (kxSize i = 0; i < 2; ++i) {
        kxSetField(s.get(), i, "a", kxCreateDoubleScalar(10.0 + i));
        kxSetField(s.get(), i, "b", kxCreateDoubleScalar(20.0 + i));
    }
    EXPECT_EQ(kxAddField(s.get(), "c"), 2);
    EXPECT_EQ(kxAddField(s.get(), "a"), 0);                 // already there
    kxSetField(s.get(), 1, "d", kxCreateDoubleScalar(41));  // adds the field
    ASSERT_EQ(kxGetNumberOfFields(s.get()), 4u);
    EXPECT_EQ(kxGetField(s.get(), 0, "d"), nullptr);
    EXPECT_EQ(kxGetScalar(kxGetField(s.get(), 1, "d")), 41);

    kxRemoveField(s.get(), 0);
    std::vector<std::string> names;
    for (kxSize f = 0; f < kxGetNumberOfFields(s.get()); ++f)
        names.push_back(kxGetFieldNameByNumber(s.get(), f));
    EXPECT_EQ(names, (std::vector<std::string>{"b", "c", "d"}));
    for (kxSize i = 0; i < 2; ++i) {
        EXPECT_EQ(kxGetScalar(kxGetField(s.get(), i, "b")), 20.0 + i);
        EXPECT_EQ(kxGetField(s.get(), i, "c"), nullptr);
    }
    EXPECT_EQ(kxGetFieldNumber(s.get(), "a"), -1);
    EXPECT_EQ(kxGetField(s.get(), 0, "a"), nullptr);
}

TEST(StructArray, FieldNamesFollowTheLanguagesRules) {
    const struct {
        std::string name;
        bool valid;
    } cases[] = {{"a", true},
                 {"a_1", true},
                 {"A9z", true},
                 {"", false},
                 {"1a", false},
                 {"_a", false},
                 {"first-name", false},
                 {"a b", false},
                 {std::string(63, 'x'), true},
                 {std::string(64, 'x'), false}};
    for (const auto& c : cases) {
        EXPECT_EQ(kxIsValidFieldName(c.name), c.valid) << c.name;
        if (!c.valid) {
            EXPECT_THROW(kxCreateStructMatrix(1, 1, {c.name}), std::invalid_argument) << c.name;
            ArrayPtr s(kxCreateStructMatrix(1, 1, {}));
            EXPECT_THROW(kxAddField(s.get(), c.name), std::invalid_argument) << c.name;
        }
    }
    EXPECT_THROW(kxCreateStructMatrix(1, 1, {"a", "a"}), std::invalid_argument);
}

TEST(ContainerArrays, MisuseIsRefusedAndTheGivenValueStillReleased) {
    ArrayPtr cell(kxCreateCellMatrix(1, 1));
    ArrayPtr s(kxCreateStructMatrix(1, 1, {"a"}));
    ArrayPtr number(kxCreateDoubleScalar(1));
    ArrayPtr value(kxCreateDoubleScalar(2));

    EXPECT_THROW(kxSetCell(cell.get(), 1, kxShareArray(value.get())), std::out_of_range);
    EXPECT_THROW(kxSetCell(number.get(), 0, kxShareArray(value.get())), std::invalid_argument);
    EXPECT_THROW(kxSetFieldByNumber(s.get(), 0, 1, kxShareArray(value.get())), std::out_of_range);
    EXPECT_THROW(kxSetField(s.get(), 0, "not valid", kxShareArray(value.get())),
                 std::invalid_argument);
    EXPECT_THROW(kxSetField(s.get(), 1, "b", kxShareArray(value.get())), std::out_of_range);
    EXPECT_EQ(kxGetNumberOfFields(s.get()), 1u);      // the refused element added no field
    EXPECT_EQ(kxGetReferenceCount(value.get()), 1u);  // every refused value was released
    EXPECT_THROW(kxGetCell(s.get(), 0), std::invalid_argument);
    EXPECT_THROW(kxGetFieldByNumber(cell.get(), 0, 0), std::invalid_argument);
    EXPECT_THROW(kxCreateNumericMatrix(1, 1, kxClassID::Cell), std::invalid_argument);
    EXPECT_THROW(kxGetElementAsDouble(cell.get(), 0), std::invalid_argument);
}

}  // namespace
