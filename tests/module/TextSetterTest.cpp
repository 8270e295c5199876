// The LogLocation and HostName setters: the value's type is checked first, an unchanged value
// returns silently (no client call, no success line), and only a non-empty changed value is
// tested against the file system or the resolver, after the running check.
#include <filesystem>

#include "SetterCheck.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::test {
namespace {

const std::string kTmp = std::filesystem::temp_directory_path().string();
const std::string kNowhere = "/nonexistent/modtest/logs";
const char* const kRunning = "KORVAN:restFcnService:CannotModifyConnector";
const char* const kLogType = "KORVAN:restFcnService:InvalidLogLocationType";
const char* const kHostType = "KORVAN:restFcnService:InvalidHostnameType";
const char* const kHost = "KORVAN:restFcnService:InvalidHostname";

auto withLog(std::string path) {
    return [path](ClientState& s) { s.fLogLocation = kx::utf8ToUtf16(path); };
}

// clang-format off
const std::vector<SetterCase> kLogCases = {
    {"existing folder", "LogLocation", [] { return str(kTmp); }, 0, {}, "", {"getLogLocation", "getStatus", "setLogLocation(" + kTmp + ")"}},
    {"existing folder as char row", "LogLocation", [] { return chars(kTmp); }, 0, {}, "", {"getLogLocation", "getStatus", "setLogLocation(" + kTmp + ")"}},
    {"missing folder", "LogLocation", [] { return str(kNowhere); }, 0, {}, "KORVAN:restFcnService:InvalidFileLocation", {"getLogLocation", "getStatus"}, {kNowhere}},
    {"empty location is sent without a test", "LogLocation", [] { return str(""); }, 0, withLog(kTmp), "", {"getLogLocation", "getStatus", "setLogLocation()"}},
    {"unchanged location", "LogLocation", [] { return str(kTmp); }, 0, withLog(kTmp), "", {"getLogLocation"}},
    {"running, unchanged location", "LogLocation", [] { return chars(kTmp); }, 1, withLog(kTmp), "", {"getLogLocation"}},
    {"running, missing folder", "LogLocation", [] { return str(kNowhere); }, 1, {}, kRunning, {"getLogLocation", "getStatus"}},
    {"number", "LogLocation", [] { return num(5); }, 1, {}, kLogType, {}},
    {"missing string", "LogLocation", [] { return missingString(); }, 0, {}, kLogType, {}},
    {"char matrix", "LogLocation", [] { return charMatrix(2, 3); }, 0, {}, kLogType, {}},
    {"two strings", "LogLocation", [] { return strings(1, 2, {kTmp, kTmp}); }, 0, {}, kLogType, {}},
    {"no strings", "LogLocation", [] { return strings(1, 0, {}); }, 0, {}, kLogType, {}},
};

const std::vector<SetterCase> kHostCases = {
    {"numeric IPv4", "HostName", [] { return str("127.0.0.1"); }, 0, {}, "", {"getHostname", "getStatus", "setHostname(127.0.0.1)"}},
    {"unchanged name", "HostName", [] { return chars("localhost"); }, 1, {}, "", {"getHostname"}},
    {"empty name is sent without resolving", "HostName", [] { return str(""); }, 0, {}, "", {"getHostname", "getStatus", "setHostname()"}},
    {"IPv6 only", "HostName", [] { return str("::1"); }, 0, {}, kHost, {"getHostname", "getStatus"}, {"::1"}},
    {"unknown name", "HostName", [] { return str("no-such-host.invalid"); }, 0, {}, kHost, {"getHostname", "getStatus"}, {"no-such-host.invalid"}},
    {"running, other name", "HostName", [] { return str("127.0.0.1"); }, 1, {}, kRunning, {"getHostname", "getStatus"}},
    {"running, unknown name", "HostName", [] { return str("no-such-host.invalid"); }, 1, {}, kRunning, {"getHostname", "getStatus"}},
    {"number as name", "HostName", [] { return num(127); }, 0, {}, kHostType, {}},
    {"missing name", "HostName", [] { return missingString(); }, 0, {}, kHostType, {}},
    {"char matrix", "HostName", [] { return charMatrix(2, 3); }, 0, {}, kHostType, {}},
};
// clang-format on

using TextSetterTest = SetterTest;

TEST_F(TextSetterTest, LogLocation) {
    Value c = user::connector();
    for (const auto& k : kLogCases) check(c, k);
}

TEST_F(TextSetterTest, HostName) {
    Value c = user::connector();
    for (const auto& k : kHostCases) check(c, k);
}

TEST_F(TextSetterTest, ErrorsRenderTheCatalogueTextWithTheirArgument) {
    Value c = user::connector();
    EXPECT_EQ(catchError([&] { user::set(c, "HostName", str("::1")); }).fText,
              "The host name '::1' cannot be resolved to an IPv4 address.");
    EXPECT_EQ(catchError([&] { user::set(c, "LogLocation", str(kNowhere)); }).fText,
              "The location '" + kNowhere + "' does not exist.");
}

TEST_F(TextSetterTest, ErrorsOfTheClientPassThroughUnchanged) {
    Value c = user::connector();
    client.failWithStd("getHostname", "lookup failed");
    EXPECT_EQ(errorIdOf([&] { user::set(c, "HostName", str("127.0.0.1")); }), "std: lookup failed");
    client.clearFaults();
    client.failWithStd("setLogLocation", "read-only settings");
    EXPECT_EQ(errorIdOf([&] { user::set(c, "LogLocation", str(kTmp)); }),
              "std: read-only settings");
    EXPECT_FALSE(containsInOrder(logLines(), {"Log location set successfully"}));
}

}  // namespace
}  // namespace korvan::test
