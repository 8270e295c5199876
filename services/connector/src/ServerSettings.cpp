#include "korvan/services/connector/ServerSettings.hpp"

#include "SettingsFile.hpp"

namespace korvan::services::connector {

Config readServerSettings(const std::filesystem::path& file, Config base) {
    constexpr const char* kWhat = "server settings";
    const foundation::json::Value doc = detail::readSettingsObject(file, kWhat);
    if (!doc.isObject()) return base;  // no file
    for (const auto& [key, value] : doc.asObject()) {
        if (key == "maxConnections") {
            base.fMaxConnections = detail::wholeSetting(file, kWhat, key, value, 1, 100000);
        } else if (key == "maxConnectionsPerAddress") {
            base.fMaxConnectionsPerAddress =
                detail::wholeSetting(file, kWhat, key, value, 0, 100000);
        } else if (key == "maxBodyMiB") {
            base.fBodyLimit = detail::wholeSetting(file, kWhat, key, value, 1, 4096) * 1024 * 1024;
        } else {
            detail::invalidSettings(
                file, kWhat,
                "unknown key \"" + key +
                    "\" (known: maxConnections, maxConnectionsPerAddress, maxBodyMiB)");
        }
    }
    return base;
}

}  // namespace korvan::services::connector
