// An update flip of the real hosted connector while a call is in flight over HTTPS on
// 127.0.0.1: the call is answered cleanly, the old server is gone, and the fresh instance
// serves calls once it is started again through invoke("startConnector").
#include <gtest/gtest.h>

#include <future>
#include <latch>

#include <boost/json.hpp>

#include "HttpsTestClient.hpp"
#include "Invokers.hpp"
#include "ServiceHostFixture.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"

namespace servicehosttest {
namespace {

using namespace std::chrono_literals;
namespace connector = korvan::services::connector;
namespace http = connector::test::http;

/// One service "slow" with one function "wait"; the invoker below never runs it.
class OneFunctionCatalog final : public connector::FunctionServiceCatalog {
  public:
    std::vector<std::string> serviceNames() const override { return {"slow"}; }
    std::optional<std::vector<std::string>> functionNames(std::string_view service) const override {
        if (service != "slow") return std::nullopt;
        return std::vector<std::string>{"wait"};
    }
    std::optional<korvan::host::Function> findFunction(std::string_view service,
                                                       std::string_view function) const override {
        if (service != "slow" || function != "wait") return std::nullopt;
        return korvan::host::Function([](int, kxArray**, int, const kxArray**) {});
    }
};

/// Answers {"results":[42]}; the first call says it has started and then waits (at most 10 s)
/// for the test to release it.
class LatchedInvoker final : public connector::test::BlockingInvoker {
  public:
    connector::CallOutcome invoke(korvan::host::Function, foundation::json::Value, int) override {
        if (!fFirstTaken.exchange(true)) {
            fStarted.count_down();
            fReleased.wait_for_release();
        }
        connector::CallOutcome outcome;
        outcome.fBody = foundation::json::Object{
            {"results", foundation::json::Array{foundation::json::Value(std::int64_t{42})}}};
        return outcome;
    }

    bool waitStarted() {
        return waitUntil([this] { return fStarted.try_wait(); });
    }
    void release() { fReleased.release(); }

  private:
    /// A gate opened once, with a bounded wait.
    class Gate {
      public:
        void release() {
            std::lock_guard lock(fLock);
            fOpen = true;
            fChanged.notify_all();
        }
        void wait_for_release() {
            std::unique_lock lock(fLock);
            fChanged.wait_for(lock, 10s, [this] { return fOpen; });
        }

      private:
        std::mutex fLock;
        std::condition_variable fChanged;
        bool fOpen = false;
    };

    std::atomic<bool> fFirstTaken{false};
    std::latch fStarted{1};
    Gate fReleased;
};

class HostedFlipTest : public ServiceHostTest {
  protected:
    ServiceHostOptions hostedOptions() {
        fSettings->update([](auto& s) { s.fPort = 0; });  // a free port at each start
        auto opts = options();
        opts.fFactory = [this]() -> std::shared_ptr<korvan::services::servicehost::HostedService> {
            connector::Config tuning;
            tuning.fIoTimeout = 5s;
            tuning.fStopTimeout = 5s;
            return std::make_shared<korvan::services::servicehost::HostedConnector>(
                fSettings, fCatalog, fInvoker, tuning);
        };
        return opts;
    }

    static boost::json::value call(korvan::services::servicehost::HostedService& service,
                                   std::string_view operation) {
        return boost::json::parse(service.invoke(std::string(operation), "{}"));
    }

    /// POST /v1/services/slow/wait on the instance's port, trusting its certificate.
    static std::optional<http::response<http::string_body>> callWait(std::uint16_t port,
                                                                     const std::string& token,
                                                                     const std::string& cert,
                                                                     std::string* error) {
        http::request<http::string_body> request(http::verb::post, "/v1/services/slow/wait", 11);
        request.set(http::field::authorization, "Bearer " + token);
        request.body() = R"({"args":[],"nargout":1})";
        connector::test::ClientOptions client;
        client.fTrusted = cert;
        client.fTimeout = 10s;
        return connector::test::httpsRequest(port, std::move(request), client, error);
    }

    std::shared_ptr<connector::FunctionServiceCatalog> fCatalog =
        std::make_shared<OneFunctionCatalog>();
    std::shared_ptr<LatchedInvoker> fInvoker = std::make_shared<LatchedInvoker>();
};

TEST_F(HostedFlipTest, AFlipWithACallInFlightAnswersItAndTheFreshInstanceServesAfterAStart) {
    auto& host = makeHost(hostedOptions());
    host.start();
    auto old = host.current();
    ASSERT_TRUE(old);
    old->invoke("startConnector", "{}");
    const auto port = static_cast<std::uint16_t>(call(*old, "getPort").as_int64());
    const std::string token(call(*old, "getPersonalAccessToken").as_string());
    const std::string cert(call(*old, "getCertificate").as_string());
    ASSERT_NE(port, 0);

    std::string inFlightError;
    auto inFlight =
        std::async(std::launch::async, [&] { return callWait(port, token, cert, &inFlightError); });
    ASSERT_TRUE(fInvoker->waitStarted());

    auto flipped = std::async(std::launch::async, [&] { host.flip(); });
    // Release the call once the old instance is withdrawn, while its server is stopping.
    EXPECT_TRUE(waitUntil([&] { return host.current() != old; }));
    fInvoker->release();

    ASSERT_EQ(flipped.wait_for(30s), std::future_status::ready);
    flipped.get();
    ASSERT_EQ(inFlight.wait_for(30s), std::future_status::ready);
    const auto answer = inFlight.get();
    ASSERT_TRUE(answer) << inFlightError;
    if (answer->result_int() == 200) {
        EXPECT_EQ(answer->body(), R"({"results":[42]})");
    } else {
        // Refused by a stopping server: a clean JSON error, not a broken connection.
        EXPECT_EQ(answer->result_int(), 503u) << answer->body();
        EXPECT_TRUE(boost::json::parse(answer->body()).as_object().contains("error"));
    }

    EXPECT_EQ(host.flipCount(), 1u);
    EXPECT_THROW(old->invoke("getStatus", "{}"), std::runtime_error);

    // The fresh instance has the same settings and starts not running.
    auto fresh = host.current();
    ASSERT_TRUE(fresh);
    ASSERT_NE(fresh, old);
    EXPECT_EQ(call(*fresh, "getStatus").as_int64(), 0);
    std::string error;
    EXPECT_FALSE(callWait(port, token, cert, &error)) << "the old server still answers";

    fresh->invoke("startConnector", "{}");
    EXPECT_EQ(call(*fresh, "getStatus").as_int64(), 1);
    const auto freshPort = static_cast<std::uint16_t>(call(*fresh, "getPort").as_int64());
    const std::string freshToken(call(*fresh, "getPersonalAccessToken").as_string());
    EXPECT_EQ(freshToken, token);  // kept in the settings
    auto again = callWait(freshPort, freshToken, cert, &error);
    ASSERT_TRUE(again) << error;
    EXPECT_EQ(again->result_int(), 200u);
    EXPECT_EQ(again->body(), R"({"results":[42]})");
}

}  // namespace
}  // namespace servicehosttest
