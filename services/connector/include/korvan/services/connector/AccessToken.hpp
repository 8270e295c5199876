// The personal access token: at least 256 random bits from OpenSSL's generator, written as 64
// lower-case hexadecimal characters, with an expiry instant. A request carries it in
// "Authorization: Bearer <token>"; check() compares in constant time and refuses an expired one.
//
// A token is an immutable value; AccessToken objects may be copied and read from any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

class KORVAN_CONNECTOR_SERVICE_EXPORT AccessToken {
  public:
    using Clock = std::chrono::system_clock;

    enum class Check { Accepted, Wrong, Expired };

    /// Shortest and longest lifetimes changeToken accepts (whole days).
    static constexpr std::uint32_t kMinDays = 1;
    static constexpr std::uint32_t kMaxDays = 365;
    static constexpr std::uint32_t kDefaultDays = 30;

    /// A new random token valid for `days` days from `now`. Throws std::invalid_argument for
    /// a day count outside kMinDays..kMaxDays and std::runtime_error when the generator fails.
    static AccessToken issue(std::uint32_t days, Clock::time_point now = Clock::now());

    /// A token restored from saved settings.
    AccessToken(std::string value, Clock::time_point expiry);
    AccessToken() = default;

    bool empty() const noexcept { return fValue.empty(); }
    const std::string& value() const noexcept { return fValue; }
    Clock::time_point expiry() const noexcept { return fExpiry; }
    /// "dd-MMM-yyyy" (Dates.hpp); empty for an empty token.
    std::string expirationDate() const;

    /// Compares `presented` with the token without an early exit on the first differing byte
    /// (CRYPTO_memcmp over equal lengths); a right token past its expiry gives Expired.
    Check check(std::string_view presented, Clock::time_point now = Clock::now()) const;

  private:
    std::string fValue;
    Clock::time_point fExpiry{};
};

/// The token of an "Authorization" header value "Bearer <token>" (scheme in any letter case),
/// or an empty view when the header has another form.
KORVAN_CONNECTOR_SERVICE_EXPORT std::string_view bearerToken(
    std::string_view authorization) noexcept;

}  // namespace korvan::services::connector
