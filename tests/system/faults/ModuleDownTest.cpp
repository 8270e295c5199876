// User code calling the connector module while the service is gone: the real service host,
// hosted connector and connector client bundle, the module driven as user code. While the
// service host is flipped down or stopped, every call gives the client's "not available" error;
// without any connector client, the module's NoConnectorFound. Never a crash or a hang, and
// everything works again once the service is back (a connector that was running is restarted by the
// module).
//
// The module keeps process-wide state, so this executable holds one scenario, in order.
#include <gtest/gtest.h>

#include <thread>

#include <boost/asio/ip/tcp.hpp>

#include <memory>

#include <boost/json/parse.hpp>
#include <string>

#include "ModuleHarness.hpp"
#include "SessionHttps.hpp"
#include "SessionServices.hpp"
#include "TempFolder.hpp"
#include "UserActions.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/host/Warnings.hpp"
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
using korvan::test::Value;
using korvan::test::waitUntil;
namespace user = korvan::test::user;
namespace servicehost = korvan::services::servicehost;
namespace connector = korvan::services::connector;

// The connector client's own catalogue error, not a bare exception without an identifier.
const std::string kNotAvailable = "KORVAN:connectorClient:ServiceUnavailable";

connector::Config shortStop() {
    connector::Config tuning;
    tuning.fStopTimeout = 2s;
    return tuning;
}

struct Services : korvan::test::SessionServices {
    Services() : SessionServices(shortStop()) {}
    /// The status the hosted instance reports (-1 while there is none).
    std::int64_t hostedStatus() const {
        auto current = fHost->current();
        if (!current) return -1;
        return boost::json::parse(current->invoke("getStatus", "{}")).as_int64();
    }
};

std::string statusOf(const Value& c) {
    return user::memberName(user::get(c, "Status"));
}

/// Every kind of call user code makes fails with `expected`; a start too, since the status
/// it asks for first is not available either.
void expectEveryCallFails(const Value& c, const std::string& expected) {
    for (const char* property : {"Port", "LogLocation", "HostName", "ClientAccessMode",
                                 "ServiceNames", "RESTPersonalAccessToken", "TokenExpirationDate",
                                 "Certificate", "CertificateExpirationDate", "BaseURL", "Status"})
        EXPECT_EQ(korvan::test::errorIdOf([&] { user::get(c, property); }), expected) << property;
    EXPECT_EQ(korvan::test::errorIdOf([&] { user::set(c, "Port", korvan::test::num(9555)); }),
              expected);
    EXPECT_EQ(
        korvan::test::errorIdOf([&] { user::set(c, "HostName", korvan::test::str("127.0.0.1")); }),
        expected);
    EXPECT_EQ(korvan::test::errorIdOf([&] { user::method(c, "start"); }), expected);
    EXPECT_EQ(korvan::test::errorIdOf([&] { user::method(c, "stop"); }), expected);
    EXPECT_EQ(korvan::test::errorIdOf([&] { user::method(c, "reset"); }), expected);
    EXPECT_EQ(
        korvan::test::errorIdOf([&] { user::method(c, "changeToken", {korvan::test::num(3)}); }),
        expected);
}

/// While the service is away: reads answer as last persisted and Status reads notrunning; a
/// change to the connector that was running is not made (a warning says why); what needs the
/// service itself is refused with the client's identifier.
void expectAwayAnswers(const Value& c, std::uint16_t port, const std::string& token) {
    EXPECT_EQ(statusOf(c), "notrunning");
    EXPECT_EQ(korvan::test::scalar(user::get(c, "Port")), port);
    EXPECT_EQ(korvan::test::text(user::get(c, "RESTPersonalAccessToken")), token);
    korvan::host::clearLastWarning();
    EXPECT_EQ(korvan::test::errorIdOf([&] { user::set(c, "Port", korvan::test::num(port + 1)); }),
              "");
    EXPECT_EQ(korvan::host::lastWarning().identifier, "KORVAN:connectorClient:ChangedDuringUpdate");
    EXPECT_EQ(korvan::test::scalar(user::get(c, "Port")), port);
    EXPECT_EQ(
        korvan::test::errorIdOf([&] { user::method(c, "changeToken", {korvan::test::num(3)}); }),
        kNotAvailable);
}

/// Whether something accepts TCP connections on 127.0.0.1:port.
bool answersOn(std::uint16_t port) {
    boost::asio::io_context io;
    boost::asio::ip::tcp::socket socket(io);
    boost::system::error_code ec;
    socket.connect({boost::asio::ip::address_v4::loopback(), port}, ec);
    return !ec;
}

TEST(ModuleDownTest, CallsWhileTheServiceIsGoneFailCleanlyAndWorkAfterwards) {
    auto& harness = ModuleHarness::instance();
    Services services;
    harness.loadModule();
    Value c = user::connector();
    const std::uint16_t port = korvan::test::freeLoopbackPort();
    user::set(c, "Port", korvan::test::num(port));
    user::method(c, "start");
    ASSERT_EQ(statusOf(c), "running");
    const std::string token = korvan::test::text(user::get(c, "RESTPersonalAccessToken"));

    {
        SCOPED_TRACE("flipped down");
        services.fHost->flipDown();
        harness.drainInterpreter();
        expectAwayAnswers(c, port, token);
        // A start made while the service is away waits for it to come back; the module's own
        // restart then finds it running, on the port of its last start.
        std::thread up([&] {
            std::this_thread::sleep_for(300ms);
            services.fHost->flipUp();
        });
        user::method(c, "start");
        up.join();
        ASSERT_TRUE(waitUntil([&] { return services.hostedStatus() == 1; }, 20s))
            << "not restarted after the flip";
        harness.drainInterpreter();
        EXPECT_EQ(statusOf(c), "running");
        EXPECT_EQ(korvan::test::scalar(user::get(c, "Port")), port);
        EXPECT_EQ(korvan::test::text(user::get(c, "RESTPersonalAccessToken")), token);
        EXPECT_TRUE(answersOn(port));
    }
    {
        SCOPED_TRACE("service host stopped");
        services.fHost->stop();
        harness.drainInterpreter();
        expectAwayAnswers(c, port, token);
        services.fHost->start();
        ASSERT_TRUE(waitUntil([&] { return services.hostedStatus() == 1; }, 20s))
            << "not restarted after the host came back";
        harness.drainInterpreter();
        EXPECT_EQ(statusOf(c), "running");
        user::method(c, "stop");
        EXPECT_EQ(statusOf(c), "notrunning");
    }
    {
        SCOPED_TRACE("no connector client at all");
        services.fSide.closeClient();
        harness.drainInterpreter();
        expectEveryCallFails(c, "KORVAN:restFcnService:NoConnectorFound");
        services.fSide.openClient();
        ASSERT_TRUE(waitUntil(
            [&] { return korvan::test::errorIdOf([&] { user::get(c, "Port"); }).empty(); }));
        EXPECT_EQ(korvan::test::scalar(user::get(c, "Port")), port);
        user::method(c, "start");
        EXPECT_EQ(statusOf(c), "running");
        user::method(c, "stop");
    }
    harness.drainInterpreter();
}

}  // namespace
}  // namespace korvan::test
