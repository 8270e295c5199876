// Text conversion between the host's encodings: narrow strings are UTF-8, host text is UTF-16.
// Invalid input (a malformed UTF-8 sequence, an unpaired surrogate) becomes U+FFFD; the
// conversions are those of kx/kxUtf.hpp. No function throws except std::bad_alloc.
// Thread-safe (no state).
#pragma once

#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"

namespace fl::i18n {

/// UTF-8 to UTF-16.
KORVAN_HOST_EXPORT std::u16string to_ustring(std::string_view utf8);

/// UTF-16 to UTF-8.
KORVAN_HOST_EXPORT std::string to_string(std::u16string_view utf16);

/// UTF-16 to ASCII: characters below 128 are kept; every other character (a surrogate pair
/// counts as one, an unpaired surrogate too) becomes one '?'.
KORVAN_HOST_EXPORT std::string codecvt_ustring_to_ascii(std::u16string_view utf16);

}  // namespace fl::i18n
