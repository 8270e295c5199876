// The connector client while the connector service is away for an update: reads answered as
// the service last said them, Status notrunning, changes handed to the service that comes
// back (or, for a connector that was running, not made and the person told), and a start that
// waits for the service.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include <algorithm>
#include <chrono>
#include <thread>

#include "FakeConnectorService.hpp"
#include "foundation/core/except/IException.hpp"
#include "korvan/host/Warnings.hpp"
#include "korvan/services/client/ConnectorClient.hpp"

namespace korvan::test {

using namespace korvan::services::client;
using namespace korvan::services;
namespace {

using namespace std::chrono_literals;
using rest::kv::connectorclient::RestFcnConnectorClient;

// A service that answers every property as a running or stopped connector on port 9920.
std::shared_ptr<FakeConnectorService> connectorService(bool running) {
    auto s = std::make_shared<FakeConnectorService>();
    s->setResult("getPort", "9920");
    s->setResult("getHostname", "\"\"");
    s->setResult("getLogLocation", "\"/logs\"");
    s->setResult("getAccessLogLocation", "\"/logs\"");
    s->setResult("getClientAccessMode", "0");
    s->setResult("getBaseUrl", "\"https://localhost:9920/v1\"");
    s->setResult("getPersonalAccessToken", "\"t0ken\"");
    s->setResult("getStatus", running ? "1" : "0");
    s->setResult("getPropertiesJson",
                 R"({"Port":9920,"HostName":"","LogLocation":"/logs","ClientAccessMode":0,)"
                 R"("BaseUrl":"https://localhost:9920/v1","Status":)" +
                     std::string(running ? "1" : "0") + "}");
    return s;
}

class ServiceAwayTest : public ::testing::Test {
  protected:
    ConnectorClientBundle fBundle{foundation::cppmicroservices::getFramework().GetBundleContext(),
                                  2s};
    std::shared_ptr<RestFcnConnectorClient> fClient = fBundle.client();
};

TEST_F(ServiceAwayTest, AStoppedConnectorsChangesAreKeptAndTheReturningServiceStartsFromThem) {
    { PublishedService gone(connectorService(false)); }

    EXPECT_EQ(fClient->getPort(), 9920);
    EXPECT_EQ(fClient->getPersonalAccessToken(), "t0ken");
    EXPECT_EQ(fClient->getStatus(), 0);
    fClient->setPort(9921);
    fClient->setHostname("box.example");
    EXPECT_EQ(fClient->getPort(), 9921);
    EXPECT_EQ(fClient->getHostname(), "box.example");
    EXPECT_EQ(fClient->getBaseUrl(), "https://box.example:9921/v1");
    const auto document = boost::json::parse(fClient->getPropertiesJson()).as_object();
    EXPECT_EQ(document.at("Port"), 9921);
    EXPECT_EQ(document.at("Status"), 0);
    // What needs the service itself is refused with an identifier.
    try {
        fClient->changeToken(3);
        ADD_FAILURE() << "no error";
    } catch (const foundation::core::except::IMsgIDException& e) {
        EXPECT_EQ(e.GetID(), "KORVAN:connectorClient:ServiceUnavailable");
    }

    auto back = connectorService(false);
    PublishedService published(back);
    const auto calls = back->calls();
    ASSERT_GE(calls.size(), 2u);  // the kept changes, before anything else
    std::vector<std::string> first = {calls[0].fOperation, calls[1].fOperation};
    std::sort(first.begin(), first.end());
    EXPECT_EQ(first, (std::vector<std::string>{"setHostname", "setPort"}));
    EXPECT_EQ(boost::json::parse(calls[0].fOperation == "setPort" ? calls[0].fArguments
                                                                  : calls[1].fArguments)
                  .at("port"),
              9921);
}

TEST_F(ServiceAwayTest, ARunningConnectorsChangeIsNotMadeAndThePersonIsTold) {
    { PublishedService gone(connectorService(true)); }
    korvan::host::clearLastWarning();
    fClient->setPort(9921);
    EXPECT_EQ(korvan::host::lastWarning().identifier, "KORVAN:connectorClient:ChangedDuringUpdate");
    EXPECT_EQ(fClient->getPort(), 9920);  // it comes back on the port of its last start
    EXPECT_EQ(fClient->getStatus(), 0);

    auto back = connectorService(true);
    PublishedService published(back);
    for (const auto& call : back->calls()) EXPECT_NE(call.fOperation, "setPort");
}

TEST_F(ServiceAwayTest, AStartWaitsForTheServiceToComeBackAndGivesUpAfterItsWait) {
    { PublishedService gone(connectorService(false)); }
    auto back = connectorService(false);
    std::thread comesBack([&] {
        std::this_thread::sleep_for(300ms);
        PublishedService again(back);
        std::this_thread::sleep_for(1s);
    });
    fClient->startConnector();  // waits for it
    comesBack.join();
    const auto calls = back->calls();
    EXPECT_TRUE(std::any_of(calls.begin(), calls.end(),
                            [](const auto& c) { return c.fOperation == "startConnector"; }));

    // Gone for longer than the wait: refused, saying why.
    try {
        fClient->startConnector();
        ADD_FAILURE() << "no error";
    } catch (const foundation::core::except::IMsgIDException& e) {
        EXPECT_EQ(e.GetID(), "KORVAN:connectorClient:StartWaitedInVain");
        EXPECT_THAT(std::string(e.what()), ::testing::HasSubstr("2 s"));
    }
}

}  // namespace
}  // namespace korvan::test
