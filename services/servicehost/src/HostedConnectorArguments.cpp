#include "HostedConnectorArguments.hpp"

#include <cmath>
#include <stdexcept>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace korvan::services::servicehost::detail {

namespace json = boost::json;

namespace {

[[noreturn]] void refuse(std::string_view operation, std::string_view key, std::string_view what) {
    throw std::invalid_argument(std::string(operation) + " needs \"" + std::string(key) +
                                "\": " + std::string(what));
}

}  // namespace

json::object parseArguments(std::string_view operation, const std::string& arguments) {
    if (arguments.empty() || arguments == "{}") return {};  // most operations take nothing
    json::error_code ec;
    json::value value = json::parse(arguments, ec);
    if (ec)
        throw std::invalid_argument("The arguments of " + std::string(operation) +
                                    " are not JSON: " + ec.message());
    if (!value.is_object())
        throw std::invalid_argument("The arguments of " + std::string(operation) +
                                    " must be a JSON object, not " + json::serialize(value));
    return std::move(value.get_object());
}

std::int64_t wholeNumber(std::string_view operation, const json::object& arguments,
                         std::string_view key, std::int64_t low, std::int64_t high) {
    const std::string range =
        "a whole number from " + std::to_string(low) + " to " + std::to_string(high);
    const json::value* value = arguments.if_contains(key);
    if (!value) refuse(operation, key, range);
    double n = 0;
    if (value->is_int64())
        n = static_cast<double>(value->get_int64());
    else if (value->is_uint64())
        n = static_cast<double>(value->get_uint64());
    else if (value->is_double())
        n = value->get_double();
    else
        refuse(operation, key, range + ", not " + json::serialize(*value));
    if (!std::isfinite(n) || n != std::trunc(n) || n < static_cast<double>(low) ||
        n > static_cast<double>(high))
        refuse(operation, key, range + ", not " + json::serialize(*value));
    return static_cast<std::int64_t>(n);
}

std::string text(std::string_view operation, const json::object& arguments, std::string_view key) {
    const json::value* value = arguments.if_contains(key);
    if (!value || !value->is_string()) refuse(operation, key, "a text");
    return std::string(value->get_string());
}

std::string optionalText(std::string_view operation, const json::object& arguments,
                         std::string_view key) {
    const json::value* value = arguments.if_contains(key);
    if (!value || value->is_null()) return {};
    if (!value->is_string()) refuse(operation, key, "a text");
    return std::string(value->get_string());
}

std::vector<std::string> optionalTexts(std::string_view operation, const json::object& arguments,
                                       std::string_view key) {
    const json::value* value = arguments.if_contains(key);
    if (!value || value->is_null()) return {};
    if (!value->is_array()) refuse(operation, key, "an array of texts");
    std::vector<std::string> texts;
    for (const json::value& element : value->get_array()) {
        if (!element.is_string()) refuse(operation, key, "an array of texts");
        texts.emplace_back(element.get_string());
    }
    return texts;
}

}  // namespace korvan::services::servicehost::detail
