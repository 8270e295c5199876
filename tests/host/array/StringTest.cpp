// Quillon::String: which arrays count as one text, and text extraction with its errors.
#include <gtest/gtest.h>

#include "foundation/core/except/IException.hpp"
#include "kx/kxArray.hpp"
#include "quillon/String.hpp"

namespace {

using kx::ArrayPtr;
using Quillon::String::CharTolerance;

ArrayPtr charArray(kxSize m, kxSize n) {
    ArrayPtr a(kxCreateNumericMatrix(m, n, kxClassID::Char));
    char16_t* c = kxGetChars(a.get());
    for (kxSize i = 0; i < m * n; ++i) {
        c[i] = static_cast<char16_t>(u'a' + i);
    }
    return a;
}

ArrayPtr stringArray(std::vector<std::optional<std::u16string>> elements) {
    ArrayPtr a(kxCreateStringMatrix(1, elements.size()));
    for (kxSize i = 0; i < elements.size(); ++i) {
        kxSetStringElement(a.get(), i, elements[i]);
    }
    return a;
}

// The error identifier getScalarText raises, or "" with the text.
std::string scalarTextOutcome(const kxArray* a, std::u16string* text) {
    try {
        *text = Quillon::String::getScalarText(a);
        return "";
    } catch (const foundation::core::except::IMsgIDException& e) {
        return e.GetID();
    }
}

TEST(QuillonString, IsString) {
    EXPECT_TRUE(Quillon::String::isString(stringArray({}).get()));
    EXPECT_TRUE(Quillon::String::isString(stringArray({std::nullopt}).get()));
    EXPECT_FALSE(Quillon::String::isString(charArray(1, 2).get()));
    EXPECT_FALSE(Quillon::String::isString(nullptr));
}

TEST(QuillonString, MissingValues) {
    ArrayPtr missing(kxCreateMissingString());
    EXPECT_FALSE(kxGetStringElement(missing.get(), 0).has_value());
    ArrayPtr empty(kxCreateStringScalar(u""));
    ASSERT_TRUE(kxGetStringElement(empty.get(), 0).has_value());  // "" is not missing
    EXPECT_EQ(*kxGetStringElement(empty.get(), 0), u"");
    EXPECT_TRUE(Quillon::String::isStringScalar(empty.get()));
    EXPECT_FALSE(Quillon::String::isStringScalar(missing.get()));
}

TEST(QuillonString, IsNonMissingScalarTextTable) {
    const kxSize dims3[] = {1, 2, 2};
    ArrayPtr char3d(kxCreateCharArray(3, dims3));
    struct Case {
        const char* what;
        ArrayPtr array;
        bool any, row, stringOnly;  // by tolerance
    };
    Case cases[] = {
        {"string scalar", stringArray({u"x"}), true, true, true},
        {"empty string scalar", stringArray({u""}), true, true, true},
        {"missing string", ArrayPtr(kxCreateMissingString()), false, false, false},
        {"1x0 string", stringArray({}), false, false, false},
        {"1x2 string", stringArray({u"a", u"b"}), false, false, false},
        {"char row", charArray(1, 3), true, true, false},
        {"0x0 char", charArray(0, 0), true, true, false},
        {"1x0 char", charArray(1, 0), true, true, false},
        {"char column", charArray(3, 1), true, false, false},
        {"2x3 char", charArray(2, 3), true, false, false},
        {"1x2x2 char", char3d, true, false, false},
        {"double", ArrayPtr(kxCreateDoubleScalar(1)), false, false, false},
        {"null", ArrayPtr(), false, false, false},
    };
    for (const auto& c : cases) {
        const kxArray* a = c.array.get();
        EXPECT_EQ(Quillon::String::isNonMissingScalarText(a, CharTolerance::AnyShape), c.any)
            << c.what;
        EXPECT_EQ(Quillon::String::isNonMissingScalarText(a, CharTolerance::RowVector), c.row)
            << c.what;
        EXPECT_EQ(Quillon::String::isNonMissingScalarText(a, CharTolerance::StringOnly),
                  c.stringOnly)
            << c.what;
    }
    EXPECT_EQ(static_cast<int>(CharTolerance::RowVector), 1);
}

TEST(QuillonString, GetScalarTextTable) {
    struct Case {
        const char* what;
        ArrayPtr array;
        const char* error;
        std::u16string text;
    };
    Case cases[] = {
        {"string scalar", stringArray({u"h\u00e9"}), "", u"h\u00e9"},
        {"char row", charArray(1, 3), "", u"abc"},
        {"0x0 char", charArray(0, 0), "", u""},
        {"2x2 char, column-major", charArray(2, 2), "", u"abcd"},
        {"missing", ArrayPtr(kxCreateMissingString()), "KORVAN:string:MissingNotSupported", u""},
        {"two strings", stringArray({u"a", u"b"}),
         "KORVAN:string:MustBeStringScalarOrCharacterVector", u""},
        {"no strings", stringArray({}), "KORVAN:string:MustBeStringScalarOrCharacterVector", u""},
        {"double", ArrayPtr(kxCreateDoubleScalar(1)),
         "KORVAN:string:MustBeStringScalarOrCharacterVector", u""},
        {"null", ArrayPtr(), "KORVAN:string:MustBeStringScalarOrCharacterVector", u""},
    };
    for (const auto& c : cases) {
        std::u16string text;
        EXPECT_EQ(scalarTextOutcome(c.array.get(), &text), c.error) << c.what;
        EXPECT_EQ(text, c.text) << c.what;
    }
    EXPECT_EQ(Quillon::String::getScalarTextUtf8(stringArray({u"h\u00e9"}).get()), "h\xc3\xa9");
}

}  // namespace
