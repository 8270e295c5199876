// The service host going away in the middle of a function call: an HTTPS call to the real
// hosted connector on 127.0.0.1 is blocked in the function (on a gate the test holds) while
// the service host stops or flips down. The host's call returns in bounded time, the call in
// flight gets an answer or a closed connection (never a hang), the old instance refuses further
// operations, its listener is closed, and a fresh instance serves calls once the host is back.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

#include <boost/json.hpp>

#include "HttpsTestClient.hpp"
#include "Invokers.hpp"
#include "TempFolder.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::test {
namespace {

using namespace std::chrono_literals;
namespace connector = korvan::services::connector;
namespace servicehost = korvan::services::servicehost;
namespace http = korvan::test::http;

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = 10s) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

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

/// Answers {"results":[42]}; the first call says it has started and then waits for the test to
/// open the gate, at most 5 s: the stand-in for the interpreter invoker's time-out, which is
/// what bounds a stop's wait for a call that is still running.
class GatedInvoker final : public korvan::test::BlockingInvoker {
  public:
    connector::CallOutcome invoke(korvan::host::Function, foundation::json::Value, int) override {
        if (!fFirstTaken.exchange(true)) {
            std::unique_lock lock(fLock);
            fStarted = true;
            fChanged.notify_all();
            fChanged.wait_for(lock, 5s, [this] { return fOpen; });
        }
        connector::CallOutcome outcome;
        outcome.fBody = foundation::json::Object{
            {"results", foundation::json::Array{foundation::json::Value(std::int64_t{42})}}};
        return outcome;
    }
    bool waitStarted() {
        std::unique_lock lock(fLock);
        return fChanged.wait_for(lock, 10s, [this] { return fStarted; });
    }
    void release() {
        std::lock_guard lock(fLock);
        fOpen = true;
        fChanged.notify_all();
    }

  private:
    std::atomic<bool> fFirstTaken{false};
    std::mutex fLock;
    std::condition_variable fChanged;
    bool fStarted = false;  // guarded by fLock
    bool fOpen = false;     // guarded by fLock
};

enum class GoingAway { Stop, FlipDown };
enum class Gate { OpenedWhileGoing, OpenedAfter };

struct DownCase {
    const char* fName;
    GoingAway fHow;
    Gate fGate;
};

class HostDownTest : public ::testing::TestWithParam<DownCase> {
  protected:
    HostDownTest() {
        fSettings->update([](auto& s) { s.fPort = 0; });  // a free port at each start
        servicehost::ServiceHostOptions options;
        options.fContext = foundation::cppmicroservices::getFramework().GetBundleContext();
        options.fSettings = fSettings;
        options.fFactory = [this]() -> std::shared_ptr<servicehost::HostedService> {
            connector::Config tuning;
            tuning.fIoTimeout = 5s;
            tuning.fStopTimeout = 2s;
            return std::make_shared<servicehost::HostedConnector>(fSettings, fCatalog, fInvoker,
                                                                  tuning);
        };
        fHost = std::make_shared<servicehost::ServiceHost>(std::move(options));
    }
    ~HostDownTest() override {
        fInvoker->release();
        fHost.reset();
    }

    static boost::json::value call(servicehost::HostedService& service,
                                   std::string_view operation) {
        return boost::json::parse(service.invoke(std::string(operation), "{}"));
    }

    struct Endpoint {
        std::uint16_t fPort = 0;
        std::string fToken;
        std::string fCertificate;
    };
    static Endpoint started(servicehost::HostedService& service) {
        service.invoke("startConnector", "{}");
        return {static_cast<std::uint16_t>(call(service, "getPort").as_int64()),
                std::string(call(service, "getPersonalAccessToken").as_string()),
                std::string(call(service, "getCertificate").as_string())};
    }

    static std::optional<http::response<http::string_body>> callWait(const Endpoint& e,
                                                                     std::string* error) {
        http::request<http::string_body> request(http::verb::post, "/v1/services/slow/wait", 11);
        request.set(http::field::authorization, "Bearer " + e.fToken);
        request.body() = R"({"args":[],"nargout":1})";
        korvan::test::ClientOptions client;
        client.fTrusted = e.fCertificate;
        client.fTimeout = 20s;
        return korvan::test::httpsRequest(e.fPort, std::move(request), client, error);
    }

