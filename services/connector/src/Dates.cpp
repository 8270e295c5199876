#include "korvan/services/connector/Dates.hpp"

#include <cstdio>
#include <ctime>

namespace korvan::services::connector {

std::string formatExpiryDate(std::chrono::system_clock::time_point when) {
    // Month names spelled here rather than by strftime: the process locale must not matter.
    static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::time_t t = std::chrono::system_clock::to_time_t(when);
    std::tm utc{};
    gmtime_r(&t, &utc);
    char text[32];
    std::snprintf(text, sizeof text, "%02d-%s-%04d", utc.tm_mday, kMonths[utc.tm_mon],
                  utc.tm_year + 1900);
    return text;
}

}  // namespace korvan::services::connector
