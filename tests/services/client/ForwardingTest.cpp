// The connector client forwards each operation to the connector service's Invokable: the
// operation's name, its arguments as JSON, and the JSON result converted back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cppmicroservices/ServiceEvent.h>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "FakeConnectorService.hpp"
#include "foundation/core/except/IException.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/services/client/ConnectorClient.hpp"

namespace korvan::test {

using namespace korvan::services::client;
using namespace korvan::services;
namespace {

using rest::kv::connectorclient::RestFcnConnectorClient;

class ForwardingTest : public ::testing::Test {
  protected:
    ConnectorClientBundle fBundle{foundation::cppmicroservices::getFramework().GetBundleContext(),
                                  std::chrono::milliseconds(300)};
    std::shared_ptr<RestFcnConnectorClient> fClient = fBundle.client();
    std::shared_ptr<FakeConnectorService> fService = std::make_shared<FakeConnectorService>();
};

struct Row {
    const char* fName;
    std::function<void(RestFcnConnectorClient&)> fAction;  // calls the client, checks the result
    std::string fOperation;
    std::string fArguments;  // expected argument JSON
    std::string fResult;     // what the service answers
};

std::vector<Row> rows() {
    // clang-format off
    return {
        {"getPort", [](auto& c) { EXPECT_EQ(c.getPort(), 8080); }, "getPort", "{}", "8080"},
        {"getPortWrittenAsDouble", [](auto& c) { EXPECT_EQ(c.getPort(), 9920); }, "getPort", "{}", "9920.0"},
        {"setPort", [](auto& c) { c.setPort(65535); }, "setPort", R"({"port":65535})", "null"},
        {"getLogLocation", [](auto& c) { EXPECT_EQ(c.getLogLocation(), u"/home/jürgen/журнал/日志/\U0001F600"); }, "getLogLocation", "{}", "\"/home/jürgen/журнал/日志/\U0001F600\""},
        {"setLogLocation", [](auto& c) { c.setLogLocation(u"/tmp/Ωmega/\U0001F600 logs"); }, "setLogLocation", "{\"logLocation\":\"/tmp/Ωmega/\U0001F600 logs\"}", "null"},
        {"getHostname", [](auto& c) { EXPECT_EQ(c.getHostname(), "example.test"); }, "getHostname", "{}", R"("example.test")"},
        {"setHostname", [](auto& c) { c.setHostname("host \"quoted\""); }, "setHostname", R"({"hostName":"host \"quoted\""})", "null"},
        {"getClientAccessMode", [](auto& c) { EXPECT_EQ(c.getClientAccessMode(), 1); }, "getClientAccessMode", "{}", "1"},
        {"setAccessMode", [](auto& c) { c.setAccessMode(1); }, "setAccessMode", R"({"accessMode":1})", "null"},
        {"getServiceNames", [](auto& c) { EXPECT_EQ(c.getServiceNames(), (std::vector<std::string>{"math", "tëxt"})); }, "getServiceNames", "{}", R"(["math","tëxt"])"},
        {"getServiceNamesEmpty", [](auto& c) { EXPECT_TRUE(c.getServiceNames().empty()); }, "getServiceNames", "{}", "[]"},
        {"getPersonalAccessToken", [](auto& c) { EXPECT_EQ(c.getPersonalAccessToken(), "tok"); }, "getPersonalAccessToken", "{}", R"("tok")"},
        {"getTokenExpirationDate", [](auto& c) { EXPECT_EQ(c.getTokenExpirationDate(), "21-Nov-2026"); }, "getTokenExpirationDate", "{}", R"("21-Nov-2026")"},
        {"getCertificate", [](auto& c) { EXPECT_EQ(c.getCertificate(), u"/settings/Zertifikät/cert.pem"); }, "getCertificate", "{}", R"("/settings/Zertifikät/cert.pem")"},
        {"getCertificateExpirationDate", [](auto& c) { EXPECT_EQ(c.getCertificateExpirationDate(), u"01-Jan-2027"); }, "getCertificateExpirationDate", "{}", R"("01-Jan-2027")"},
        {"getBaseUrl", [](auto& c) { EXPECT_EQ(c.getBaseUrl(), "https://localhost:9920/v1"); }, "getBaseUrl", "{}", R"("https://localhost:9920/v1")"},
        {"getStatus", [](auto& c) { EXPECT_EQ(c.getStatus(), 1); }, "getStatus", "{}", "1"},
        {"restoreSettings", [](auto& c) { c.restoreSettings(8443, u"/logs/é", "h.test", 1); }, "restoreSettings", R"({"port":8443,"logLocation":"/logs/é","hostName":"h.test","accessMode":1})", "null"},
        {"refreshServices", [](auto& c) { c.refreshServices(); }, "refreshServices", "{}", "null"},
        {"changeToken", [](auto& c) { c.changeToken(4000000000u); }, "changeToken", R"({"days":4000000000})", "null"},
        {"changeCertificateFiles", [](auto& c) { c.changeCertificate(u"/k/ключ.pem", u"/c/cert.pem", {"10.0.0.7", "fe80::1"}); }, "changeCertificate", R"({"privateKey":"/k/ключ.pem","certificate":"/c/cert.pem","addresses":["10.0.0.7","fe80::1"]})", "null"},
        {"changeCertificateGenerated", [](auto& c) { c.changeCertificate(u"", u"", {}); }, "changeCertificate", R"({"privateKey":"","certificate":"","addresses":[]})", "null"},
        {"startConnector", [](auto& c) { c.startConnector(); }, "startConnector", "{}", "null"},
        {"stopConnector", [](auto& c) { c.stopConnector(); }, "stopConnector", "{}", "null"},
        {"resetConnector", [](auto& c) { c.resetConnector(); }, "resetConnector", "{}", "null"},
        {"getAccessLogLocation", [](auto& c) { EXPECT_EQ(c.getAccessLogLocation(), u"/logs/\u00e5tkomst"); }, "getAccessLogLocation", "{}", R"("/logs/\u00e5tkomst")"},
    };
    // clang-format on
}

TEST_F(ForwardingTest, EachOperationIsOneInvokeWithItsArgumentsAndConvertedResult) {
    PublishedService published(fService);
    std::size_t expectedCalls = 0;
    for (const auto& row : rows()) {
        SCOPED_TRACE(row.fName);
        fService->setResult(row.fOperation, row.fResult);
        row.fAction(*fClient);
        const auto calls = fService->calls();
        ASSERT_EQ(calls.size(), ++expectedCalls);
        EXPECT_EQ(calls.back().fOperation, row.fOperation);
        // Compared as JSON values: member order is the writer's business.
        EXPECT_EQ(boost::json::parse(calls.back().fArguments), boost::json::parse(row.fArguments))
            << calls.back().fArguments;
    }
}

TEST_F(ForwardingTest, PropertyDocumentIsTheServicesTextUnchanged) {
    PublishedService published(fService);
    const std::string text = "{ \"Port\" : 9920.0 ,\n\"HostName\":\"\\u00e9\" }";
    fService->setResult("getPropertiesJson", text);
    EXPECT_EQ(fClient->getPropertiesJson(), text);
    EXPECT_EQ(fService->calls().back().fArguments, "{}");
}

TEST_F(ForwardingTest, TextResultsAreDecodedWhetherPlainOrEscaped) {
    PublishedService published(fService);
    const struct {
        const char* fResult;
        std::string fExpected;
    } cases[] = {
        {"\"https://localhost:9920/v1\"", "https://localhost:9920/v1"},
        {"\"\"", ""},
        {"\"a\\\"b\"", "a\"b"},
        {"\"C:\\\\dir\"", "C:\\dir"},
        {"\"caf\\u00e9\"", "caf\xc3\xa9"},
        {"\"caf\xc3\xa9\"", "caf\xc3\xa9"},
        {" \"spaced\" ", "spaced"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fResult);
        fService->setResult("getBaseUrl", c.fResult);
        EXPECT_EQ(fClient->getBaseUrl(), c.fExpected);
    }
}

TEST_F(ForwardingTest, ResultsOfTheWrongFormAreErrorsNamingTheOperation) {
    PublishedService published(fService);
    const struct {
        const char* fOperation;
        const char* fResult;
        std::function<void()> fCall;
    } cases[] = {
        {"getPort", "\"8080\"", [&] { fClient->getPort(); }},
        {"getPort", "65536", [&] { fClient->getPort(); }},
        {"getPort", "-1", [&] { fClient->getPort(); }},
        {"getPort", "80.5", [&] { fClient->getPort(); }},
        {"getPort", "080", [&] { fClient->getPort(); }},
        {"getPort", "80 80", [&] { fClient->getPort(); }},
        {"getPort", "", [&] { fClient->getPort(); }},
        {"getStatus", "not json", [&] { fClient->getStatus(); }},
        {"getStatus", "1e300", [&] { fClient->getStatus(); }},
        {"getBaseUrl", "null", [&] { fClient->getBaseUrl(); }},
        {"getBaseUrl", "\"a\"b\"", [&] { fClient->getBaseUrl(); }},
        {"getBaseUrl", "\"tab\there\"", [&] { fClient->getBaseUrl(); }},
        {"getBaseUrl", "\"unterminated", [&] { fClient->getBaseUrl(); }},
        {"getServiceNames", "[\"a\",1]", [&] { fClient->getServiceNames(); }},
        {"getServiceNames", "\"a b\"", [&] { fClient->getServiceNames(); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.fOperation) + " <- " + c.fResult);
        fService->setResult(c.fOperation, c.fResult);
        try {
            c.fCall();
            ADD_FAILURE() << "no error";
        } catch (const std::runtime_error& e) {
            EXPECT_NE(std::string(e.what()).find(c.fOperation), std::string::npos) << e.what();
        }
    }
}

struct ServiceFault : std::exception {
    const char* what() const noexcept override { return "Port 9920 is already in use."; }
};

// What the service throws reaches the person with the client's identifier and its own text;
// a catalogue error of the service passes as it is.
TEST_F(ForwardingTest, ExceptionsOfTheServiceCarryAnIdentifierAndTheirText) {
    using foundation::core::except::IMsgIDException;
    PublishedService published(fService);
    struct Case {
        std::function<void()> fThrow;
        const char* fIdentifier;
        const char* fText;
    };
    // clang-format off
    const std::vector<Case> cases = {
        {[] { throw std::invalid_argument("unknown operation: startConnector"); }, "KORVAN:connectorClient:ServiceFailed", "unknown operation: startConnector"},
        {[] { throw ServiceFault(); }, "KORVAN:connectorClient:ServiceFailed", "Port 9920 is already in use."},
        {[] { throw 42; }, "KORVAN:connectorClient:ServiceFailed", "unknown error"},
        {[] { korvan::host::throwError("KORVAN:connectorService", "CertificateUnusable", "x"); }, "KORVAN:connectorService:CertificateUnusable", "cannot be used: x"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fIdentifier);
        fService->failWith(c.fThrow);
        try {
            fClient->startConnector();
            ADD_FAILURE() << "no error";
        } catch (const IMsgIDException& e) {
            EXPECT_EQ(e.GetID(), c.fIdentifier);
            EXPECT_THAT(std::string(e.what()), ::testing::HasSubstr(c.fText));
        }
    }
}

TEST_F(ForwardingTest, WithoutAServiceEveryOperationSaysItIsNotAvailable) {
    const std::vector<std::function<void()>> operations = {
        [&] { fClient->getPort(); },           [&] { fClient->setPort(1); },
        [&] { fClient->getPropertiesJson(); }, [&] { fClient->startConnector(); },
        [&] { fClient->changeToken(1); },
    };
    for (const auto& operation : operations) {
        try {
            operation();
            ADD_FAILURE() << "no error";
        } catch (const foundation::core::except::IMsgIDException& e) {
            EXPECT_THAT(e.GetID(), ::testing::AnyOf("KORVAN:connectorClient:ServiceUnavailable",
                                                    "KORVAN:connectorClient:StartWaitedInVain"));
            EXPECT_NE(std::string(e.what()).find("not "), std::string::npos) << e.what();
        }
    }
}

TEST_F(ForwardingTest, AServiceThatComesBackIsUsedAgain) {
    {
        PublishedService published(fService);
        fService->setResult("getPort", "9920");
        EXPECT_EQ(fClient->getPort(), 9920);
    }
    EXPECT_EQ(fClient->getPort(), 9920);  // as the service said when it went

    auto successor = std::make_shared<FakeConnectorService>();
    successor->setResult("getPort", "9921");
    PublishedService published(successor);
    EXPECT_EQ(fClient->getPort(), 9921);
    EXPECT_EQ(successor->calls().size(), 1u);
}

TEST_F(ForwardingTest, TheBestRankedServiceIsUsed) {
    auto better = std::make_shared<FakeConnectorService>();
    fService->setResult("getStatus", "0");
    better->setResult("getStatus", "1");
    PublishedService first(fService, 0);
    PublishedService second(better, 5);
    EXPECT_EQ(fClient->getStatus(), 1);
    second.withdraw();
    EXPECT_EQ(fClient->getStatus(), 0);
}

// The registry tells its listeners in turn; one that is told of a new connector service before
// the client's tracker (here a listener added first) may already call through the client.
TEST(ForwardingOrderTest, AServiceNotYetReportedToTheClientIsFoundInTheRegistry) {
    auto context = foundation::cppmicroservices::getFramework().GetBundleContext();
    std::shared_ptr<RestFcnConnectorClient> client;
    std::vector<std::string> seen;  // what the earlier listener got from the client
    auto token = context.AddServiceListener(
        [&](const cppmicroservices::ServiceEvent& event) {
            if (event.GetType() != cppmicroservices::ServiceEvent::SERVICE_REGISTERED || !client)
                return;
            try {
                seen.push_back(std::to_string(client->getPort()));
            } catch (const std::exception& e) {
                seen.push_back(e.what());
            }
        },
        "(spf.clientid=restfcnconnectorservice)");
    ConnectorClientBundle bundle(context);
    client = bundle.client();
    auto service = std::make_shared<FakeConnectorService>();
    service->setResult("getPort", "9931");
    {
        PublishedService published(service);
        EXPECT_EQ(seen, std::vector<std::string>{"9931"});
        EXPECT_EQ(client->getPort(), 9931);
    }
    EXPECT_EQ(client->getPort(), 9931);  // as the service said when it went
    context.RemoveListener(std::move(token));
}

}  // namespace
}  // namespace korvan::test
