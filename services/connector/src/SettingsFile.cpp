#include "SettingsFile.hpp"

#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "foundation/json/Parser.hpp"

namespace korvan::services::connector::detail {

void invalidSettings(const std::filesystem::path& file, const std::string& what,
                     const std::string& problem) {
    throw std::runtime_error("The " + what + " in " + file.string() + " are not valid: " + problem);
}

foundation::json::Value readSettingsObject(const std::filesystem::path& file,
                                           const std::string& what) {
    std::error_code ec;
    if (!std::filesystem::exists(file, ec)) return {};
    std::ifstream in(file, std::ios::binary);
    if (!in) invalidSettings(file, what, "it cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    foundation::json::Value doc;
    try {
        doc = foundation::json::parse(text.str());
    } catch (const std::exception& e) {
        invalidSettings(file, what, std::string("it is not JSON (") + e.what() + ")");
    }
    if (!doc.isObject()) invalidSettings(file, what, "it must be a JSON object");
    return doc;
}

std::size_t wholeSetting(const std::filesystem::path& file, const std::string& what,
                         const std::string& key, const foundation::json::Value& value, double low,
                         double high) {
    const double d = value.isNumber() ? value.asNumber() : NAN;
    if (!(d >= low && d <= high && d == std::floor(d))) {
        std::ostringstream range;
        range << '"' << key << "\" must be a whole number from " << low << " to " << high;
        invalidSettings(file, what, range.str());
    }
    return static_cast<std::size_t>(d);
}

}  // namespace korvan::services::connector::detail
