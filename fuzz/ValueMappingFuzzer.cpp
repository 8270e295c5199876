// Fuzzes the JSON form of host values: any text read as a call body reads it (Python's bare
// NaN and infinities included), into host values and back.
//
// Checks on every input that reads as a host value without a mapping error:
//  - the value is written without error (every host value read from JSON has a JSON form);
//  - the written text reads back, and writing that value gives the same text again.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "foundation/json/Parser.hpp"
#include "korvan/services/connector/JsonValues.hpp"

namespace {

namespace json = foundation::json;
using namespace korvan::services::connector;

[[noreturn]] void fail(const char* what, std::string_view text, const std::string& more = {}) {
    std::fprintf(stderr, "value mapping fuzzer: %s\ninput: %.*s\n%s\n", what,
                 static_cast<int>(text.size()), text.data(), more.c_str());
    std::abort();
}

std::string written(const kxArray* a, std::string_view input) {
    try {
        return writeJson(jsonFromArray(a));
    } catch (const ValueMappingError& e) {
        fail("a value read from JSON has no JSON form", input, e.what());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    json::Value value;
    try {
        value = json::parse(text);
    } catch (const json::ParserException&) {
        const auto rewritten = withNonFiniteEnvelopes(text);
        if (!rewritten) return 0;
        try {
            value = json::parse(*rewritten);
        } catch (const json::ParserException&) {
            return 0;
        }
    }
    kx::ArrayPtr array;
    try {
        array = arrayFromJson(value);
    } catch (const ValueMappingError&) {
        return 0;
    } catch (const std::exception&) {
        return 0;  // the host's out-of-memory error for a size too large to make
    }
    const std::string first = written(array.get(), text);
    kx::ArrayPtr back;
    try {
        back = arrayFromJson(json::parse(first));
    } catch (const std::exception& e) {
        fail("the written form does not read back", text, first + "\n" + e.what());
    }
    const std::string second = written(back.get(), text);
    if (second != first)
        fail("the written form changed on a second round", text, first + "\n" + second);
    return 0;
}
