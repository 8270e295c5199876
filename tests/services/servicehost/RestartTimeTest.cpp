// The next occurrence of the preferred restart hour, in fixed time zones.
#include <gtest/gtest.h>

#include <ctime>
#include <stdexcept>

#include "ServiceHostFixture.hpp"
#include "korvan/services/servicehost/RestartTime.hpp"

namespace korvan::test {
namespace {

using Clock = std::chrono::system_clock;
using korvan::services::servicehost::nextRestartTime;

// Central European time with its daylight-saving rules, written out so that no time zone
// database is needed.
constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

Clock::time_point utc(int year, int month, int day, int hour, int minute = 0, int second = 0) {
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    return Clock::from_time_t(::timegm(&tm));
}

struct Case {
    const char* fWhat;
    Clock::time_point fNow;
    int fHour;
    Clock::time_point fExpected;
};

void check(const Case& c) {
    SCOPED_TRACE(c.fWhat);
    EXPECT_EQ(nextRestartTime(c.fNow, c.fHour), c.fExpected);
}

TEST(RestartTimeTest, InUniversalTime) {
    ScopedTimeZone zone("UTC0");
    const auto afternoon = utc(2026, 11, 22, 14, 30);
    const auto halfSecond = std::chrono::milliseconds(500);
    // clang-format off
    const Case cases[] = {
        {"later today", afternoon, 15, utc(2026, 11, 22, 15)},
        {"last hour of today", afternoon, 23, utc(2026, 11, 22, 23)},
        {"inside the hour: now", afternoon, 14, afternoon},
        {"start of the hour: now", utc(2026, 11, 22, 14), 14, utc(2026, 11, 22, 14)},
        {"end of the hour: now", utc(2026, 11, 22, 14, 59, 59) + halfSecond, 14, utc(2026, 11, 22, 14, 59, 59) + halfSecond},
        {"half a second before the hour", utc(2026, 11, 22, 14, 59, 59) + halfSecond, 15, utc(2026, 11, 22, 15)},
        {"passed: tomorrow", afternoon, 13, utc(2026, 11, 23, 13)},
        {"midnight: tomorrow", afternoon, 0, utc(2026, 11, 23, 0)},
        {"one second before midnight", utc(2026, 11, 22, 23, 59, 59), 0, utc(2026, 11, 23, 0)},
        {"new year", utc(2026, 12, 31, 23, 30), 0, utc(2027, 1, 1, 0)},
        {"leap day", utc(2028, 2, 28, 5), 4, utc(2028, 2, 29, 4)},
    };
    // clang-format on
    for (const auto& c : cases) check(c);
}

TEST(RestartTimeTest, InCentralEuropeAcrossDaylightSavingChanges) {
    ScopedTimeZone zone(kCentralEurope);
    // 2026-03-29 01:00 UTC: 02:00 CET becomes 03:00 CEST. 2026-10-25 01:00 UTC: 03:00 CEST
    // becomes 02:00 CET.
    const Case cases[] = {
        {"winter, later today", utc(2026, 1, 10, 8), 12, utc(2026, 1, 10, 11)},
        {"summer, tomorrow", utc(2026, 7, 10, 18), 6, utc(2026, 7, 11, 4)},
        {"night of the spring change, 01:00", utc(2026, 3, 28, 23, 30), 1, utc(2026, 3, 29, 0)},
        {"night of the spring change, 03:00", utc(2026, 3, 28, 23, 30), 3, utc(2026, 3, 29, 1)},
        {"night of the spring change, 04:00", utc(2026, 3, 28, 23, 30), 4, utc(2026, 3, 29, 2)},
        {"across the spring change: 22 hours", utc(2026, 3, 28, 12), 12, utc(2026, 3, 29, 10)},
        {"across the autumn change: 24 hours", utc(2026, 10, 24, 10), 11, utc(2026, 10, 25, 10)},
        {"inside the hour in summer time", utc(2026, 7, 10, 10, 15), 12, utc(2026, 7, 10, 10, 15)},
    };
    for (const auto& c : cases) check(c);
}

TEST(RestartTimeTest, HoursThatAChangeSkipsOrRepeatsGiveALaterTime) {
    ScopedTimeZone zone(kCentralEurope);
    // 02:00 does not exist on 2026-03-29 and exists twice on 2026-10-25.
    for (const auto now : {utc(2026, 3, 28, 23, 30), utc(2026, 3, 28, 20), utc(2026, 10, 24, 22),
                           utc(2026, 10, 24, 23, 30)}) {
        for (int hour = 0; hour < 24; ++hour) {
            const auto next = nextRestartTime(now, hour);
            EXPECT_GE(next, now) << hour;
            EXPECT_LE(next, now + std::chrono::hours(26)) << hour;
        }
    }
    const auto autumn = nextRestartTime(utc(2026, 10, 24, 22), 2);
    EXPECT_TRUE(autumn == utc(2026, 10, 25, 0) || autumn == utc(2026, 10, 25, 1));
}

TEST(RestartTimeTest, RefusesHoursOutsideTheDay) {
    const auto now = Clock::now();
    for (int hour : {-1, 24, 1000}) EXPECT_THROW(nextRestartTime(now, hour), std::invalid_argument);
}

}  // namespace
}  // namespace korvan::test
