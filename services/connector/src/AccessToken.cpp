#include "korvan/services/connector/AccessToken.hpp"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <array>
#include <stdexcept>

#include "korvan/services/connector/Dates.hpp"

namespace korvan::services::connector {

AccessToken AccessToken::issue(std::uint32_t days, Clock::time_point now) {
    if (days < kMinDays || days > kMaxDays)
        throw std::invalid_argument("A token lifetime is 1 to 365 days");
    std::array<unsigned char, 32> bytes{};  // 256 bits
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1)
        throw std::runtime_error("The random generator failed to make a token");
    static constexpr char kHex[] = "0123456789abcdef";
    std::string value;
    value.reserve(bytes.size() * 2);
    for (unsigned char b : bytes) {
        value.push_back(kHex[b >> 4]);
        value.push_back(kHex[b & 0x0f]);
    }
    OPENSSL_cleanse(bytes.data(), bytes.size());
    return AccessToken(std::move(value), now + std::chrono::hours(24) * days);
}

AccessToken::AccessToken(std::string value, Clock::time_point expiry)
    : fValue(std::move(value)), fExpiry(expiry) {}

std::string AccessToken::expirationDate() const {
    return empty() ? std::string() : formatExpiryDate(fExpiry);
}

AccessToken::Check AccessToken::check(std::string_view presented, Clock::time_point now) const {
    // The length is not secret (always 64); the content is compared without an early exit.
    if (fValue.empty() || presented.size() != fValue.size()) return Check::Wrong;
    if (CRYPTO_memcmp(presented.data(), fValue.data(), fValue.size()) != 0) return Check::Wrong;
    return now < fExpiry ? Check::Accepted : Check::Expired;
}

std::string_view bearerToken(std::string_view authorization) noexcept {
    constexpr std::string_view kScheme = "bearer ";
    if (authorization.size() <= kScheme.size()) return {};
    for (std::size_t i = 0; i < kScheme.size(); ++i) {
        char c = authorization[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != kScheme[i]) return {};
    }
    std::string_view token = authorization.substr(kScheme.size());
    while (!token.empty() && token.front() == ' ') token.remove_prefix(1);
    while (!token.empty() && (token.back() == ' ' || token.back() == '\t')) token.remove_suffix(1);
    return token;
}

}  // namespace korvan::services::connector
