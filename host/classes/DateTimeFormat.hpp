// Reading and writing date-time texts with patterns such as "dd-MMM-uuuu HH:mm:ss".
//
// Pattern letters: d day, M month (M, MM numeric; MMM short name; MMMM full name), y or u
// year (yy two digits, 2000-2099; otherwise the full year, uuuu exactly four digits when
// read), H hour 0-23, m minute, s second, S fraction of a second, E day name (EEE short,
// EEEE full; checked when read, not used). Text in single quotes is literal ('' is a quote);
// other characters are literal. Month and day names are English (the only locale family the
// host supports: "en_US", "en_GB", "en", "system"); they are read case-insensitively.
//
// Times carry no time zone: a value is milliseconds since 1970-01-01 00:00:00.
// Threads: stateless, any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace korvan::host::classes {

using DateTimeMillis = std::int64_t;

inline constexpr const char* kDefaultDateTimeFormat = "dd-MMM-uuuu HH:mm:ss";

/// Throws KORVAN:datetime:UnsupportedFormat when the pattern uses a letter (or a letter
/// count) this host does not know, or has an unterminated quote.
void checkDateTimePattern(std::string_view pattern);
/// The time `text` stands for under `pattern`, or nullopt when it does not match (wrong
/// literals, names or digits, text left over, an impossible date such as 31-Feb).
/// Fields the pattern lacks default to 1 January 1970, 00:00:00.000.
std::optional<DateTimeMillis> parseDateTime(std::string_view text, std::string_view pattern);
std::string formatDateTime(DateTimeMillis time, std::string_view pattern);
/// Whether the host can read and write dates in this locale.
bool isSupportedDateLocale(std::string_view locale);

}  // namespace korvan::host::classes
