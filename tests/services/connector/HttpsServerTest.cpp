// The connector service over real HTTPS on 127.0.0.1 (a free port): a verifying client, the
// token, the body limit, start failures, stop with a call in flight, and the access log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "AttackClient.hpp"
#include "HttpsTestClient.hpp"
#include "Invokers.hpp"
#include "TempFolder.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace {

using namespace korvan::services::connector;
using namespace std::chrono_literals;
using korvan::test::ClientOptions;
using korvan::test::httpsRequest;
using korvan::test::TempFolder;
using ::testing::HasSubstr;

std::atomic<bool> gSlowStarted{false};

void registerTestFunctions() {
    static const bool done = [] {
        korvan::host::registerFunction("httpsTestPlus",
                                       [](int, kxArray** plhs, int nrhs, const kxArray** prhs) {
                                           double sum = 0;
                                           for (int i = 0; i < nrhs; ++i)
                                               sum += kxGetScalar(prhs[i]);
                                           plhs[0] = kxCreateDoubleScalar(sum);
                                       });
        korvan::host::registerFunction("httpsTestSlow",
                                       [](int, kxArray** plhs, int, const kxArray**) {
                                           gSlowStarted = true;
                                           std::this_thread::sleep_for(700ms);
                                           plhs[0] = kxCreateStringScalarFromUtf8("slept");
                                       });
        return true;
    }();
    (void)done;
}

class HttpsServerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        registerTestFunctions();
        auto catalog = std::make_shared<HostFunctionCatalog>();
        catalog->expose("math", "plus", "httpsTestPlus");
        catalog->expose("math", "slow", "httpsTestSlow");
        fCatalog = catalog;
        fService = std::make_unique<ConnectorService>(
            makeConfig(), fCatalog,
            std::make_shared<korvan::test::InterpreterInvoker>(fInterpreter.getXVM(), 5s));
        fService->start();
    }
    void TearDown() override { fService.reset(); }

    Config makeConfig() const {
        Config config;
        config.fPort = 0;
        config.fCertificateFolder = fFolder.path() / "certificate";
        config.fLogLocation = fFolder.path();
        config.fBodyLimit = 1024;
        config.fIoTimeout = 5s;
        config.fStopTimeout = 3s;
        return config;
    }

    std::optional<korvan::test::http::response<korvan::test::http::string_body>> send(
        korvan::test::http::verb method, const std::string& path, const std::string& body = {},
        bool withToken = true, ClientOptions options = {}) {
        korvan::test::http::request<korvan::test::http::string_body> request(method, "/v1" + path,
                                                                             11);
        if (withToken)
            request.set(korvan::test::http::field::authorization,
                        "Bearer " + fService->personalAccessToken());
        request.body() = body;
        if (options.fTrusted.empty()) options.fTrusted = fService->certificate();
        std::string error;
        auto response = httpsRequest(fService->port(), std::move(request), options, &error);
        fLastError = error;
        return response;
    }

    std::string accessLog() const {
        std::ifstream in(fFolder.path() / kAccessLogFile);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    TempFolder fFolder;
    korvan::host::InterpreterThread fInterpreter;
    std::shared_ptr<const FunctionServiceCatalog> fCatalog;
    std::unique_ptr<ConnectorService> fService;
    std::string fLastError;
};

