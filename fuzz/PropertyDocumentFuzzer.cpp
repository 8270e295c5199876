// Fuzzes the connector module's property document refresh through the module itself.
//
// The module tests' harness loads the module on an interpreter thread of its own with the
// test doubles in the service registry; the fake connector client serves the input as its
// property document, and user code calls reset() on a connector object, which makes the module
// read the document (getAllProperties, through its JSON wrapper).
//
// Checks on every input: the module either refreshes or raises a std::exception (never another
// kind of error, never a crash), and it refreshes exactly when an independent reading of the
// document says it is usable: the host's JSON facility parses the whole text to an object whose
// Port, ClientAccessMode and Status are numbers within their types (truncated toward zero) and
// whose eight text members are strings.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "ModuleHarness.hpp"
#include "UserActions.hpp"
#include "foundation/json/Parser.hpp"

namespace {

namespace json = foundation::json;
using namespace korvan::test;

[[noreturn]] void fail(const std::string& what, const std::string& text) {
    std::fprintf(stderr, "property document fuzzer: %s\ninput: %s\n", what.c_str(), text.c_str());
    std::abort();
}

/// A number strictly between low - 1 and high + 1: what survives truncation toward zero.
bool numberWithin(const json::Value& value, double low, double high) {
    if (!value.isNumber()) return false;
    const double d = value.asNumber();
    return d > low - 1.0 && d < high + 1.0;
}

bool usable(const std::string& text) {
    json::Value document;
    try {
        document = json::parse(text);
    } catch (const json::ParserException&) {
        return false;
    }
    if (!document.isObject()) return false;
    if (!numberWithin(document["Port"], 0, 65535)) return false;
    for (const char* key : {"ClientAccessMode", "Status"})
        if (!numberWithin(document[key], -2147483648.0, 2147483647.0)) return false;
    for (const char* key :
         {"LogLocation", "HostName", "ServiceNames", "RESTPersonalAccessToken",
          "TokenExpirationDate", "Certificate", "CertificateExpirationDate", "BaseUrl"})
        if (!document[key].isString()) return false;
    return true;
}

// Made in LLVMFuzzerInitialize and released at exit while the interpreter thread still runs
// (a static Value would be released after the harness has stopped that thread).
std::optional<Value>& connectorSlot() {
    static std::optional<Value> object;
    return object;
}

Value& connectorObject() {
    auto& object = connectorSlot();
    if (!object) object = user::connector();
    return *object;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    auto& harness = ModuleHarness::instance();
    harness.services().publishUpdateFlip();
    harness.services().publishClient();
    harness.services().publishService();
    harness.loadModule();
    connectorObject();
    if (!waitUntil([&] { return harness.client().hasUpdateCallback(); })) {
        std::fprintf(stderr, "the module never registered its update callback\n");
        std::abort();
    }
    harness.drainInterpreter();
    // End the interpreter thread before the process's static objects go away.
    std::atexit([] {
        connectorSlot().reset();
        ModuleHarness::instance().stop();
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    auto& client = ModuleHarness::instance().client();
    client.reset();
    client.scriptDocument(text);
    const CaughtError caught = catchError([] { user::method(connectorObject(), "reset"); });
    const bool refreshed = caught.fId.empty();
    if (!refreshed && caught.fId.rfind("std: ", 0) != 0)
        fail("the refresh raised a non-std error: " + caught.fId, text);
    if (refreshed != usable(text))
        fail(refreshed ? "the module accepted an unusable document"
                       : "the module refused a usable document: " + caught.fText,
             text);
    return 0;
}
