// The settings one round of the killed writer stores, all derived from the round's counter, so
// that a file holding parts of two rounds does not pass roundOf().
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::test {

/// Long enough that a write takes a while and a torn file would be visible.
inline std::string roundHostName(std::int64_t counter) {
    return "round-" + std::to_string(counter) + "-" + std::string(16384, 'p');
}

inline void applyRound(korvan::services::settings::ConnectorSettings& s, std::int64_t counter) {
    s.fTokenExpiry = counter;
    s.fPort = static_cast<std::uint16_t>(1024 + counter % 60000);
    s.fHostName = roundHostName(counter);
    s.fLogLocation = "/var/log/korvan-round-" + std::to_string(counter);
    s.fToken = "token-" + std::to_string(counter);
}

/// The round whose settings `s` holds, or nullopt when its members belong to different rounds
/// (or to none). Counter 0 with default settings is the state before any round.
inline std::optional<std::int64_t> roundOf(const korvan::services::settings::ConnectorSettings& s) {
    if (s == korvan::services::settings::ConnectorSettings{}) return 0;
    korvan::services::settings::ConnectorSettings expected = s;
    applyRound(expected, s.fTokenExpiry);
    if (expected != s) return std::nullopt;
    return s.fTokenExpiry;
}

}  // namespace korvan::test
