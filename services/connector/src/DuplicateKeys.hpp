// Finds a key that appears twice in one object of a JSON text (internal). A request body with
// one is refused rather than have one of the two silently win. Stateless; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvan::services::connector::detail {

/// The first key found twice in one object of `json`, or nothing (also for a text that does
/// not parse: its parse error is reported elsewhere).
std::optional<std::string> duplicateKey(std::string_view json);

}  // namespace korvan::services::connector::detail
