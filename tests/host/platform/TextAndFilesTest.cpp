// fl::i18n conversions and fl::filesystem::exists.
#include <fl/filesystem.hpp>
#include <fl/i18n.hpp>

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace {

using namespace fl;

TEST(I18n, RoundTripsIncludingNonBmp) {
    struct Case {
        std::string utf8;
        std::u16string utf16;
    };
    // clang-format off
    const Case cases[] = {
        {"", u""},
        {"plain", u"plain"},
        {"h\xC3\xA9llo", u"h\u00e9llo"},
        {"\xE2\x82\xAC 5", u"\u20ac 5"},
        {"\xF0\x9F\x98\x80!", u"\U0001F600!"},  // one character, two UTF-16 units
        {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(i18n::to_ustring(c.utf8), c.utf16) << c.utf8;
        EXPECT_EQ(i18n::to_string(c.utf16), c.utf8) << c.utf8;
    }
    EXPECT_EQ(i18n::to_ustring("\xF0\x9F\x98\x80").size(), 2u);
}

TEST(I18n, InvalidInputBecomesReplacementCharacter) {
    EXPECT_EQ(i18n::to_ustring("a\xFF"
                               "b"),
              u"a\uFFFDb");
    EXPECT_EQ(i18n::to_string(std::u16string(1, char16_t(0xD800))), "\xEF\xBF\xBD");
}

TEST(I18n, AsciiKeepsAsciiAndMarksEveryOtherCharacterOnce) {
    EXPECT_EQ(i18n::codecvt_ustring_to_ascii(u"localhost-1.example"), "localhost-1.example");
    EXPECT_EQ(i18n::codecvt_ustring_to_ascii(u"h\u00e9\u20ac"), "h??");
    EXPECT_EQ(i18n::codecvt_ustring_to_ascii(u"\U0001F600x"), "?x");  // a pair is one character
    EXPECT_EQ(i18n::codecvt_ustring_to_ascii(std::u16string(1, char16_t(0xDC00)) + u"y"), "?y");
    EXPECT_EQ(i18n::codecvt_ustring_to_ascii(u"\u007f\u0080"), "\x7f?");
}

TEST(Filesystem, ExistsForNarrowAndWidePaths) {
    const auto dir =
        std::filesystem::temp_directory_path() / ("korvan-fl-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    const auto file = dir / "r\xC3\xA9sum\xC3\xA9.txt";
    std::ofstream(file) << "x";

    EXPECT_TRUE(filesystem::exists(file.string()));
    EXPECT_TRUE(filesystem::exists(i18n::to_ustring(file.string())));
    EXPECT_TRUE(filesystem::exists(i18n::to_ustring(dir.string())));
    EXPECT_FALSE(filesystem::exists((dir / "missing").string()));
    EXPECT_FALSE(filesystem::exists(i18n::to_ustring((dir / "missing").string())));
    EXPECT_FALSE(filesystem::exists(std::string_view()));
    EXPECT_FALSE(filesystem::exists(std::u16string_view()));
    std::filesystem::remove_all(dir);
    EXPECT_FALSE(filesystem::exists(file.string()));
}

}  // namespace
