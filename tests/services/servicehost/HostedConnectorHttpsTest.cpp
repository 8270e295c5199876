// The hosted connector over real HTTPS on 127.0.0.1 (port 0: a free port): start and stop with
// their log lines, a start that fails because the port is taken, the settings locked while
// running, and the user's own certificate in use. (Token rotation and expired tokens over the
// wire: tests/system/attack/TokenAttackTest.cpp.)
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/json/serialize.hpp>

#include "HostedTestSupport.hpp"
#include "HttpsTestClient.hpp"
#include "korvan/services/connector/Certificate.hpp"

namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
namespace http = korvan::test::http;
using namespace korvan::services;
using namespace korvan::test;
using ::testing::HasSubstr;
using ::testing::Not;

class HostedConnectorHttpsTest : public ::testing::Test, public HostedFixture {
  protected:
    /// A connector on a free port, started.
    std::unique_ptr<servicehost::HostedConnector> startOnFreePort() {
        auto c = makeConnector();
        call(*c, "setPort", R"({"port": 0})");
        call(*c, "startConnector");
        return c;
    }

    /// GET <path> with `token` (none when empty), trusting `trusted` (the connector's own
    /// certificate when empty). Fails the test when no answer comes.
    static unsigned get(servicehost::HostedConnector& c, const std::string& path,
                        const std::string& token, std::string* body = nullptr,
                        fs::path trusted = {}) {
        http::request<http::string_body> request(http::verb::get, "/v1" + path, 11);
        if (!token.empty()) request.set(http::field::authorization, "Bearer " + token);
        korvan::test::ClientOptions options;
        options.fTrusted = trusted.empty() ? fs::path(callText(c, "getCertificate")) : trusted;
        const auto port = static_cast<std::uint16_t>(call(c, "getPort").as_int64());
        std::string error;
        auto response = korvan::test::httpsRequest(port, std::move(request), options, &error);
        if (!response) {
            ADD_FAILURE() << "no answer: " << error;
            return 0;
        }
        if (body) *body = response->body();
        return response->result_int();
    }
};

TEST_F(HostedConnectorHttpsTest, StartServeStop) {
    auto c = startOnFreePort();
    EXPECT_EQ(call(*c, "getStatus"), json::value(1));
    const auto port = call(*c, "getPort").as_int64();
    EXPECT_GT(port, 0);
    EXPECT_EQ(callText(*c, "getBaseUrl"), "https://localhost:" + std::to_string(port) + "/v1");
    const auto doc = call(*c, "getPropertiesJson").as_object();
    EXPECT_EQ(doc.at("Status"), json::value(1));
    EXPECT_EQ(doc.at("Port"), json::value(port));

    std::string body;
    EXPECT_EQ(get(*c, "/services", callText(*c, "getPersonalAccessToken"), &body), 200u);
    EXPECT_THAT(body, HasSubstr("\"math\""));
    call(*c, "startConnector");  // a second start does nothing

    call(*c, "stopConnector");
    EXPECT_EQ(call(*c, "getStatus"), json::value(0));
    call(*c, "stopConnector");  // a second stop does nothing

    const std::string log = connectorLog();
    EXPECT_THAT(
        log, HasSubstr("started: https://localhost:" + std::to_string(port) + "/v1, local access"));
    EXPECT_THAT(log, HasSubstr("stopped"));
    EXPECT_THAT(log, Not(HasSubstr(callText(*c, "getPersonalAccessToken"))));
    // The access log sits beside the connector log.
    EXPECT_TRUE(fs::exists(fStore->defaultLogFolder() / "access.log"));
}

TEST_F(HostedConnectorHttpsTest, StartFailsWithTheServersReasonWhenThePortIsTaken) {
    boost::asio::io_context io;
    boost::asio::ip::tcp::acceptor taken(
        io, {boost::asio::ip::make_address("127.0.0.1"), 0});  // listening, never accepting
    const auto port = taken.local_endpoint().port();

    auto c = makeConnector();
    call(*c, "setPort", json::serialize(json::object{{"port", port}}));
    std::string reason;
    try {
        c->invoke("startConnector", "{}");
        ADD_FAILURE() << "started on a taken port";
    } catch (const std::runtime_error& e) {
        reason = e.what();
    }
    EXPECT_EQ(reason,
              "Cannot listen on 127.0.0.1 port " + std::to_string(port) + ": the port is in use");
    EXPECT_EQ(call(*c, "getStatus"), json::value(0));
    EXPECT_THAT(connectorLog(), HasSubstr("start failed: " + reason));

    // Settings can change after a failed start, and the next start works.
    call(*c, "setPort", R"({"port": 0})");
    call(*c, "startConnector");
    EXPECT_EQ(call(*c, "getStatus"), json::value(1));
}

