// Publishing and update flips of the service host, against the host's real service registry.
#include <gmock/gmock.h>

#include <future>
#include <thread>

#include <cppmicroservices/ServiceReference.h>

#include "ServiceHostFixture.hpp"
#include "korvanconnector/vshupdateflip/IVshupdateflipClient.hpp"

namespace korvan::test {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using UpdateFlip = korvanconnector::vshupdateflip::IVshupdateflipClient;

TEST_F(ServiceHostTest, StartPublishesTheConnectorUnderItsClientIdAndTheUpdateFlipService) {
    auto& tracker = openTracker();
    auto& host = makeHost();
    EXPECT_EQ(tracker.GetTrackingCount(), 0);
    EXPECT_TRUE(fContext.GetServiceReferences<UpdateFlip>().empty());

    host.start();
    ASSERT_TRUE(host.isUp());
    ASSERT_EQ(tracker.Size(), 1u);
    EXPECT_EQ(tracker.GetService(), host.current());
    EXPECT_THAT(events(), ElementsAre("added 1"));

    const auto reference = tracker.GetServiceReference();
    EXPECT_EQ(cppmicroservices::any_cast<std::string>(reference.GetProperty("spf.clientid")),
              "restfcnconnectorservice");
    EXPECT_EQ(cppmicroservices::any_cast<int>(reference.GetProperty("spf.version.major")), 1);
    EXPECT_EQ(cppmicroservices::any_cast<int>(reference.GetProperty("spf.version.minor")), 0);

    // The update-flip service in the registry keeps the same hour as the host.
    const auto flipReferences = fContext.GetServiceReferences<UpdateFlip>();
    ASSERT_EQ(flipReferences.size(), 1u);
    auto updateFlip = fContext.GetService(flipReferences.front());
    ASSERT_TRUE(updateFlip);
    EXPECT_TRUE(updateFlip->setPreferredRestartHour(4));
    EXPECT_EQ(host.getPreferredRestartHour(), 4);

    // A second start changes nothing.
    host.start();
    EXPECT_EQ(tracker.Size(), 1u);
    EXPECT_EQ(fContext.GetServiceReferences<UpdateFlip>().size(), 1u);
    EXPECT_EQ(fFactory.made().size(), 1u);
}

TEST_F(ServiceHostTest, FlipTellsTheClientsThenRemovesThenShutsDownThenAdds) {
    auto& tracker = openTracker();
    auto& host = makeHost();
    host.start();
    auto first = registerClient("a");
    auto second = registerClient("b");
    fLog->clear();

    host.flip();

    const auto log = events();
    ASSERT_EQ(log.size(), 5u);
    EXPECT_THAT(std::vector<std::string>(log.begin(), log.begin() + 2),
                UnorderedElementsAre("notify a", "notify b"));
    EXPECT_THAT(std::vector<std::string>(log.begin() + 2, log.end()),
                ElementsAre("removed 1", "shutdown 1", "added 2"));
    // The registry delivered both events on the flipping thread.
    EXPECT_EQ(fRecorder.lastThread(), std::this_thread::get_id());

    EXPECT_EQ(host.flipCount(), 1u);
    ASSERT_EQ(fFactory.made().size(), 2u);
    EXPECT_EQ(fFactory.made()[0]->shutdowns(), 1);
    EXPECT_EQ(fFactory.made()[1]->shutdowns(), 0);
    EXPECT_EQ(host.current(), fFactory.made()[1]);
    EXPECT_EQ(tracker.GetService(), fFactory.made()[1]);
    EXPECT_EQ(first->notified(), 1);
    EXPECT_EQ(second->notified(), 1);
}

TEST_F(ServiceHostTest, FlipHalvesAreIdempotent) {
    auto& tracker = openTracker();
    auto& host = makeHost();
    host.start();
    auto client = registerClient("a");
    host.flipUp();  // already up
    EXPECT_EQ(fFactory.made().size(), 1u);
    fLog->clear();

    host.flipDown();
    EXPECT_THAT(events(), ElementsAre("notify a", "removed 1", "shutdown 1"));
    EXPECT_FALSE(host.isUp());
    EXPECT_EQ(host.current(), nullptr);
    EXPECT_EQ(tracker.Size(), 0u);

    host.flipDown();  // already down: nobody is told again
    EXPECT_EQ(fLog->size(), 3u);
    EXPECT_EQ(host.flipCount(), 0u);

    host.flipUp();
    EXPECT_THAT(events(), ElementsAre("notify a", "removed 1", "shutdown 1", "added 2"));
    EXPECT_EQ(host.flipCount(), 1u);
    EXPECT_TRUE(host.isUp());

    host.flipUp();
    EXPECT_EQ(fLog->size(), 4u);
    EXPECT_EQ(host.flipCount(), 1u);
    EXPECT_EQ(fFactory.made().size(), 2u);
    EXPECT_EQ(client->notified(), 1);
}

TEST_F(ServiceHostTest, StopUnregistersBothAndStartPublishesAFreshInstance) {
    auto& tracker = openTracker();
    auto& host = makeHost();
    host.start();
    auto client = registerClient("a");
    host.stop();

    EXPECT_THAT(events(), ElementsAre("added 1", "removed 1", "shutdown 1"));
    EXPECT_EQ(client->notified(), 0);  // stopping is not an update
    EXPECT_EQ(tracker.Size(), 0u);
    EXPECT_TRUE(fContext.GetServiceReferences<UpdateFlip>().empty());
    EXPECT_THROW(host.flip(), std::logic_error);
    EXPECT_THROW(host.flipUp(), std::logic_error);
    EXPECT_THROW(host.flipDown(), std::logic_error);
    host.stop();  // again: nothing

    host.start();
    EXPECT_EQ(tracker.Size(), 1u);
    EXPECT_EQ(tracker.GetService(), fFactory.made().at(1));
    EXPECT_EQ(host.flipCount(), 0u);  // a restart is not a flip
}

TEST_F(ServiceHostTest, DestructorUnregistersAndShutsDown) {
    auto& tracker = openTracker();
    makeHost().start();
    fHost.reset();
    EXPECT_EQ(tracker.Size(), 0u);
    EXPECT_TRUE(fContext.GetServiceReferences<UpdateFlip>().empty());
    EXPECT_EQ(fFactory.made().at(0)->shutdowns(), 1);
}

TEST_F(ServiceHostTest, FactoryFailureLeavesTheHostDownUntilAnUpSucceeds) {
    auto& tracker = openTracker();
    auto& host = makeHost();
    host.start();
    fFactory.failNext(1);

    EXPECT_THROW(host.flip(), std::runtime_error);
    EXPECT_FALSE(host.isUp());
    EXPECT_EQ(tracker.Size(), 0u);
    EXPECT_EQ(host.flipCount(), 0u);

    host.flipUp();
    EXPECT_TRUE(host.isUp());
    EXPECT_EQ(host.flipCount(), 1u);
    EXPECT_THAT(events(), ElementsAre("added 1", "removed 1", "shutdown 1", "added 2"));
}

TEST_F(ServiceHostTest, StartFailureWithdrawsTheUpdateFlipService) {
    auto& host = makeHost();
    fFactory.failNext(1);
    EXPECT_THROW(host.start(), std::runtime_error);
    EXPECT_TRUE(fContext.GetServiceReferences<UpdateFlip>().empty());
    EXPECT_THROW(host.flip(), std::logic_error);
    host.start();
    EXPECT_TRUE(host.isUp());
}

TEST_F(ServiceHostTest, AFailingClientDoesNotStopTheFlip) {
    openTracker();
    auto& host = makeHost();
    host.start();
    auto failing = registerClient("a");
    failing->throwOnNotify(true);
    auto other = registerClient("b");

    host.flip();
    EXPECT_EQ(failing->notified(), 1);
    EXPECT_EQ(other->notified(), 1);
    EXPECT_EQ(host.flipCount(), 1u);
    EXPECT_TRUE(host.isUp());
}

TEST_F(ServiceHostTest, AFlipFromARegistryHandlerIsRefusedInsteadOfDeadlocking) {
    std::promise<std::string> outcome;
    auto& host = makeHost();
    fRecorder.onEvent = [&](const std::string& what) {
        if (what != "removed") return;
        const std::string up = host.isUp() ? "up" : "down";
        try {
            host.flip();
            outcome.set_value("flipped, " + up);
        } catch (const std::logic_error&) {
            outcome.set_value("refused, " + up);
        }
    };
    openTracker();
    host.start();
    // The handler may read the host's state while the flip holds the flip lock.
    auto done = std::async(std::launch::async, [&] { host.flipDown(); });
    ASSERT_EQ(done.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    done.get();
    auto result = outcome.get_future();
    ASSERT_EQ(result.wait_for(std::chrono::seconds(1)), std::future_status::ready);
    EXPECT_EQ(result.get(), "refused, down");
    fRecorder.onEvent = nullptr;
    EXPECT_FALSE(host.isUp());
}

TEST_F(ServiceHostTest, ConcurrentFlipsAreSerialised) {
    auto& tracker = openTracker();
    auto& host = makeHost();
    host.start();
    constexpr int kThreads = 4;
    constexpr int kFlips = 10;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&host, t] {
            for (int i = 0; i < kFlips; ++i) {
                if ((t + i) % 3 == 0) {
                    host.flipDown();
                    host.flipUp();
                } else {
                    host.flip();
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();

    EXPECT_TRUE(host.isUp());
    EXPECT_EQ(tracker.Size(), 1u);
    // Every instance but the last was removed and shut down exactly once, in turn: the log
    // alternates added n / removed n / shutdown n with n increasing.
    const auto made = fFactory.made();
    ASSERT_GE(made.size(), 2u);
    EXPECT_EQ(host.flipCount(), made.size() - 1);
    std::vector<std::string> expected;
    for (std::size_t n = 1; n <= made.size(); ++n) {
        expected.push_back("added " + std::to_string(n));
        if (n == made.size()) break;
        expected.push_back("removed " + std::to_string(n));
        expected.push_back("shutdown " + std::to_string(n));
    }
    EXPECT_EQ(events(), expected);
    for (std::size_t n = 0; n + 1 < made.size(); ++n) EXPECT_EQ(made[n]->shutdowns(), 1);
    EXPECT_EQ(made.back()->shutdowns(), 0);
}

}  // namespace
}  // namespace korvan::test
