// The module used before its services arrive and after they leave. The module remembers the
// first use for the life of the process, so the steps run in order inside one case.
#include <algorithm>

#include "ModuleFixture.hpp"

namespace korvan::test {
namespace {

const char* const kNoConnector = "KORVAN:restFcnService:NoConnectorFound";

class NoClientEnvironment : public ::testing::Environment {
  public:
    void SetUp() override { ModuleHarness::instance().loadModule(); }
    void TearDown() override { ModuleHarness::instance().stop(); }
};

[[maybe_unused]] ::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new NoClientEnvironment);

/// Every user operation of a connector object, each expected to fail the same way.
void expectEveryOperationFails(const Value& c, const char* id) {
    for (const char* property : {"Port", "LogLocation", "HostName", "ClientAccessMode",
                                 "ServiceNames", "RESTPersonalAccessToken", "TokenExpirationDate",
                                 "Certificate", "CertificateExpirationDate", "BaseURL", "Status"}) {
        EXPECT_EQ(errorIdOf([&] { user::get(c, property); }), id) << "get " << property;
    }
    EXPECT_EQ(errorIdOf([&] { user::set(c, "Port", num(8080)); }), id);
    EXPECT_EQ(errorIdOf([&] { user::set(c, "HostName", str("127.0.0.1")); }), id);
    EXPECT_EQ(errorIdOf([&] { user::set(c, "LogLocation", str("")); }), id);
    EXPECT_EQ(errorIdOf([&] { user::set(c, "ClientAccessMode", str("remote")); }), id);
    for (const char* method : {"start", "stop", "reset", "changeToken", "changeCertificate"}) {
        EXPECT_EQ(errorIdOf([&] { user::method(c, method); }), id) << method;
    }
}

class NoClientTest : public ::testing::Test {
  protected:
    ModuleHarness& harness = ModuleHarness::instance();
    ServiceRegistrations& services = harness.services();
    FakeConnectorClient& client = harness.client();
};

TEST_F(NoClientTest, ConnectorFoundOnlyWhileAClientIsTracked) {
    {
        SCOPED_TRACE("before any client");
        EXPECT_EQ(errorIdOf([] { user::connector(); }), kNoConnector);
        EXPECT_EQ(errorIdOf([] { user::connector(); }), kNoConnector);
    }
    Value c;
    {
        SCOPED_TRACE("the client arrives");
        services.publishClient();
        services.publishService();
        c = user::connector();
        // Building the connector reads the whole document first.
        EXPECT_EQ(client.callNames().at(0), "getPropertiesJson");
        EXPECT_EQ(scalar(user::get(c, "Port")), 9920);
        ASSERT_TRUE(waitUntil([&] { return client.hasUpdateCallback(); }));
        harness.drainInterpreter();
        EXPECT_EQ(client.countOf("getPropertiesJson"), 1u);
        EXPECT_EQ(client.callsOf("registerVshUpdateCallback").at(0).fThread,
                  harness.interpreterThreadId());
    }
    {
        SCOPED_TRACE("no update-flip client within the first look: none for good");
        EXPECT_EQ(errorIdOf([&] { user::get(c, "PreferredRestartHour"); }),
                  "KORVAN:restFcnService:NoUpdateClientFound");
        services.publishUpdateFlip();
        EXPECT_EQ(errorIdOf([&] { user::get(c, "PreferredRestartHour"); }),
                  "KORVAN:restFcnService:NoUpdateClientFound");
        EXPECT_EQ(errorIdOf([&] { user::set(c, "PreferredRestartHour", num(3)); }),
                  "KORVAN:restFcnService:NoUpdateClientFound");
        // Validation comes before the service is looked for.
        EXPECT_EQ(errorIdOf([&] { user::set(c, "PreferredRestartHour", str("3")); }),
                  "KORVAN:restFcnService:InvalidPreferredRestartHour");
        EXPECT_TRUE(harness.updateFlip().calls().empty());
    }
    {
        SCOPED_TRACE("the client leaves");
        services.withdrawClient();
        client.clearCalls();
        expectEveryOperationFails(c, kNoConnector);
        // Argument and type checks that come first still answer with their own identifiers.
        EXPECT_EQ(errorIdOf([&] { user::set(c, "HostName", num(1)); }),
                  "KORVAN:restFcnService:InvalidHostnameType");
        EXPECT_EQ(errorIdOf([&] { user::method(c, "changeCertificate", {num(1)}); }),
                  "KORVAN:restFcnService:InvalidIPAddresses");
        // New objects still share the existing connector.
        Value other = user::connector();
        EXPECT_EQ(user::nativeOf(other), user::nativeOf(c));
        EXPECT_TRUE(client.calls().empty());
    }
    {
        SCOPED_TRACE("a registration posted while the client is away is lost silently");
        foundation::log::ScopedCapture log(kModuleChannel);
        auto removals = [&] {
            const auto lines = log.lines();
            return std::count(lines.begin(), lines.end(), "Inside restconnector::onRemoved()");
        };
        client.forgetUpdateCallback();
        services.withdrawService();
        services.publishService();
        // The tracker's handlers run one at a time in event order: once the second removal
        // was handled, the arrival before it has posted its work.
        services.withdrawService();
        ASSERT_TRUE(waitUntil([&] { return removals() == 2; }));
        harness.drainInterpreter();
        EXPECT_TRUE(client.calls().empty());
    }
    {
        SCOPED_TRACE("the client returns and is used at once");
        services.publishClient();
        EXPECT_EQ(scalar(user::get(c, "Port")), 9920);
        EXPECT_EQ(client.trace(), std::vector<std::string>{"getPort"});
        EXPECT_FALSE(client.hasUpdateCallback());
    }
}

TEST_F(NoClientTest, TheLatestClientIsUsedAndAnyRemovalEmptiesTheHolder) {
    services.publishClient();
    Value c = user::connector();
    client.clearCalls();

    auto second = services.publishSecondClient();
    second->edit([](ClientState& s) { s.fPort = 4444; });
    EXPECT_EQ(scalar(user::get(c, "Port")), 4444);
    EXPECT_TRUE(client.calls().empty());

    // A modified registration changes nothing.
    services.modifyClient();
    EXPECT_EQ(scalar(user::get(c, "Port")), 4444);

    // Removing the second empties the holder, although the first is still registered.
    services.withdrawSecondClient();
    EXPECT_EQ(errorIdOf([&] { user::get(c, "Port"); }), kNoConnector);
    EXPECT_TRUE(client.calls().empty());

    services.withdrawClient();
    services.publishClient();
    EXPECT_EQ(scalar(user::get(c, "Port")), 9920);
    EXPECT_EQ(client.trace(), std::vector<std::string>{"getPort"});
}

}  // namespace
}  // namespace korvan::test