TEST_F(HttpsServerTest, HealthServicesAndCalls) {
    ASSERT_EQ(fService->status(), Status::Running);
    EXPECT_EQ(fService->baseUrl(), "https://localhost:" + std::to_string(fService->port()) + "/v1");

    auto health = send(korvan::test::http::verb::get, "/health", "", false);
    ASSERT_TRUE(health) << fLastError;
    EXPECT_EQ(health->result_int(), 200u);

    auto services = send(korvan::test::http::verb::get, "/services");
    ASSERT_TRUE(services) << fLastError;
    EXPECT_EQ(services->body(), R"({"services":[{"functions":["plus","slow"],"name":"math"}]})");

    auto call = send(korvan::test::http::verb::post, "/services/math/plus",
                     R"({"args":[1,2],"nargout":1})");
    ASSERT_TRUE(call) << fLastError;
    EXPECT_EQ(call->result_int(), 200u);
    EXPECT_EQ(call->body(), R"({"results":[3]})");

    auto refused = send(korvan::test::http::verb::get, "/services", "", false);
    ASSERT_TRUE(refused) << fLastError;
    EXPECT_EQ(refused->result_int(), 401u);

    const std::string log = accessLog();
    EXPECT_THAT(log, HasSubstr(" 127.0.0.1 GET /v1/health 200 "));
    EXPECT_THAT(log, HasSubstr(" 127.0.0.1 POST /v1/services/math/plus 200 "));
    EXPECT_THAT(log, HasSubstr(" 127.0.0.1 GET /v1/services 401 "));
    EXPECT_THAT(log, ::testing::Not(HasSubstr(fService->personalAccessToken())));
}

TEST_F(HttpsServerTest, ClientsVerifyTheGeneratedCertificate) {
    ClientOptions wrongName;
    wrongName.fHostName = "otherhost";
    EXPECT_FALSE(send(korvan::test::http::verb::get, "/health", "", false, wrongName));

    TempFolder other;
    ClientOptions wrongCertificate;
    wrongCertificate.fTrusted = generateCertificate(other.path(), {}).fCertificate;
    EXPECT_FALSE(send(korvan::test::http::verb::get, "/health", "", false, wrongCertificate));

    EXPECT_TRUE(send(korvan::test::http::verb::get, "/health", "", false)) << fLastError;
}

// server.json is read at the next start: its body limit replaces the configured one.
TEST_F(HttpsServerTest, TheServerSettingsFileAppliesAtTheNextStart) {
    std::ofstream(fFolder.path() / "server.json") << R"({"maxBodyMiB": 1})";
    Config config = makeConfig();
    config.fServerSettingsFile = fFolder.path() / "server.json";
    fService->stop();
    fService->setConfig(config);
    fService->start();
    // 4 KiB was over the configured 1 KiB; under the file's 1 MiB it reaches the function.
    auto response = send(korvan::test::http::verb::post, "/services/math/plus",
                         R"({"args":[1,2],"nargout":1})" + std::string(4096, ' '));
    ASSERT_TRUE(response) << fLastError;
    EXPECT_EQ(response->result_int(), 200u) << response->body();
    response = send(korvan::test::http::verb::post, "/services/math/plus",
                    std::string(1024 * 1024 + 1, ' '));
    ASSERT_TRUE(response) << fLastError;
    EXPECT_EQ(response->result_int(), 413u);
}

// The default body limit (64 MiB) holds a body of exactly that size and refuses one byte more.
TEST_F(HttpsServerTest, TheDefaultBodyLimitTakes64MiBAndNoMore) {
    Config config = makeConfig();
    config.fBodyLimit = Config{}.fBodyLimit;
    ASSERT_EQ(config.fBodyLimit, 64u * 1024 * 1024);
    fService->stop();
    fService->setConfig(config);
    fService->start();
    const std::string call = R"({"args":[1,2],"nargout":1})";
    std::string body = call + std::string(config.fBodyLimit - call.size(), ' ');
    auto response = send(korvan::test::http::verb::post, "/services/math/plus", body);
    ASSERT_TRUE(response) << fLastError;
    EXPECT_EQ(response->result_int(), 200u) << response->body();
    // One byte more is refused from the announced length, before the body is sent.
    korvan::test::Connection over({fService->certificate()});
    ASSERT_TRUE(over.connect(fService->port()) && over.handshake()) << over.error();
    ASSERT_TRUE(over.send(
        "POST /v1/services/math/plus HTTP/1.1\r\nHost: localhost\r\n"
        "Authorization: Bearer " +
        fService->personalAccessToken() + "\r\nContent-Type: application/json\r\nContent-Length: " +
        std::to_string(config.fBodyLimit + 1) + "\r\n\r\n"))
        << over.error();
    const auto refused = over.readResponse();
    ASSERT_TRUE(refused) << over.error();
    EXPECT_EQ(refused->result_int(), 413u);
    EXPECT_THAT(refused->body(), HasSubstr("67108864 bytes"));
}

