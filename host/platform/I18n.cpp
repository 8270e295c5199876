// fl::i18n text conversions.
#include <fl/i18n.hpp>

#include <kx/kxUtf.hpp>

namespace fl::i18n {

std::u16string to_ustring(std::string_view utf8) {
    return kx::utf8ToUtf16(utf8);
}

std::string to_string(std::u16string_view utf16) {
    return kx::utf16ToUtf8(utf16);
}

std::string codecvt_ustring_to_ascii(std::u16string_view utf16) {
    std::string out;
    out.reserve(utf16.size());
    for (std::size_t i = 0; i < utf16.size(); ++i) {
        const char16_t unit = utf16[i];
        if (unit < 0x80) {
            out.push_back(static_cast<char>(unit));
            continue;
        }
        // A surrogate pair is one character: one '?' for both units.
        const bool pair = unit >= 0xD800 && unit <= 0xDBFF && i + 1 < utf16.size() &&
                          utf16[i + 1] >= 0xDC00 && utf16[i + 1] <= 0xDFFF;
        if (pair) {
            ++i;
        }
        out.push_back('?');
    }
    return out;
}

}  // namespace fl::i18n
