// The Port and ClientAccessMode setters: they always call the client (also for an unchanged
// value); Port runs the running check before it validates the number, ClientAccessMode checks
// the value's type first.
#include <cmath>
#include <limits>

#include "SetterCheck.hpp"

namespace korvan::test {
namespace {

const char* const kPort = "KORVAN:restFcnService:InvalidPortNumber";
const char* const kRunning = "KORVAN:restFcnService:CannotModifyConnector";
const char* const kMode = "KORVAN:restFcnService:InvalidClientAccessMode";
const char* const kModeType = "KORVAN:restFcnService:InvalidClientAccessModeType";

Value accessModeMember(const char* name) {
    return user::member(std::string("korvan.engine.rest.ClientAccessMode.") + name);
}

Value twoRemoteMembers() {
    Value remote = accessModeMember("remote");
    return ModuleHarness::instance().run([&] {
        kxArray* pair = kxCreateObjectMatrix(1, 2, "korvan.engine.rest.ClientAccessMode");
        kxSetObject(pair, 0, kxGetObject(remote.get(), 0));
        kxSetObject(pair, 1, kxGetObject(remote.get(), 0));
        return own(pair);
    });
}

// clang-format off
const std::vector<SetterCase> kPortCases = {
    {"port changes", "Port", [] { return num(8080); }, 0, {}, "", {"getPort", "getStatus", "setPort(8080)"}},
    {"lowest port", "Port", [] { return num(1025); }, 0, {}, "", {"getPort", "getStatus", "setPort(1025)"}},
    {"highest port", "Port", [] { return num(65535); }, 0, {}, "", {"getPort", "getStatus", "setPort(65535)"}},
    {"same port is sent again", "Port", [] { return num(9920); }, 0, {}, "", {"getPort", "setPort(9920)"}},
    {"integer class value", "Port", [] { return int32(8081); }, 0, {}, "", {"getPort", "getStatus", "setPort(8081)"}},
    {"port below range", "Port", [] { return num(1024); }, 0, {}, kPort, {"getPort", "getStatus"}},
    {"port above range", "Port", [] { return num(65536); }, 0, {}, kPort, {"getPort", "getStatus"}},
    {"fractional port", "Port", [] { return num(8080.5); }, 0, {}, kPort, {"getPort", "getStatus"}},
    {"fraction of the current port", "Port", [] { return num(9920.5); }, 0, {}, kPort, {"getPort"}},
    {"running, same port", "Port", [] { return num(9920); }, 1, {}, "", {"getPort", "setPort(9920)"}},
    {"running, other port", "Port", [] { return num(8080); }, 1, {}, kRunning, {"getPort", "getStatus"}},
    {"running, port 0", "Port", [] { return num(0); }, 1, {}, kRunning, {"getPort", "getStatus"}},
    {"running, invalid port", "Port", [] { return num(1024); }, 1, {}, kRunning, {"getPort", "getStatus"}},
    {"running, fraction of the current port", "Port", [] { return num(9920.25); }, 1, {}, kPort, {"getPort"}},
};

const std::vector<SetterCase> kModeCases = {
    {"remote by text", "ClientAccessMode", [] { return str("remote"); }, 0, {}, "", {"getClientAccessMode", "getStatus", "setAccessMode(1)"}},
    {"same mode is sent again", "ClientAccessMode", [] { return chars("local"); }, 0, {}, "", {"getClientAccessMode", "setAccessMode(0)"}},
    {"remote member", "ClientAccessMode", [] { return accessModeMember("remote"); }, 0, {}, "", {"getClientAccessMode", "getStatus", "setAccessMode(1)"}},
    {"local member", "ClientAccessMode", [] { return accessModeMember("local"); }, 0, [](ClientState& s) { s.fAccessMode = 1; }, "", {"getClientAccessMode", "getStatus", "setAccessMode(0)"}},
    {"running, same mode", "ClientAccessMode", [] { return accessModeMember("local"); }, 1, {}, "", {"getClientAccessMode", "setAccessMode(0)"}},
    {"running, other mode", "ClientAccessMode", [] { return str("remote"); }, 1, {}, kRunning, {"getClientAccessMode", "getStatus"}},
    {"letter case matters", "ClientAccessMode", [] { return str("Local"); }, 1, {}, kMode, {}},
    {"two members", "ClientAccessMode", [] { return twoRemoteMembers(); }, 0, {}, kModeType, {}},
    {"number as mode", "ClientAccessMode", [] { return num(1); }, 0, {}, kModeType, {}},
    {"member of another enumeration", "ClientAccessMode", [] { return user::member("korvan.engine.rest.Status.running"); }, 0, {}, kModeType, {}},
    {"missing mode", "ClientAccessMode", [] { return missingString(); }, 0, {}, kModeType, {}},
};
// clang-format on

using PortAndModeSetterTest = SetterTest;

TEST_F(PortAndModeSetterTest, PortChecksRunningStateBeforeTheNumber) {
    Value c = user::connector();
    for (const auto& k : kPortCases) check(c, k);
}

TEST_F(PortAndModeSetterTest, AccessModeChecksTheValueBeforeTheRunningState) {
    Value c = user::connector();
    for (const auto& k : kModeCases) check(c, k);
}

TEST_F(PortAndModeSetterTest, NonFinitePortsAreRefusedWithoutReachingTheClient) {
    Value c = user::connector();
    for (double value : {std::numeric_limits<double>::infinity(),
                         -std::numeric_limits<double>::infinity(), std::nan("")}) {
        for (std::int32_t status : {0, 1}) {
            client.reset();
            client.edit([&](ClientState& s) { s.fStatus = status; });
            const std::string id = errorIdOf([&] { user::set(c, "Port", num(value)); });
            // Stopped, the value is invalid; running, it may first count as a change.
            if (status == 0) {
                EXPECT_EQ(id, kPort) << value;
            } else {
                EXPECT_TRUE(id == kPort || id == kRunning) << value << " " << id;
            }
            EXPECT_EQ(client.countOf("setPort"), 0u) << value;
        }
    }
}

TEST_F(PortAndModeSetterTest, ErrorsOfTheClientPassThroughUnchanged) {
    Value c = user::connector();
    client.failWithStd("setPort", "port store is read-only");
    EXPECT_EQ(errorIdOf([&] { user::set(c, "Port", num(8080)); }), "std: port store is read-only");
    const auto lines = logLines();
    EXPECT_TRUE(containsInOrder(lines, {"Inside Restconnector::setPort()"}));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "Port set successfully"), 0);

    client.clearFaults();
    client.failWithStd("getClientAccessMode", "mode unknown");
    EXPECT_EQ(errorIdOf([&] { user::set(c, "ClientAccessMode", str("remote")); }),
              "std: mode unknown");
    EXPECT_EQ(client.countOf("setAccessMode"), 0u);
}

}  // namespace
}  // namespace korvan::test
