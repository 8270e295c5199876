// The next occurrence of the preferred restart hour, in local time (see RestartTime.hpp).
#include <ctime>
#include <stdexcept>
#include <string>

#include "korvan/services/servicehost/RestartTime.hpp"

namespace korvan::services::servicehost {

namespace {

using Clock = std::chrono::system_clock;

/// `day` (a local broken-down time) at hh:00:00, plus `dayOffset` days, as a time point.
Clock::time_point atHour(std::tm day, int hour, int dayOffset) {
    day.tm_mday += dayOffset;
    day.tm_hour = hour;
    day.tm_min = 0;
    day.tm_sec = 0;
    day.tm_isdst = -1;  // let the C library decide whether daylight-saving time applies
    const std::time_t seconds = std::mktime(&day);
    if (seconds == static_cast<std::time_t>(-1))
        throw std::runtime_error("The local time of the next restart hour cannot be computed.");
    return Clock::from_time_t(seconds);
}

}  // namespace

Clock::time_point nextRestartTime(Clock::time_point now, int hour) {
    if (hour < 0 || hour > 23)
        throw std::invalid_argument("A restart hour must be 0 to 23, not " + std::to_string(hour) +
                                    ".");
    const std::time_t seconds = Clock::to_time_t(now);
    std::tm local{};
    if (!::localtime_r(&seconds, &local))
        throw std::runtime_error("The local time cannot be computed.");
    if (local.tm_hour == hour) return now;  // inside the preferred hour: restart now

    const Clock::time_point today = atHour(local, hour, 0);
    if (today > now) return today;
    // Today's occurrence has passed. On a day whose hour a daylight-saving change skips,
    // mktime may also place it before `now`; tomorrow's occurrence is then the next one.
    Clock::time_point tomorrow = atHour(local, hour, 1);
    if (tomorrow <= now) tomorrow = atHour(local, hour, 2);
    return tomorrow;
}

}  // namespace korvan::services::servicehost