    korvan::test::TempFolder fFolder;
    std::shared_ptr<korvan::services::settings::SettingsStore> fSettings =
        std::make_shared<korvan::services::settings::SettingsStore>(fFolder.path());
    std::shared_ptr<connector::FunctionServiceCatalog> fCatalog =
        std::make_shared<OneFunctionCatalog>();
    std::shared_ptr<GatedInvoker> fInvoker = std::make_shared<GatedInvoker>();
    std::shared_ptr<servicehost::ServiceHost> fHost;
};

TEST_P(HostDownTest, TheCallInFlightEndsCleanlyAndTheHostComesBack) {
    const DownCase& k = GetParam();
    fHost->start();
    auto old = fHost->current();
    ASSERT_TRUE(old);
    const Endpoint endpoint = started(*old);
    ASSERT_NE(endpoint.fPort, 0);

    std::string inFlightError;
    auto inFlight =
        std::async(std::launch::async, [&] { return callWait(endpoint, &inFlightError); });
    ASSERT_TRUE(fInvoker->waitStarted());

    auto goingAway = std::async(std::launch::async, [&] {
        if (k.fHow == GoingAway::Stop)
            fHost->stop();
        else
            fHost->flipDown();
    });
    EXPECT_TRUE(waitUntil([&] { return !fHost->current(); }));
    if (k.fGate == Gate::OpenedWhileGoing) fInvoker->release();
    // A stop waits for a running call no longer than the invoker lets it run.
    ASSERT_EQ(goingAway.wait_for(30s), std::future_status::ready) << "the host hangs";
    goingAway.get();
    fInvoker->release();

    ASSERT_EQ(inFlight.wait_for(30s), std::future_status::ready) << "the call in flight hangs";
    const auto answer = inFlight.get();
    if (answer) {
        if (answer->result_int() == 200) {
            EXPECT_EQ(answer->body(), R"({"results":[42]})");
        } else {
            EXPECT_EQ(answer->result_int(), 503u) << answer->body();
            EXPECT_TRUE(boost::json::parse(answer->body()).as_object().contains("error"));
        }
    } else {
        // Only a call the server gave up on at its stop time-out may lose its connection.
        EXPECT_EQ(k.fGate, Gate::OpenedAfter) << inFlightError;
    }

    EXPECT_FALSE(fHost->isUp());
    EXPECT_THROW(old->invoke("getStatus", "{}"), std::runtime_error);
    std::string error;
    EXPECT_FALSE(callWait(endpoint, &error)) << "the old listener still answers";

    // Back up: a fresh instance with the same settings serves calls once started.
    if (k.fHow == GoingAway::Stop)
        fHost->start();
    else
        fHost->flipUp();
    auto fresh = fHost->current();
    ASSERT_TRUE(fresh);
    ASSERT_NE(fresh, old);
    EXPECT_EQ(call(*fresh, "getStatus").as_int64(), 0);
    const Endpoint again = started(*fresh);
    EXPECT_EQ(again.fToken, endpoint.fToken);
    const auto reply = callWait(again, &error);
    ASSERT_TRUE(reply) << error;
    EXPECT_EQ(reply->result_int(), 200u);
    EXPECT_EQ(reply->body(), R"({"results":[42]})");
    fHost->stop();
}

INSTANTIATE_TEST_SUITE_P(
    Cases, HostDownTest,
    ::testing::Values(
        DownCase{"StopReleasedWhileStopping", GoingAway::Stop, Gate::OpenedWhileGoing},
        DownCase{"StopWithTheCallStillBlocked", GoingAway::Stop, Gate::OpenedAfter},
        DownCase{"FlipDownReleasedWhileGoing", GoingAway::FlipDown, Gate::OpenedWhileGoing},
        DownCase{"FlipDownWithTheCallStillBlocked", GoingAway::FlipDown, Gate::OpenedAfter}),
    [](const ::testing::TestParamInfo<DownCase>& info) { return info.param.fName; });

}  // namespace
}  // namespace korvan::test
