// The scheduled update flip, driven by a test clock: the schedule thread re-reads the clock
// every millisecond, so moving the clock is enough to make it act.
#include <gmock/gmock.h>

#include <atomic>
#include <future>

#include "ServiceHostFixture.hpp"

namespace korvan::test {
namespace {

using Clock = std::chrono::system_clock;
using ::testing::ElementsAre;

/// A wall clock that only the test moves.
class TestClock {
  public:
    explicit TestClock(Clock::time_point start) : fTicks(start.time_since_epoch().count()) {}
    Clock::time_point now() const { return Clock::time_point(Clock::duration(fTicks.load())); }
    void set(Clock::time_point when) { fTicks = when.time_since_epoch().count(); }

  private:
    std::atomic<Clock::rep> fTicks;
};

Clock::time_point utcToday(int hour, int minute = 0) {
    // 2026-11-22 00:00:00 UTC (1795305600 s); the tests run with TZ=UTC0.
    return Clock::from_time_t(1795305600) + std::chrono::hours(hour) + std::chrono::minutes(minute);
}

class ScheduleTest : public ServiceHostTest {
  protected:
    ServiceHostOptions clockedOptions(
        std::chrono::milliseconds poll = std::chrono::milliseconds(1)) {
        auto opts = options();
        opts.fNow = [this] { return fClock.now(); };
        opts.fPollInterval = poll;
        return opts;
    }

    ScopedTimeZone fZone{"UTC0"};
    TestClock fClock{utcToday(10, 30)};
};

TEST_F(ScheduleTest, TheFlipHappensWhenTheClockReachesThePreferredHour) {
    openTracker();
    auto& host = makeHost(clockedOptions());
    host.start();
    ASSERT_TRUE(host.setPreferredRestartHour(12));
    auto client = registerClient("a");

    host.scheduleUpdate();
    EXPECT_EQ(client->notified(), 1);  // announced at once
    ASSERT_TRUE(host.scheduledFlip().has_value());
    EXPECT_EQ(*host.scheduledFlip(), utcToday(12));

    fClock.set(utcToday(11, 59));
    // The thread re-reads the clock every millisecond; give it many chances to act wrongly.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(host.flipCount(), 0u);
    EXPECT_TRUE(host.scheduledFlip().has_value());

    fClock.set(utcToday(12));
    ASSERT_TRUE(waitUntil([&] { return host.flipCount() == 1; }));
    EXPECT_FALSE(host.scheduledFlip().has_value());
    EXPECT_EQ(client->notified(), 2);  // and told again by the flip itself
    EXPECT_THAT(events(), ElementsAre("added 1", "notify a", "notify a", "removed 1", "shutdown 1",
                                      "added 2"));
}

TEST_F(ScheduleTest, WithoutAPreferredHourTheFlipHappensAtOnce) {
    auto& host = makeHost(clockedOptions());
    host.start();
    host.scheduleUpdate();
    ASSERT_TRUE(waitUntil([&] { return host.flipCount() == 1; }));
    EXPECT_TRUE(host.isUp());
    EXPECT_EQ(fFactory.made().at(0)->shutdowns(), 1);
}

TEST_F(ScheduleTest, InsideThePreferredHourTheFlipHappensAtOnce) {
    auto& host = makeHost(clockedOptions());
    host.start();
    ASSERT_TRUE(host.setPreferredRestartHour(10));  // the clock says 10:30
    host.scheduleUpdate();
    ASSERT_TRUE(waitUntil([&] { return host.flipCount() == 1; }));
}

TEST_F(ScheduleTest, APassedHourMeansTomorrow) {
    auto& host = makeHost(clockedOptions());
    host.start();
    ASSERT_TRUE(host.setPreferredRestartHour(9));
    host.scheduleUpdate();
    ASSERT_TRUE(host.scheduledFlip().has_value());
    EXPECT_EQ(*host.scheduledFlip(), utcToday(9) + std::chrono::hours(24));
}

TEST_F(ScheduleTest, ALaterRequestKeepsThePendingTime) {
    auto& host = makeHost(clockedOptions());
    host.start();
    auto client = registerClient("a");
    ASSERT_TRUE(host.setPreferredRestartHour(12));
    host.scheduleUpdate();
    ASSERT_TRUE(host.setPreferredRestartHour(11));

    host.scheduleUpdate();
    ASSERT_TRUE(host.scheduledFlip().has_value());
    EXPECT_EQ(*host.scheduledFlip(), utcToday(12));
    EXPECT_EQ(client->notified(), 1);

    fClock.set(utcToday(12, 1));
    ASSERT_TRUE(waitUntil([&] { return host.flipCount() == 1; }));
    // After the flip a new request plans afresh, with the hour now set.
    host.scheduleUpdate();
    ASSERT_TRUE(host.scheduledFlip().has_value());
    EXPECT_EQ(*host.scheduledFlip(), utcToday(11) + std::chrono::hours(24));
}

TEST_F(ScheduleTest, StopCancelsThePendingFlip) {
    auto& host = makeHost(clockedOptions());
    host.start();
    ASSERT_TRUE(host.setPreferredRestartHour(12));
    host.scheduleUpdate();
    host.stop();
    EXPECT_FALSE(host.scheduledFlip().has_value());
    fClock.set(utcToday(13));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(host.flipCount(), 0u);
    EXPECT_EQ(fFactory.made().size(), 1u);
    EXPECT_THROW(host.scheduleUpdate(), std::logic_error);  // not started
}

TEST_F(ScheduleTest, TheDestructorCancelsAPendingFlipWithoutWaitingForIt) {
    openTracker();
    // A poll interval of an hour: the thread sleeps until the destructor wakes it.
    makeHost(clockedOptions(std::chrono::hours(1))).start();
    ASSERT_TRUE(fHost->setPreferredRestartHour(12));
    fHost->scheduleUpdate();
    ASSERT_TRUE(fHost->scheduledFlip().has_value());

    auto destroyed = std::async(std::launch::async, [this] { fHost.reset(); });
    ASSERT_EQ(destroyed.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    destroyed.get();
    ASSERT_EQ(fFactory.made().size(), 1u);
    EXPECT_EQ(fFactory.made()[0]->shutdowns(), 1);
    EXPECT_THAT(events(), ElementsAre("added 1", "removed 1", "shutdown 1"));
}

}  // namespace
}  // namespace korvan::test
