// The connector's TLS connections on the wire: bodies that span many TLS records both ways,
// requests sent back to back on one connection, a client that leaves in the middle of a large
// answer, and a call over its time-out answered while the connection goes on.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include <boost/json/parse.hpp>

#include "AttackClient.hpp"
#include "Invokers.hpp"
#include "TempFolder.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace {

using namespace korvan::services::connector;
using namespace std::chrono_literals;
using korvan::test::Connection;
using korvan::test::TempFolder;
using korvan::test::TlsOptions;

std::atomic<int> gSlowRuns{0};

void registerTestFunctions() {
    static const bool done = [] {
        korvan::host::registerFunction("streamTestEcho",
                                       [](int, kxArray** plhs, int, const kxArray** prhs) {
                                           plhs[0] = kxDuplicateArray(prhs[0]);
                                       });
        korvan::host::registerFunction("streamTestSlow",
                                       [](int, kxArray** plhs, int, const kxArray**) {
                                           ++gSlowRuns;
                                           std::this_thread::sleep_for(600ms);
                                           plhs[0] = kxCreateStringScalarFromUtf8("late");
                                       });
        return true;
    }();
    (void)done;
}

class HttpsStreamTest : public ::testing::Test {
  protected:
    void SetUp() override {
        registerTestFunctions();
        auto catalog = std::make_shared<HostFunctionCatalog>();
        catalog->expose("s", "echo", "streamTestEcho");
        catalog->expose("s", "slow", "streamTestSlow");
        Config config;
        config.fPort = 0;
        config.fCertificateFolder = fFolder.path() / "certificate";
        config.fBodyLimit = 4 * 1024 * 1024;
        config.fIoTimeout = 5s;
        config.fStopTimeout = 2s;
        fService =
            std::make_unique<ConnectorService>(config, catalog,
                                               std::make_shared<korvan::test::InterpreterInvoker>(
                                                   fInterpreter.getXVM(), fCallTimeout));
        fService->start();
        fToken = fService->personalAccessToken();
    }
    void TearDown() override { fService.reset(); }

    std::unique_ptr<Connection> connect() {
        TlsOptions options;
        options.fTrusted = fService->certificate();
        auto c = std::make_unique<Connection>(options);
        EXPECT_TRUE(c->connect(fService->port()) && c->handshake()) << c->error();
        return c;
    }

    // A request that keeps the connection open unless `close`.
    std::string request(const std::string& method, const std::string& path,
                        const std::string& body = {}, bool close = false) const {
        std::string text = method + " /v1" + path + " HTTP/1.1\r\nHost: localhost\r\n";
        text += "Authorization: Bearer " + fToken + "\r\n";
        if (method == "POST")
            text +=
                "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n";
        if (close) text += "Connection: close\r\n";
        return text + "\r\n" + body;
    }

    static std::string echoBody(const std::string& text) {
        return R"({"args":[")" + text + R"("],"nargout":1})";
    }

    std::chrono::milliseconds fCallTimeout{30s};  // how long a call may wait for the interpreter
    TempFolder fFolder;
    korvan::host::InterpreterThread fInterpreter;
    std::unique_ptr<ConnectorService> fService;
    std::string fToken;
};

// Calls wait at most 150 ms for the interpreter.
class HttpsStreamShortCallTest : public HttpsStreamTest {
  protected:
    HttpsStreamShortCallTest() { fCallTimeout = 150ms; }
};

TEST_F(HttpsStreamTest, LargeBodiesCrossManyRecordsBothWays) {
    // 3 MB each way: some 190 TLS records, more than the socket buffers hold at once.
    std::string text(3 * 1024 * 1024, 'x');
    for (std::size_t i = 0; i < text.size(); i += 997) text[i] = static_cast<char>('a' + i % 26);
    auto c = connect();
    ASSERT_TRUE(c->send(request("POST", "/services/s/echo", echoBody(text), true))) << c->error();
    auto response = c->readResponse();
    ASSERT_TRUE(response) << c->error();
    ASSERT_EQ(response->result_int(), 200u) << response->body().substr(0, 300);
    const auto results = boost::json::parse(response->body()).at("results").as_array();
    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(results[0].as_string() == text);
}

TEST_F(HttpsStreamTest, RequestsSentBackToBackOnOneConnectionAreAllAnswered) {
    // All three requests go out in one write, so the later ones wait in the server's buffers
    // (OpenSSL's or the parser's) while the earlier ones are answered.
    auto c = connect();
    ASSERT_TRUE(c->send(request("POST", "/services/s/echo", echoBody("one")) +
                        request("GET", "/health") +
                        request("POST", "/services/s/echo", echoBody("three"), true)))
        << c->error();
    const char* expected[] = {R"({"results":["one"]})", R"({"status":"ok"})",
                              R"({"results":["three"]})"};
    for (const char* body : expected) {
        auto response = c->readResponse();
        ASSERT_TRUE(response) << c->error();
        EXPECT_EQ(response->result_int(), 200u);
        EXPECT_EQ(response->body(), body);
    }
    EXPECT_TRUE(c->closedWithin(2s));
}

TEST_F(HttpsStreamTest, AClientLeavingDuringALargeAnswerDoesNotHurtTheServer) {
    // The server writes a large answer into connections whose peer has gone: the writes fail,
    // only those connections end, and the next client is served.
    const std::string big = echoBody(std::string(2 * 1024 * 1024, 'y'));
    for (int i = 0; i < 3; ++i) {
        auto c = connect();
        ASSERT_TRUE(c->send(request("POST", "/services/s/echo", big))) << c->error();
        c.reset();
    }
    auto c = connect();
    ASSERT_TRUE(c->send(request("POST", "/services/s/echo", echoBody("still here"), true)));
    auto response = c->readResponse();
    ASSERT_TRUE(response) << c->error();
    EXPECT_EQ(response->body(), R"({"results":["still here"]})");
}

TEST_F(HttpsStreamShortCallTest, ACallOverItsTimeOutIs503AndTheConnectionGoesOn) {
    gSlowRuns = 0;
    auto c = connect();
    // The first call runs past the time-out; the second waits behind it in the interpreter's
    // queue, is withdrawn at its time-out and never runs.
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(c->send(request("POST", "/services/s/slow", "{}"))) << c->error();
        auto response = c->readResponse();
        ASSERT_TRUE(response) << c->error();
        EXPECT_EQ(response->result_int(), 503u);
        EXPECT_EQ(korvan::test::identifierOf(response->body()), errorid::kTimedOut);
    }
    ASSERT_TRUE(c->send(request("GET", "/health"))) << c->error();
    auto health = c->readResponse();
    ASSERT_TRUE(health) << c->error();
    EXPECT_EQ(health->body(), R"({"status":"ok"})");
    // The late outcome of the first call is dropped: nothing more arrives.
    std::string more;
    EXPECT_FALSE(c->closedWithin(900ms, &more));
    EXPECT_EQ(more, "");
    EXPECT_EQ(gSlowRuns.load(), 1);
}

}  // namespace
