// The JSON form of ConnectorSettings in connector.json (exported for the settings file fuzzer):
//
//   {"version": 1, "port": 9920, "logLocation": "", "hostName": "", "accessMode": 0,
//    "token": "", "tokenExpiry": 0, "privateKey": "", "certificate": "", "restartHour": -1}
//
// "version" is required and must be 1. A member that is absent takes its default (so a file
// written before a member existed still loads); a member of the wrong kind or out of range makes
// the whole file unusable. Unknown members are ignored.
#pragma once

#include <string>

#include "korvan/services/settings/Export.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::services::settings::detail {

inline constexpr int kFormatVersion = 1;

/// The file's text: one member per line, readable by a person.
KORVAN_SETTINGS_EXPORT std::string toJson(const ConnectorSettings& settings);

/// Reads the file's text. Throws std::runtime_error whose what() completes the sentence
/// "The settings file <path> ...", e.g. "is not valid JSON (syntax error at line 2, column 9)".
KORVAN_SETTINGS_EXPORT ConnectorSettings fromJson(const std::string& text);

}  // namespace korvan::services::settings::detail
