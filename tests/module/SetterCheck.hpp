// A table row of the setter tests and the fixture that checks one: the value set as user code,
// the client's status during the call, the expected identifier, the exact client calls, the
// error's arguments and the setter's log lines.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "ModuleFixture.hpp"

namespace korvan::test {

struct SetterCase {
    const char* what;
    const char* property;
    std::function<Value()> value;
    std::int32_t status;                       // the client's status during the call
    std::function<void(ClientState&)> before;  // further client state (may be empty)
    std::string error;                         // "" when the set succeeds
    std::vector<std::string> calls;            // the exact client calls
    std::vector<std::string> errorArgs = {};   // the error's message arguments
};

class SetterTest : public ModuleTest {
  protected:
    void check(const Value& connector, const SetterCase& k) {
        SCOPED_TRACE(std::string(k.property) + ": " + k.what);
        client.reset();
        client.edit([&](ClientState& s) {
            s.fStatus = k.status;
            if (k.before) k.before(s);
        });
        const ClientState before = client.state();
        Value value = k.value();
        clearLog();

        const CaughtError caught = catchError([&] { user::set(connector, k.property, value); });
        EXPECT_EQ(caught.fId, k.error);
        EXPECT_EQ(client.trace(), k.calls);
        std::vector<std::string> args;
        for (const auto& a : caught.fArgs) args.push_back(argumentText(a));
        EXPECT_EQ(args, k.errorArgs);

        // The entry line always; the success line only after the client was told.
        const auto [entry, success] = logTextsOf(k.property);
        const bool sent = !k.calls.empty() && k.calls.back().rfind("set", 0) == 0;
        const auto lines = logLines();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.front(), entry);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), success), sent ? 1 : 0);
        if (sent) {
            EXPECT_EQ(lines.back(), success);
        } else {
            const ClientState after = client.state();
            EXPECT_EQ(after.fPort, before.fPort);
            EXPECT_EQ(after.fLogLocation, before.fLogLocation);
            EXPECT_EQ(after.fHostName, before.fHostName);
            EXPECT_EQ(after.fAccessMode, before.fAccessMode);
        }
    }

  private:
    static std::pair<std::string, std::string> logTextsOf(const std::string& property) {
        if (property == "Port") return {"Inside Restconnector::setPort()", "Port set successfully"};
        if (property == "LogLocation") {
            return {"Inside Restconnector::setLogLocation()", "Log location set successfully"};
        }
        if (property == "HostName") {
            return {"Inside Restconnector::setHostname()", "Hostname set successfully"};
        }
        return {"Inside Restconnector::setAccessMode()", "Access Mode set successfully"};
    }
};

}  // namespace korvan::test
