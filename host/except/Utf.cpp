// UTF-8 <-> UTF-16 conversion (see kx/kxUtf.hpp).
#include "kx/kxUtf.hpp"

#include <cstdint>

namespace kx {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void appendUtf16(std::u16string& out, char32_t cp) {
    if (cp < 0x10000) {
        out.push_back(static_cast<char16_t>(cp));
    } else {
        cp -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    }
}

void appendUtf8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

}  // namespace

std::u16string utf8ToUtf16(std::string_view text) {
    // Most texts (URLs, paths, tokens, dates) are ASCII: widen the leading ASCII run in one go.
    std::size_t i = 0;
    while (i < text.size() && static_cast<std::uint8_t>(text[i]) < 0x80) ++i;
    std::u16string out(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(i));
    if (i == text.size()) return out;
    out.reserve(text.size());
    while (i < text.size()) {
        const auto lead = static_cast<std::uint8_t>(text[i]);
        std::size_t length = 0;
        char32_t cp = 0;
        char32_t minimum = 0;
        if (lead < 0x80) {
            out.push_back(lead);
            ++i;
            continue;
        } else if ((lead & 0xE0) == 0xC0) {
            length = 2, cp = lead & 0x1F, minimum = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3, cp = lead & 0x0F, minimum = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4, cp = lead & 0x07, minimum = 0x10000;
        } else {
            out.push_back(static_cast<char16_t>(kReplacement));
            ++i;
            continue;
        }
        std::size_t used = 1;
        while (used < length && i + used < text.size() &&
               (static_cast<std::uint8_t>(text[i + used]) & 0xC0) == 0x80) {
            cp = (cp << 6) | (static_cast<std::uint8_t>(text[i + used]) & 0x3F);
            ++used;
        }
        i += used;
        if (used < length || cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            cp = kReplacement;
        }
        appendUtf16(out, cp);
    }
    return out;
}

std::string utf16ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = kReplacement;
        }
        appendUtf8(out, cp);
    }
    return out;
}

}  // namespace kx
