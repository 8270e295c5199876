// Fuzzes the service registry's LDAP filter parser.
//
// Checks on every input:
//  - parsing either succeeds or throws std::invalid_argument;
//  - an accepted filter's normalised text parses to an equal filter with the same text and the
//    same answers against a fixed property map (normalising keeps the meaning);
//  - the input used as a value, escaped with escapeFilterValue, makes an equality filter that
//    parses and matches a map holding exactly that value.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

[[noreturn]] void fail(const char* what, const std::string& text) {
    std::fprintf(stderr, "ldap fuzzer: %s\ninput: %s\n", what, text.c_str());
    std::abort();
}

const AnyMap& properties() {
    static const AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS,
                            {{"name", Any(std::string("abc"))},
                             {"objectclass", Any(std::string("korvan::Fuzz"))},
                             {"port", Any(8080)},
                             {"ratio", Any(1.5)},
                             {"enabled", Any(true)},
                             {"empty", Any(std::string())}});
    return map;
}

void checkFilter(const std::string& text) {
    LDAPFilter filter;
    try {
        filter = LDAPFilter(text);
    } catch (const std::invalid_argument&) {
        return;
    }
    const std::string normal = filter.ToString();
    LDAPFilter again;
    try {
        again = LDAPFilter(normal);
    } catch (const std::invalid_argument& e) {
        fail(("normalised filter does not parse: " + normal + ": " + e.what()).c_str(), text);
    }
    if (again.ToString() != normal) fail("normalising is not stable", text);
    if (!(again == filter)) fail("normalised filter is not equal", text);
    if (again.Match(properties()) != filter.Match(properties()))
        fail("normalised filter matches differently", text);
    if (again.MatchCase(properties()) != filter.MatchCase(properties()))
        fail("normalised filter matches case differently", text);
    (void)cppmicroservices::detail::pinnedObjectClass(filter);
}

void checkEscapedValue(const std::string& value) {
    // White space at either end of a value is part of the value; an empty value is a
    // different filter ("(a=)") and is left out.
    if (value.empty()) return;
    const std::string text =
        "(fuzzvalue=" + cppmicroservices::detail::escapeFilterValue(value) + ")";
    const AnyMap map(AnyMap::ORDERED_MAP, {{"fuzzvalue", Any(value)}});
    try {
        if (!LDAPFilter(text).Match(map)) fail("escaped value does not match itself", value);
    } catch (const std::invalid_argument& e) {
        fail(("escaped value does not parse: " + std::string(e.what())).c_str(), value);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkFilter(text);
    checkEscapedValue(text);
    return 0;
}
