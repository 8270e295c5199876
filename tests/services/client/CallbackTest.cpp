// Update callbacks: run in registration order on the client's own thread, notifyVshUpdate does
// not wait for them, a failing callback is logged and does not stop the others, and callbacks
// go with the service instance they were registered for. Also the bundle's registration.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "FakeConnectorService.hpp"
#include "foundation/core/except/IException.hpp"
#include "foundation/log/Capture.hpp"
#include "korvan/services/client/ConnectorClient.hpp"

namespace korvan::test {

using namespace korvan::services::client;
using namespace korvan::services;
namespace {

using rest::kv::connectorclient::RestFcnConnectorClient;
using namespace std::chrono_literals;

constexpr auto kBound = 10s;

// What the callbacks did, in order, and on which threads.
class Journal {
  public:
    void add(const std::string& entry) {
        {
            std::lock_guard lock(fMutex);
            fEntries.push_back(entry);
            fThreads.push_back(std::this_thread::get_id());
        }
        fChanged.notify_all();
    }
    /// Waits (bounded) until `entry` is recorded.
    bool waitFor(const std::string& entry) {
        std::unique_lock lock(fMutex);
        return fChanged.wait_for(lock, kBound, [&] {
            return std::find(fEntries.begin(), fEntries.end(), entry) != fEntries.end();
        });
    }
    std::vector<std::string> entries() const {
        std::lock_guard lock(fMutex);
        return fEntries;
    }
    std::vector<std::thread::id> threads() const {
        std::lock_guard lock(fMutex);
        return fThreads;
    }

