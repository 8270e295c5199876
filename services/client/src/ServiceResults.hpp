// Reading the JSON results of the connector service's operations into the client's types.
// Every reader throws std::runtime_error naming the operation when the service answered with
// something other than what the operation returns (not JSON, wrong kind, out of range).
// Stateless; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvan::services::client::results {

/// A whole number in [minimum, maximum] (an integral JSON number, whatever its written form).
std::int64_t integer(std::string_view operation, const std::string& result, std::int64_t minimum,
                     std::int64_t maximum);

/// A string (UTF-8).
std::string text(std::string_view operation, const std::string& result);

/// An array of strings.
std::vector<std::string> texts(std::string_view operation, const std::string& result);

}  // namespace korvan::services::client::results
