// Fuzzes the host's JSON facility: any text under the strict and the most lenient flags.
//
// Checks on every input:
//  - the parser entry never throws and stops inside the text;
//  - a whole text accepted strictly is accepted leniently with the same value;
//  - the checked parse throws ParserException exactly when the entry fails or stops early,
//    with an offset inside the text;
//  - an accepted value serializes (every option set), the text parses back to an equal
//    value, and serializing that gives the same text again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "foundation/json/Json.hpp"

namespace {

namespace json = foundation::json;

constexpr std::uint8_t kLenient =
    json::kParseAllowComments | json::kParseAllowTrailingCommas | json::kParseAllowInvalidUtf8;

[[noreturn]] void fail(const char* what, std::string_view text) {
    std::fprintf(stderr, "json fuzzer: %s\ninput: %.*s\n", what, static_cast<int>(text.size()),
                 text.data());
    std::abort();
}

void check(bool condition, const char* what, std::string_view text) {
    if (!condition) fail(what, text);
}

/// Serialize, parse back, serialize again: the value and the text must survive.
void roundTrip(const json::Value& value, const json::SerializeOptions& options, std::uint8_t flags,
               std::string_view input) {
    const std::string first = json::serialize(value, options);
    json::Value again;
    const auto status = json::parse(first.data(), first.data() + first.size(), again, flags);
    check(status.ok(), "serialized text does not parse", input);
    check(status.fPosition == first.data() + first.size(), "serialized text has trailing content",
          input);
    check(again == value, "value changed in a round trip", input);
    check(json::serialize(again, options) == first, "serialization is not stable", input);
}

void exercise(std::string_view text, std::uint8_t flags) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    json::Value value;
    const json::ParseStatus status = json::parse(begin, end, value, flags);
    check(status.fPosition >= begin && status.fPosition <= end, "stop position outside the text",
          text);
    check(std::string_view(json::get_parse_result_description(status.fCode)) !=
              "Unknown parse result",
          "result code without a description", text);

    const bool complete = status.ok() && status.fPosition == end;
    try {
        const json::Value checked = json::parse(text, flags);
        check(complete, "checked parse accepted what the entry refused", text);
        check(checked == value, "checked parse gave another value", text);
    } catch (const json::ParserException& e) {
        check(!complete, "checked parse refused a complete value", text);
        check(e.offset() <= text.size(), "error offset outside the text", text);
        check(e.line() >= 1 && e.column() >= 1, "error line or column below 1", text);
    }
    if (!status.ok()) return;

    // A whole text accepted strictly is accepted leniently with the same result. (Content after
    // the value may differ: "2/x" stops before "/" strictly, but is a broken comment leniently.)
    if (flags == json::kParseStrict && complete) {
        json::Value lenient;
        const auto other = json::parse(begin, end, lenient, kLenient);
        check(other.ok() && other.fPosition == status.fPosition && lenient == value,
              "lenient parse disagrees with strict parse", text);
    }

    // Without UTF-8 checking, strings may hold bytes that a strict parse refuses.
    const std::uint8_t backFlags = flags & json::kParseAllowInvalidUtf8;
    roundTrip(value, {}, backFlags, text);
    roundTrip(value, {true, true, json::SerializeOptions::NonFinite::Error}, backFlags, text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    exercise(text, json::kParseStrict);
    exercise(text, kLenient);
    return 0;
}