TEST_F(HttpsServerTest, ChangedTokenReplacesTheOldOneWhileRunning) {
    const std::string old = fService->personalAccessToken();
    fService->changeToken(7);
    ASSERT_NE(fService->personalAccessToken(), old);
    korvan::test::http::request<korvan::test::http::string_body> request(
        korvan::test::http::verb::get, "/v1/services", 11);
    request.set(korvan::test::http::field::authorization, "Bearer " + old);
    ClientOptions options;
    options.fTrusted = fService->certificate();
    auto response = httpsRequest(fService->port(), request, options);
    ASSERT_TRUE(response);
    EXPECT_EQ(response->result_int(), 401u);
    auto fresh = send(korvan::test::http::verb::get, "/services");
    ASSERT_TRUE(fresh) << fLastError;
    EXPECT_EQ(fresh->result_int(), 200u);
}

TEST_F(HttpsServerTest, StartFailuresSayWhy) {
    Config sameConfig = makeConfig();
    sameConfig.fPort = fService->port();
    ConnectorService second(
        sameConfig, fCatalog,
        std::make_shared<korvan::test::InterpreterInvoker>(fInterpreter.getXVM(), 5s));
    try {
        second.start();
        ADD_FAILURE() << "a second server started on the same port";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), HasSubstr("in use"));
    }
    EXPECT_EQ(second.status(), Status::NotRunning);

    // A certificate file spoiled after it was accepted.
    TempFolder other;
    const CertificateFiles files = generateCertificate(other.path(), {});
    Config freePort = makeConfig();
    ConnectorService third(
        freePort, fCatalog,
        std::make_shared<korvan::test::InterpreterInvoker>(fInterpreter.getXVM(), 5s));
    third.changeCertificate(files.fPrivateKey, files.fCertificate, {});
    std::ofstream(files.fCertificate) << "spoiled\n";
    try {
        third.start();
        ADD_FAILURE() << "started with a spoiled certificate";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), HasSubstr("Bad certificate"));
    }
    EXPECT_EQ(third.status(), Status::NotRunning);
}

TEST_F(HttpsServerTest, StopLetsTheCallInFlightFinishAndClosesTheListener) {
    gSlowStarted = false;
    korvan::test::http::request<korvan::test::http::string_body> slow(
        korvan::test::http::verb::post, "/v1/services/math/slow", 11);
    slow.set(korvan::test::http::field::authorization, "Bearer " + fService->personalAccessToken());
    slow.body() = "{}";
    ClientOptions slowOptions;
    slowOptions.fTrusted = fService->certificate();
    std::string slowError;
    auto inFlight = std::async(std::launch::async, [&] {
        return httpsRequest(fService->port(), slow, slowOptions, &slowError);
    });
    for (int i = 0; i < 500 && !gSlowStarted; ++i) std::this_thread::sleep_for(10ms);
    ASSERT_TRUE(gSlowStarted);
    const std::uint16_t port = fService->port();
    fService->stop();
    EXPECT_EQ(fService->status(), Status::NotRunning);

    ASSERT_EQ(inFlight.wait_for(10s), std::future_status::ready);
    auto response = inFlight.get();
    ASSERT_TRUE(response) << slowError;
    EXPECT_EQ(response->result_int(), 200u);
    EXPECT_EQ(response->body(), R"({"results":["slept"]})");

    ClientOptions options;
    options.fTrusted = fService->certificate();
    options.fTimeout = 2s;
    EXPECT_FALSE(httpsRequest(port, {korvan::test::http::verb::get, "/v1/health", 11}, options));

    // And it starts again.
    fService->start();
    EXPECT_TRUE(send(korvan::test::http::verb::get, "/health", "", false)) << fLastError;
}

}  // namespace
