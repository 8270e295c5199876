// Reading the JSON arguments of the hosted connector's operations and writing their results.
// Every refusal is a std::invalid_argument naming the operation and the member, e.g.
//   setPort needs "port": a whole number from 0 to 65535
//
// Threads: any thread; no shared state.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/object.hpp>

namespace korvan::services::servicehost::detail {

/// The arguments text as an object; an empty text counts as "{}".
boost::json::object parseArguments(std::string_view operation, const std::string& arguments);

/// A whole number within [low, high] (integers, or doubles with a whole value).
std::int64_t wholeNumber(std::string_view operation, const boost::json::object& arguments,
                         std::string_view key, std::int64_t low, std::int64_t high);
std::string text(std::string_view operation, const boost::json::object& arguments,
                 std::string_view key);
/// An optional text member: empty when absent or null.
std::string optionalText(std::string_view operation, const boost::json::object& arguments,
                         std::string_view key);
/// An optional array of texts: empty when absent or null.
std::vector<std::string> optionalTexts(std::string_view operation,
                                       const boost::json::object& arguments, std::string_view key);

}  // namespace korvan::services::servicehost::detail