TEST_F(HostedConnectorHttpsTest, SettingsAreLockedWhileRunning) {
    auto c = startOnFreePort();
    const auto port = call(*c, "getPort").as_int64();
    const std::string logs = callText(*c, "getLogLocation");
    const ConnectorSettings before = fStore->current();

    const std::pair<const char*, std::string> refused[] = {
        {"setPort", R"({"port": 8443})"},
        {"setHostname", R"({"hostName": "box.example"})"},
        {"setAccessMode", R"({"accessMode": 1})"},
        {"setLogLocation", json::serialize(json::object{{"logLocation", fFolder.path().string()}})},
        {"restoreSettings",
         R"({"port": 8443, "logLocation": "", "hostName": "", "accessMode": 0})"},
        {"resetConnector", "{}"},
    };
    for (const auto& [operation, arguments] : refused) {
        SCOPED_TRACE(operation);
        EXPECT_THROW(c->invoke(operation, arguments), std::logic_error);
    }
    EXPECT_EQ(fStore->current(), before);

    // The values the connector reports are accepted again while running (nothing changes).
    call(*c, "setPort", json::serialize(json::object{{"port", port}}));
    call(*c, "setAccessMode", R"({"accessMode": 0})");
    call(*c, "setHostname", R"({"hostName": ""})");
    call(*c, "setLogLocation", json::serialize(json::object{{"logLocation", logs}}));
    call(*c, "restoreSettings",
         json::serialize(json::object{
             {"port", port}, {"logLocation", logs}, {"hostName", ""}, {"accessMode", 0}}));
    EXPECT_EQ(fStore->current(), before);
    EXPECT_EQ(call(*c, "getStatus"), json::value(1));

    call(*c, "stopConnector");
    call(*c, "setHostname", R"({"hostName": "box.example"})");
    EXPECT_EQ(callText(*c, "getHostname"), "box.example");
}

TEST_F(HostedConnectorHttpsTest, TheUsersCertificateIsServedAfterARestart) {
    auto c = makeConnector();
    call(*c, "setPort", R"({"port": 0})");
    const auto mine = connector::generateCertificate(fFolder.path() / "mine", {});
    call(*c, "changeCertificate",
         json::serialize(json::object{{"privateKey", mine.fPrivateKey.string()},
                                      {"certificate", mine.fCertificate.string()}}));
    c->shutdown();

    auto again = makeConnector();  // reads the adopted pair from the settings
    call(*again, "startConnector");
    const std::string token = callText(*again, "getPersonalAccessToken");
    EXPECT_EQ(get(*again, "/services", token, nullptr, mine.fCertificate), 200u);
    EXPECT_THAT(connectorLog(), HasSubstr("certificate changed: " + mine.fCertificate.string()));
}

// Every answer carries its request identifier; the access log line ends with it, and a failed
// call's identifier and message go to the connector log under it. A call that succeeded is
// not in the connector log.
TEST_F(HostedConnectorHttpsTest, AFailedCallIsFoundByItsRequestIdentifier) {
    auto c = startOnFreePort();
    const std::string token = callText(*c, "getPersonalAccessToken");
    auto post = [&](const std::string& body) {
        http::request<http::string_body> request(http::verb::post, "/v1/services/math/twice", 11);
        request.set(http::field::authorization, "Bearer " + token);
        request.set(http::field::content_type, "application/json");
        request.body() = body;
        korvan::test::ClientOptions options;
        options.fTrusted = fs::path(callText(*c, "getCertificate"));
        auto response =
            korvan::test::httpsRequest(static_cast<std::uint16_t>(call(*c, "getPort").as_int64()),
                                       std::move(request), options);
        EXPECT_TRUE(response.has_value());
        return response.value_or(http::response<http::string_body>{});
    };
    auto good = post(R"({"args":[2],"nargout":1})");
    auto bad = post(R"({"args":[2],"nargout":2})");  // more outputs than it gives
    EXPECT_EQ(good.result_int(), 200u);
    ASSERT_GE(bad.result_int(), 400u) << bad.body();
    const std::string status = std::to_string(bad.result_int());
    const std::string goodId(good["X-Request-Id"]), badId(bad["X-Request-Id"]);
    ASSERT_FALSE(badId.empty());
    EXPECT_NE(goodId, badId);
    const json::object error = json::parse(bad.body()).at("error").as_object();
    call(*c, "stopConnector");  // the access log is complete once the server stopped

    const std::string access = readText(fStore->defaultLogFolder() / "access.log");
    EXPECT_THAT(access, HasSubstr(" POST /v1/services/math/twice " + status + " "));
    EXPECT_THAT(access, HasSubstr(" " + badId + "\n"));
    EXPECT_THAT(access, HasSubstr(" " + goodId + "\n"));
    const std::string log = connectorLog();
    EXPECT_THAT(log, HasSubstr("request " + badId + " POST /v1/services/math/twice " + status +
                               " " + std::string(error.at("identifier").as_string()) + ": " +
                               std::string(error.at("message").as_string()) + "\n"));
    EXPECT_THAT(log, Not(HasSubstr(goodId)));
}

TEST_F(HostedConnectorHttpsTest, ShutdownStopsTheServer) {
    auto c = startOnFreePort();
    const auto port = static_cast<std::uint16_t>(call(*c, "getPort").as_int64());
    const fs::path certificate = callText(*c, "getCertificate");
    c->shutdown();
    EXPECT_THROW(c->invoke("getStatus", "{}"), std::runtime_error);
    korvan::test::ClientOptions options;
    options.fTrusted = certificate;
    options.fTimeout = std::chrono::seconds(3);
    http::request<http::string_body> request(http::verb::get, "/v1/health", 11);
    EXPECT_FALSE(korvan::test::httpsRequest(port, std::move(request), options));
    EXPECT_THAT(connectorLog(), HasSubstr("stopped (the service instance was shut down)"));
}

}  // namespace