  private:
    mutable std::mutex fMutex;
    std::condition_variable fChanged;
    std::vector<std::string> fEntries;
    std::vector<std::thread::id> fThreads;
};

class CallbackTest : public ::testing::Test {
  protected:
    // First, so it is destroyed last: the client's callback thread may still be inside
    // Journal::add (after the entry a test waited for) until the client joins it.
    Journal fJournal;
    cppmicroservices::BundleContext fContext =
        foundation::cppmicroservices::getFramework().GetBundleContext();
    ConnectorClientBundle fBundle{fContext};
    std::shared_ptr<RestFcnConnectorClient> fClient = fBundle.client();
    std::shared_ptr<FakeConnectorService> fService = std::make_shared<FakeConnectorService>();
};

TEST_F(CallbackTest, NotifyReturnsWhileACallbackIsBlockedAndRunsThemInOrderOnAnotherThread) {
    PublishedService published(fService);
    std::promise<void> gate;
    auto opened = gate.get_future().share();
    fClient->registerVshUpdateCallback([&, opened] {
        fJournal.add("first");
        // Bounded: a gate that is never opened ends the wait and the test reports it.
        EXPECT_EQ(opened.wait_for(kBound), std::future_status::ready);
        fJournal.add("first done");
    });
    fClient->registerVshUpdateCallback([&] { fJournal.add("second"); });
    fClient->registerVshUpdateCallback([&] { fJournal.add("third"); });

    fClient->notifyVshUpdate();  // returns although the first callback blocks
    ASSERT_TRUE(fJournal.waitFor("first"));
    EXPECT_EQ(fJournal.entries(), std::vector<std::string>{"first"});

    gate.set_value();
    ASSERT_TRUE(fJournal.waitFor("third"));
    EXPECT_EQ(fJournal.entries(),
              (std::vector<std::string>{"first", "first done", "second", "third"}));
    const auto threads = fJournal.threads();
    for (const auto& thread : threads) {
        EXPECT_NE(thread, std::this_thread::get_id());
        EXPECT_EQ(thread, threads.front());
    }
}

TEST_F(CallbackTest, AFailingCallbackIsLoggedAndTheOthersStillRun) {
    foundation::log::ScopedCapture capture("korvan::client");
    PublishedService published(fService);
    fClient->registerVshUpdateCallback([&] { fJournal.add("before"); });
    fClient->registerVshUpdateCallback([] { throw std::runtime_error("restart warning failed"); });
    fClient->registerVshUpdateCallback([] { throw 7; });
    fClient->registerVshUpdateCallback([&] { fJournal.add("after"); });

    fClient->notifyVshUpdate();
    ASSERT_TRUE(fJournal.waitFor("after"));
    EXPECT_EQ(fJournal.entries(), (std::vector<std::string>{"before", "after"}));
    const auto lines = capture.lines();
    EXPECT_NE(
        std::find(lines.begin(), lines.end(), "Update callback failed: restart warning failed"),
        lines.end());
    EXPECT_NE(
        std::find(lines.begin(), lines.end(), "Update callback failed with an unknown exception"),
        lines.end());
}

TEST_F(CallbackTest, EachNotifyRunsTheCallbacksRegisteredWhenItWasCalled) {
    PublishedService published(fService);
    // A callback may register another one: the client holds no lock while calling it.
    fClient->registerVshUpdateCallback([&] {
        fJournal.add("original");
        fClient->registerVshUpdateCallback([&] { fJournal.add("added"); });
        fJournal.add("registered");
    });

    fClient->notifyVshUpdate();
    ASSERT_TRUE(fJournal.waitFor("registered"));
    fClient->notifyVshUpdate();
    ASSERT_TRUE(fJournal.waitFor("added"));
    EXPECT_EQ(fJournal.entries(), (std::vector<std::string>{"original", "registered", "original",
                                                            "registered", "added"}));
}

TEST_F(CallbackTest, CallbacksAreDroppedWhenTheirServiceGoesAway) {
    auto published = std::make_unique<PublishedService>(fService);
    fClient->registerVshUpdateCallback([&] { fJournal.add("old service"); });
    published.reset();

    auto successor = std::make_shared<FakeConnectorService>();
    PublishedService republished(successor);
    fClient->registerVshUpdateCallback([&] { fJournal.add("new service"); });
    fClient->notifyVshUpdate();
    // One thread, in order: had the old callback been kept it would have run first.
    ASSERT_TRUE(fJournal.waitFor("new service"));
    EXPECT_EQ(fJournal.entries(), std::vector<std::string>{"new service"});
}

TEST_F(CallbackTest, ALesserServiceGoingAwayKeepsTheCallbacks) {
    auto lesser = std::make_shared<FakeConnectorService>();
    PublishedService best(fService, 10);
    auto other = std::make_unique<PublishedService>(lesser, 1);
    fClient->registerVshUpdateCallback([&] { fJournal.add("kept"); });
    other.reset();
    fClient->notifyVshUpdate();
    ASSERT_TRUE(fJournal.waitFor("kept"));
}

TEST_F(CallbackTest, AnEmptyCallbackIsRefused) {
    EXPECT_THROW(fClient->registerVshUpdateCallback({}), std::invalid_argument);
}

TEST(ConnectorClientBundleTest, RegistersTheClientAndUnregistersItAtStop) {
    auto context = foundation::cppmicroservices::getFramework().GetBundleContext();
    std::shared_ptr<RestFcnConnectorClient> client;
    {
        ConnectorClientBundle bundle(context);
        client = bundle.client();
        const auto reference = context.GetServiceReference<RestFcnConnectorClient>();
        ASSERT_TRUE(reference);
        EXPECT_EQ(context.GetService(reference), client);

        auto service = std::make_shared<FakeConnectorService>();
        service->setResult("getStatus", "1");
        PublishedService published(service);
        EXPECT_EQ(client->getStatus(), 1);
    }
    EXPECT_FALSE(context.GetServiceReference<RestFcnConnectorClient>());

    // A client still held after its bundle stopped tracks nothing any more.
    auto service = std::make_shared<FakeConnectorService>();
    PublishedService published(service);
    EXPECT_THROW(client->getStatus(), foundation::core::except::IMsgIDException);
    EXPECT_TRUE(service->calls().empty());
}

}  // namespace
}  // namespace korvan::test
