// Reading the small JSON settings files of the connector (workers.json, server.json): an
// object of known keys, each checked; anything wrong fails with a message that names the file
// and the key, never silently ignored (internal).
#pragma once

#include <filesystem>
#include <string>

#include "foundation/json/Value.hpp"

namespace korvan::services::connector::detail {

/// Throws std::runtime_error "The <what> in <file> are not valid: <problem>".
[[noreturn]] void invalidSettings(const std::filesystem::path& file, const std::string& what,
                                  const std::string& problem);

/// The file's JSON object; a null value when the file does not exist. Throws (as above) when it
/// cannot be read, is not JSON or is not an object.
foundation::json::Value readSettingsObject(const std::filesystem::path& file,
                                           const std::string& what);

/// A whole number in [low, high] under `key`; throws (as above) saying the range otherwise.
std::size_t wholeSetting(const std::filesystem::path& file, const std::string& what,
                         const std::string& key, const foundation::json::Value& value, double low,
                         double high);

}  // namespace korvan::services::connector::detail
