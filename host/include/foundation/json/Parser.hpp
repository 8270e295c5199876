// JSON text to Value: the parser entry on a text range, its result codes, and the checked
// convenience parse that requires the whole text to be one JSON value.
//
// Grammar: RFC 8259 JSON (white space, escapes and numbers as there; UTF-8 is validated),
// loosened only by the flags below. Nesting is limited to kMaxDepth levels.
//
// Numbers: every plain number becomes a double (integers beyond 2^53 are rounded).
// Typed-number envelope: an object whose "zxtype" member is a string naming exactly (case-
// sensitive) one of "int64", "uint64", "int32", "uint32", "int16", "uint16", "int8", "uint8"
// keeps the number(s) of its "zxdata" member exact: a signed type gives kind int64, an
// unsigned type kind uint64. "zxdata" may be one number or an array (nested arrays allowed) of
// numbers. The envelope is returned as the object with both members (so the type name stays
// available); further members are kept as parsed. A zxdata number that is not integral or is
// outside the named type's range fails with code kInvalidTypedInteger. Numbers written as
// "1e3" or "5.0" are accepted when their value is integral and in range.
//
// Duplicate keys: the last occurrence wins.
//
// Threads: parsing is reentrant; it touches nothing but its arguments.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include <foundation/json/Value.hpp>

#include "korvan/host/Export.hpp"

namespace foundation::json {

/// Flags byte of the parser entry (0: strict JSON).
enum ParseFlags : std::uint8_t {
    kParseStrict = 0x00,
    kParseAllowComments = 0x01,        // C and C++ comments where white space may stand
    kParseAllowTrailingCommas = 0x02,  // [1,2,] and {"a":1,}
    kParseAllowInvalidUtf8 = 0x04,     // strings are taken as bytes without UTF-8 checking
};

/// Nesting limit of arrays and objects.
inline constexpr std::size_t kMaxDepth = 512;

/// Result codes of the parser; 0 is success, every other value a failure. The texts are
/// those of get_parse_result_description.
enum ParseResult : int {
    kParseOk = 0,                   // "Success"
    kParseUnexpectedEnd = 1,        // "Unexpected end of input"
    kParseSyntaxError = 2,          // "Syntax error"
    kParseInvalidEscape = 3,        // "Invalid escape sequence"
    kParseInvalidSurrogate = 4,     // "Invalid UTF-16 surrogate in escape sequence"
    kParseNumberOutOfRange = 5,     // "Number out of range"
    kParseTooDeep = 6,              // "Nesting too deep"
    kParseInvalidTypedInteger = 7,  // "Typed number is not an integer of its type"
    kParseTooLarge = 8,             // "Object, array or string too large"
    kParseFailed = 9,               // "Parse failed" (anything else)
};

/// The description of a result code; "Unknown parse result" for codes not listed above.
KORVAN_HOST_EXPORT const char* get_parse_result_description(int code) noexcept;

/// What the parser entry reports: the code, and the position where it stopped (the failure
/// position, or on success the first character after the value and its trailing white space).
struct ParseStatus {
    int fCode = kParseOk;
    const char* fPosition = nullptr;
    bool ok() const noexcept { return fCode == kParseOk; }
};

/// Parses one JSON value from [begin, end) into `result` (left undefined on failure). Stops
/// after the first complete value and the white space behind it; the caller compares
/// fPosition with `end` to detect trailing content. Never throws except std::bad_alloc.
KORVAN_HOST_EXPORT ParseStatus parse(const char* begin, const char* end, Value& result,
                                     std::uint8_t flags = 0);

/// A failed parse, with the position turned into a line and a column.
///
/// what(): "JSON ParserException (E<code, at least four digits, zero-padded>): <description>
/// (Line <n>, Column <m>)". Lines and columns count from 1; a line ends at '\n'; the column
/// counts characters (UTF-8 sequences) from the start of the line, so the failure position's
/// own character has that column.
class KORVAN_HOST_EXPORT ParserException : public std::runtime_error {
  public:
    ParserException(const char* start, const char* failure, const char* end, int code,
                    std::string description);

    int code() const noexcept { return fCode; }
    const std::string& description() const noexcept { return fDescription; }
    std::size_t line() const noexcept { return fLine; }
    std::size_t column() const noexcept { return fColumn; }
    std::size_t offset() const noexcept { return fOffset; }  // bytes from the start

  private:
    int fCode;
    std::string fDescription;
    std::size_t fLine;
    std::size_t fColumn;
    std::size_t fOffset;
};

/// True when `value` is an object whose "zxtype" member is a string naming one of the eight
/// integer types above (exact, case-sensitive).
KORVAN_HOST_EXPORT bool isIntegerEnvelope(const Value& value) noexcept;

/// Parses the whole text: a failure throws ParserException with the parser's code and
/// description; content after the value throws ParserException with code 0 and "Parse
/// incomplete", positioned where the parser stopped.
KORVAN_HOST_EXPORT Value parse(std::string_view text, std::uint8_t flags = 0);

}  // namespace foundation::json
