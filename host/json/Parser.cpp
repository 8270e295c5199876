// The parser entry on boost::json::basic_parser, and the checked whole-text parse.
#include <foundation/json/Parser.hpp>

#include <boost/json/basic_parser_impl.hpp>

#include "Builder.hpp"

namespace foundation::json {

namespace {

int codeFor(const boost::system::error_code& ec) {
    using boost::json::error;
    if (ec == error::incomplete) return kParseUnexpectedEnd;
    if (ec == error::syntax || ec == error::extra_data) return kParseSyntaxError;
    if (ec == error::expected_hex_digit) return kParseInvalidEscape;
    if (ec == error::illegal_leading_surrogate || ec == error::illegal_trailing_surrogate ||
        ec == error::expected_utf16_escape) {
        return kParseInvalidSurrogate;
    }
    if (ec == error::exponent_overflow) return kParseNumberOutOfRange;
    if (ec == error::too_deep) return kParseTooDeep;
    if (ec == error::object_too_large || ec == error::array_too_large ||
        ec == error::key_too_large || ec == error::string_too_large) {
        return kParseTooLarge;
    }
    return kParseFailed;
}

}  // namespace

const char* get_parse_result_description(int code) noexcept {
    switch (code) {
        case kParseOk:
            return "Success";
        case kParseUnexpectedEnd:
            return "Unexpected end of input";
        case kParseSyntaxError:
            return "Syntax error";
        case kParseInvalidEscape:
            return "Invalid escape sequence";
        case kParseInvalidSurrogate:
            return "Invalid UTF-16 surrogate in escape sequence";
        case kParseNumberOutOfRange:
            return "Number out of range";
        case kParseTooDeep:
            return "Nesting too deep";
        case kParseInvalidTypedInteger:
            return "Typed number is not an integer of its type";
        case kParseTooLarge:
            return "Object, array or string too large";
        case kParseFailed:
            return "Parse failed";
        default:
            return "Unknown parse result";
    }
}

ParseStatus parse(const char* begin, const char* end, Value& result, std::uint8_t flags) {
    boost::json::parse_options options;
    options.max_depth = kMaxDepth;
    options.allow_comments = (flags & kParseAllowComments) != 0;
    options.allow_trailing_commas = (flags & kParseAllowTrailingCommas) != 0;
    options.allow_invalid_utf8 = (flags & kParseAllowInvalidUtf8) != 0;

    boost::json::basic_parser<detail::Builder> parser(options);
    boost::system::error_code ec;
    const std::size_t size = static_cast<std::size_t>(end - begin);
    // Boost.JSON 1.81 reports a count far past the text when a comment that opens the document
    // is broken ("/?", "/*" without its end); the failure is then given at the text's start.
    std::size_t used = parser.write_some(false, begin, size, ec);
    if (used > size) used = 0;

    result = Value();
    if (ec) {
        const int handlerCode = parser.handler().failure();
        return {handlerCode != kParseOk ? handlerCode : codeFor(ec), begin + used};
    }
    result = parser.handler().takeResult();
    return {kParseOk, begin + used};
}

Value parse(std::string_view text, std::uint8_t flags) {
    const char* begin = text.data();
    const char* end = begin + text.size();
    Value result;
    const ParseStatus status = parse(begin, end, result, flags);
    if (!status.ok()) {
        throw ParserException(begin, status.fPosition, end, status.fCode,
                              get_parse_result_description(status.fCode));
    }
    if (status.fPosition != end) {
        throw ParserException(begin, status.fPosition, end, kParseOk, "Parse incomplete");
    }
    return result;
}

}  // namespace foundation::json
