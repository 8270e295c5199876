#include "ServiceResults.hpp"

#include <charconv>
#include <cmath>
#include <stdexcept>

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include "rest/kv/connectorservice/Operations.hpp"

namespace korvan::services::client::results {

namespace {

[[noreturn]] void unexpected(std::string_view operation, const std::string& result) {
    throw std::runtime_error("The connector service gave an unexpected result for " +
                             std::string(operation) + ": " + result);
}

boost::json::value parsed(std::string_view operation, const std::string& result) {
    boost::system::error_code error;
    boost::json::value value = boost::json::parse(result, error);
    if (error) {
        unexpected(operation, result);
    }
    return value;
}

// The value of an integral JSON number, or nothing when it is not one that fits int64.
bool integerOf(const boost::json::value& value, std::int64_t& out) {
    if (value.is_int64()) {
        out = value.get_int64();
        return true;
    }
    if (value.is_uint64()) {
        if (value.get_uint64() > static_cast<std::uint64_t>(INT64_MAX)) return false;
        out = static_cast<std::int64_t>(value.get_uint64());
        return true;
    }
    if (value.is_double()) {
        const double d = value.get_double();
        // 2^63 is exactly representable; anything at or beyond it does not fit.
        if (!std::isfinite(d) || d != std::trunc(d) || d < -9223372036854775808.0 ||
            d >= 9223372036854775808.0) {
            return false;
        }
        out = static_cast<std::int64_t>(d);
        return true;
    }
    return false;
}

}  // namespace

std::int64_t integer(std::string_view operation, const std::string& result, std::int64_t minimum,
                     std::int64_t maximum) {
    std::int64_t number = 0;
    // The service writes integers as plain digits: read those without building a JSON value
    // (property reads are the hot path); anything else goes through the parser.
    const char* const end = result.data() + result.size();
    const auto [stop, error] = std::from_chars(result.data(), end, number);
    const bool plain = error == std::errc() && stop == end && !result.empty() &&
                       (result.size() == 1 || result[result.front() == '-' ? 1 : 0] != '0');
    if (!plain && !integerOf(parsed(operation, result), number)) {
        unexpected(operation, result);
    }
    if (number < minimum || number > maximum) {
        unexpected(operation, result);
    }
    return number;
}

std::string text(std::string_view operation, const std::string& result) {
    // A quoted run of printable ASCII without escapes is its own content: no parser needed.
    if (result.size() >= 2 && result.front() == '"' && result.back() == '"' &&
        rest::kv::connectorservice::isPlainJsonText(
            std::string_view(result).substr(1, result.size() - 2))) {
        return result.substr(1, result.size() - 2);
    }
    const boost::json::value value = parsed(operation, result);
    if (!value.is_string()) {
        unexpected(operation, result);
    }
    return std::string(value.get_string());
}

std::vector<std::string> texts(std::string_view operation, const std::string& result) {
    const boost::json::value value = parsed(operation, result);
    if (!value.is_array()) {
        unexpected(operation, result);
    }
    std::vector<std::string> out;
    out.reserve(value.get_array().size());
    for (const auto& element : value.get_array()) {
        if (!element.is_string()) {
            unexpected(operation, result);
        }
        out.emplace_back(element.get_string());
    }
    return out;
}

}  // namespace korvan::services::client::results
