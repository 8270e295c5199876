// UTF-8 / UTF-16 conversion used throughout the host: narrow strings are UTF-8, host text
// (character and string arrays, message texts for user code) is UTF-16 code units.
// Invalid input (a stray surrogate, a malformed or overlong UTF-8 sequence) becomes U+FFFD;
// neither function throws except std::bad_alloc. Thread-safe (no state).
#pragma once

#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"

namespace kx {

KORVAN_HOST_EXPORT std::u16string utf8ToUtf16(std::string_view text);
KORVAN_HOST_EXPORT std::string utf16ToUtf8(std::u16string_view text);

}  // namespace kx
