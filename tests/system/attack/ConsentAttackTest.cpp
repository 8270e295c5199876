// Remote access binds only after consent: the connector module driven as user code with the
// real service host, hosted connector and client bundle. The consent dialog answers as the
// korvan command does without a terminal (KORVAN_REST_CONSENT); for every answer that is not
// "yes", a start in remote mode leaves nothing listening on the port, on loopback or on any
// other address of the machine. The same port then serves in local mode, so the silence was
// the refusal's doing. The token appears in none of the process's log channels.
//
// The module keeps process-wide state, so this executable holds one session, in order.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <boost/json/parse.hpp>

#include "ConsentDialog.hpp"
#include "ModuleHarness.hpp"
#include "SessionHttps.hpp"
#include "SessionServices.hpp"
#include "TempFolder.hpp"
#include "UserActions.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "foundation/log/Capture.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/services/client/ConnectorClient.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::test {
namespace {

using namespace std::chrono_literals;
using korvan::test::ModuleHarness;
namespace user = korvan::test::user;
namespace servicehost = korvan::services::servicehost;
namespace connector = korvan::services::connector;
namespace session = korvan::test;

constexpr const char* kDialog = "korvan.internal.rest.showDialog";

// The services of the session, with short time-outs.
connector::Config shortTimeouts() {
    connector::Config tuning;
    tuning.fIoTimeout = 2s;
    tuning.fStopTimeout = 2s;
    return tuning;
}

struct Services : session::SessionServices {
    Services() : SessionServices(shortTimeouts()) {}
};

// The consent dialog as the korvan command answers it without a terminal.
class EnvironmentDialog {
  public:
    EnvironmentDialog() {
        korvan::host::registerFunction(
            kDialog, [calls = fCalls](int, kxArray** plhs, int, const kxArray**) {
                ++*calls;
                std::ostringstream said;
                plhs[0] = kxCreateLogicalScalar(korvan::shell::consentFromEnvironment(
                    std::getenv(korvan::shell::kConsentVariable), said));
            });
    }
    ~EnvironmentDialog() {
        korvan::host::unregisterFunction(kDialog);
        ::unsetenv(korvan::shell::kConsentVariable);
    }
    int calls() const { return *fCalls; }

  private:
    std::shared_ptr<std::atomic<int>> fCalls = std::make_shared<std::atomic<int>>(0);
};

// True when a TCP connection to address:port is accepted within a short bound.
bool listening(const std::string& address, std::uint16_t port) {
    return session::tcpConnects(address, port, 2s);
}

std::string readText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string statusOf(const korvan::test::Value& c) {
    return user::memberName(user::get(c, "Status"));
}

TEST(ConsentAttack, RemoteModeBindsNothingWithoutConsent) {
    auto& harness = ModuleHarness::instance();
    foundation::log::ScopedCapture moduleLog{korvan::test::kModuleChannel};
    foundation::log::ScopedCapture hostLog{"korvan::servicehost"};
    foundation::log::ScopedCapture clientLog{"korvan::client"};
    foundation::log::ScopedCapture frameworkLog{"agent::spf"};
    std::string token;
    {
        Services services;
        EnvironmentDialog dialog;
        harness.loadModule();
        korvan::test::Value c = user::connector();
        token = korvan::test::text(user::get(c, "RESTPersonalAccessToken"));
        ASSERT_EQ(token.size(), 64u);

        const std::uint16_t port = session::freeLoopbackPort();
        user::set(c, "Port", korvan::test::num(port));
        user::set(c, "ClientAccessMode",
                  user::member("korvan.engine.rest.ClientAccessMode.remote"));
        ASSERT_EQ(services.fSettings->current().fAccessMode, 1);

        struct Answer {
            const char* fName;
            const char* fValue;  // null: the variable is not set
        };
        int asked = 0;
        for (const Answer& a : {Answer{"not set", nullptr}, Answer{"no", "no"}, Answer{"empty", ""},
                                Answer{"y", "y"}, Answer{"1", "1"}, Answer{"true", "true"},
                                Answer{"no yes", "no yes"}, Answer{"yes please", "yes please"}}) {
            SCOPED_TRACE(a.fName);
            if (a.fValue)
                ::setenv(korvan::shell::kConsentVariable, a.fValue, 1);
            else
                ::unsetenv(korvan::shell::kConsentVariable);
            EXPECT_EQ(korvan::test::errorIdOf([&] { user::method(c, "start"); }), "");
            EXPECT_EQ(dialog.calls(), ++asked) << "the dialog was not asked";
            EXPECT_EQ(statusOf(c), "notrunning");
            EXPECT_FALSE(listening("127.0.0.1", port)) << "something listens on loopback";
            for (const auto& address : session::nonLoopbackIpv4Addresses())
                EXPECT_FALSE(listening(address, port)) << "something listens on " << address;
        }

        // The same port serves once the mode is local (no dialog asked).
        ::unsetenv(korvan::shell::kConsentVariable);
        user::set(c, "ClientAccessMode", user::member("korvan.engine.rest.ClientAccessMode.local"));
        user::method(c, "start");
        EXPECT_EQ(dialog.calls(), asked);
        EXPECT_EQ(statusOf(c), "running");
        session::Request health;
        health.fPort = port;
        health.fTarget = "/v1/health";
        health.fTrusted = korvan::test::text(user::get(c, "Certificate"));
        std::string error;
        const auto reply = session::httpsRequest(health, &error);
        ASSERT_TRUE(reply.has_value()) << error;
        EXPECT_EQ(reply->fStatus, 200u);
        user::method(c, "stop");
        EXPECT_EQ(statusOf(c), "notrunning");

        const std::string connectorLog =
            readText(services.fSettings->defaultLogFolder() / "connector.log");
        EXPECT_EQ(connectorLog.find("remote access"), std::string::npos) << connectorLog;
        EXPECT_EQ(connectorLog.find(token), std::string::npos) << connectorLog;

        c.reset();
        harness.drainInterpreter();
    }
    harness.drainInterpreter();
    for (const auto* capture : {&moduleLog, &hostLog, &clientLog, &frameworkLog})
        for (const auto& line : capture->lines())
            EXPECT_EQ(line.find(token), std::string::npos) << line;
    EXPECT_FALSE(moduleLog.lines().empty()) << "the module's log channel was not captured";
    harness.stop();
}

}  // namespace
}  // namespace korvan::test
