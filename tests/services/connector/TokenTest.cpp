// Personal access tokens, the bearer header, expiry dates and access-log lines.
#include <gtest/gtest.h>

#include <set>

#include "korvan/services/connector/AccessLog.hpp"
#include "korvan/services/connector/AccessToken.hpp"
#include "korvan/services/connector/Dates.hpp"

namespace {

using namespace korvan::services::connector;
using Clock = std::chrono::system_clock;
using namespace std::chrono_literals;

Clock::time_point utc(int y, unsigned m, unsigned d, int hour = 0) {
    return std::chrono::sys_days(std::chrono::year(y) / m / d) + std::chrono::hours(hour);
}

TEST(TokenTest, TokensAreLongRandomAndDistinct) {
    std::set<std::string> seen;
    for (int i = 0; i < 50; ++i) {
        const AccessToken t = AccessToken::issue(30);
        ASSERT_EQ(t.value().size(), 64u);  // 256 bits in hex
        EXPECT_EQ(t.value().find_first_not_of("0123456789abcdef"), std::string::npos);
        seen.insert(t.value());
    }
    EXPECT_EQ(seen.size(), 50u);
}

TEST(TokenTest, LifetimeAndExpiryDate) {
    const auto now = utc(2026, 10, 22, 13);
    const AccessToken t = AccessToken::issue(30, now);
    EXPECT_EQ(t.expiry() - now, 30 * 24h);
    EXPECT_EQ(t.expirationDate(), "21-Nov-2026");
    EXPECT_EQ(AccessToken::issue(365, utc(2026, 1, 1)).expirationDate(), "01-Jan-2027");
    for (std::uint32_t days : {0u, 366u, 1000u})
        EXPECT_THROW(AccessToken::issue(days), std::invalid_argument) << days;
    EXPECT_NO_THROW(AccessToken::issue(1));
}

TEST(TokenTest, CheckRefusesWrongAndExpiredTokens) {
    const auto now = utc(2026, 11, 22);
    const AccessToken t = AccessToken::issue(1, now);
    std::string lastByteWrong = t.value();
    lastByteWrong.back() = lastByteWrong.back() == 'a' ? 'b' : 'a';
    std::string firstByteWrong = t.value();
    firstByteWrong.front() = firstByteWrong.front() == 'a' ? 'b' : 'a';

    EXPECT_EQ(t.check(t.value(), now), AccessToken::Check::Accepted);
    EXPECT_EQ(t.check(t.value(), now + 24h - 1s), AccessToken::Check::Accepted);
    EXPECT_EQ(t.check(t.value(), now + 24h), AccessToken::Check::Expired);
    EXPECT_EQ(t.check(lastByteWrong, now), AccessToken::Check::Wrong);
    EXPECT_EQ(t.check(firstByteWrong, now), AccessToken::Check::Wrong);
    EXPECT_EQ(t.check(t.value().substr(0, 63), now), AccessToken::Check::Wrong);
    EXPECT_EQ(t.check(t.value() + "0", now), AccessToken::Check::Wrong);
    EXPECT_EQ(t.check("", now), AccessToken::Check::Wrong);
    // A wrong token stays wrong after expiry (no hint that it was ever close).
    EXPECT_EQ(t.check(lastByteWrong, now + 48h), AccessToken::Check::Wrong);
    // No token issued: nothing is accepted, not even the empty text.
    EXPECT_EQ(AccessToken().check("", now), AccessToken::Check::Wrong);
}

TEST(TokenTest, BearerHeaderForms) {
    struct Case {
        const char* fHeader;
        const char* fToken;
    } cases[] = {
        {"Bearer abc", "abc"}, {"bearer abc", "abc"}, {"BEARER  abc ", "abc"}, {"Basic abc", ""},
        {"Bearer", ""},        {"Bearer ", ""},       {"Bearerabc", ""},       {"", ""},
        {"Token abc", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(bearerToken(c.fHeader), c.fToken) << c.fHeader;
}

TEST(TokenTest, ExpiryDatesUseEnglishMonthsInUtc) {
    const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (unsigned m = 1; m <= 12; ++m)
        EXPECT_EQ(formatExpiryDate(utc(2026, m, 5, 23)),
                  std::string("05-") + months[m - 1] + "-2026");
    EXPECT_EQ(formatExpiryDate(utc(2024, 2, 29)), "29-Feb-2024");
}

TEST(TokenTest, AccessLogLineHasNoQuery) {
    AccessLogEntry e{utc(2026, 11, 22, 6) + 40min + 1s + 123ms,
                     "127.0.0.1",
                     "POST",
                     "/v1/services/math/plus",
                     200,
                     12ms,
                     "5f3a9c21-42",
                     {}};
    EXPECT_EQ(
        formatAccessLogLine(e),
        "2026-11-22T06:40:01.123Z 127.0.0.1 POST /v1/services/math/plus 200 12ms 5f3a9c21-42");
}

}  // namespace
