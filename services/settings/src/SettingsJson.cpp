#include "SettingsJson.hpp"

#include <cmath>
#include <limits>
#include <stdexcept>

#include <boost/json.hpp>

namespace korvan::services::settings::detail {

namespace json = boost::json;

namespace {

void member(std::string& out, const char* key, const json::value& value, bool last = false) {
    out += "  \"";
    out += key;
    out += "\": ";
    out += json::serialize(value);
    out += last ? "\n" : ",\n";
}

/// "line 2, column 9" of the character at `offset` (both counted from 1).
std::string position(const std::string& text, std::size_t offset) {
    std::size_t line = 1, column = 1;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

json::value parse(const std::string& text) {
    json::stream_parser parser;
    json::error_code ec;
    const std::size_t used = parser.write(text.data(), text.size(), ec);
    if (ec)
        throw std::runtime_error("is not valid JSON (" + ec.message() + " at " +
                                 position(text, used) + ")");
    parser.finish(ec);
    if (ec) throw std::runtime_error("is not valid JSON (the text ends too early)");
    return parser.release();
}

/// The integer value of `key` within [low, high]; `fallback` when absent.
std::int64_t integer(const json::object& object, const char* key, std::int64_t low,
                     std::int64_t high, std::int64_t fallback) {
    const json::value* value = object.if_contains(key);
    if (!value) return fallback;
    std::int64_t n = 0;
    if (value->is_int64()) {
        n = value->get_int64();
    } else if (value->is_uint64()) {
        if (value->get_uint64() > static_cast<std::uint64_t>(high))
            throw std::runtime_error("has \"" + std::string(key) + "\" " + json::serialize(*value) +
                                     ", outside " + std::to_string(low) + " to " +
                                     std::to_string(high));
        n = static_cast<std::int64_t>(value->get_uint64());
    } else if (value->is_double() && std::isfinite(value->get_double()) &&
               value->get_double() == std::trunc(value->get_double()) &&
               std::fabs(value->get_double()) < 9.0e18) {
        n = static_cast<std::int64_t>(value->get_double());
    } else {
        throw std::runtime_error("has \"" + std::string(key) + "\" " + json::serialize(*value) +
                                 " where a whole number belongs");
    }
    if (n < low || n > high)
        throw std::runtime_error("has \"" + std::string(key) + "\" " + std::to_string(n) +
                                 ", outside " + std::to_string(low) + " to " +
                                 std::to_string(high));
    return n;
}

std::string text(const json::object& object, const char* key) {
    const json::value* value = object.if_contains(key);
    if (!value) return {};
    if (!value->is_string())
        throw std::runtime_error("has \"" + std::string(key) + "\" " + json::serialize(*value) +
                                 " where a text belongs");
    return std::string(value->get_string());
}

}  // namespace

std::string toJson(const ConnectorSettings& s) {
    std::string out = "{\n";
    member(out, "version", kFormatVersion);
    member(out, "port", s.fPort);
    member(out, "logLocation", json::string(s.fLogLocation));
    member(out, "hostName", json::string(s.fHostName));
    member(out, "accessMode", s.fAccessMode);
    member(out, "token", json::string(s.fToken));
    member(out, "tokenExpiry", s.fTokenExpiry);
    member(out, "privateKey", json::string(s.fPrivateKey));
    member(out, "certificate", json::string(s.fCertificate));
    member(out, "restartHour", s.fRestartHour, true);
    out += "}\n";
    return out;
}

ConnectorSettings fromJson(const std::string& input) {
    const json::value root = parse(input);
    if (!root.is_object()) throw std::runtime_error("does not hold a JSON object");
    const json::object& object = root.get_object();
    if (!object.contains("version")) throw std::runtime_error("has no \"version\" member");
    const auto version = integer(object, "version", std::numeric_limits<std::int64_t>::min(),
                                 std::numeric_limits<std::int64_t>::max(), 0);
    if (version != kFormatVersion)
        throw std::runtime_error("has version " + std::to_string(version) +
                                 ", which this program does not know (it reads version " +
                                 std::to_string(kFormatVersion) + ")");

    const ConnectorSettings defaults;
    ConnectorSettings s;
    s.fPort = static_cast<std::uint16_t>(integer(object, "port", 0, 65535, defaults.fPort));
    s.fLogLocation = text(object, "logLocation");
    s.fHostName = text(object, "hostName");
    s.fAccessMode = static_cast<std::int32_t>(integer(object, "accessMode", 0, 1, 0));
    s.fToken = text(object, "token");
    s.fTokenExpiry = integer(object, "tokenExpiry", 0, std::numeric_limits<std::int64_t>::max(), 0);
    s.fPrivateKey = text(object, "privateKey");
    s.fCertificate = text(object, "certificate");
    s.fRestartHour = static_cast<std::int32_t>(integer(object, "restartHour", -1, 23, -1));
    return s;
}

}  // namespace korvan::services::settings::detail
