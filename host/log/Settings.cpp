// Reading the log configuration from the environment (KORVAN_LOG, KORVAN_LOG_CHANNELS,
// KORVAN_LOG_LEVEL; see foundation/log/Config.hpp).
#include <foundation/log/Config.hpp>

#include <cstdlib>
#include <string_view>

#include <boost/algorithm/string/split.hpp>

#include "LogCore.hpp"

namespace foundation::log {

namespace {

std::string_view env(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string_view(value) : std::string_view();
}

Level parseLevel(std::string_view text) {
    const std::string name = detail::trimmed(text);
    for (Level level : {Level::Trace, Level::Debug, Level::Info, Level::Warning, Level::Error}) {
        if (name == levelName(level)) {
            return level;
        }
    }
    return Level::Debug;
}

}  // namespace

Settings Settings::fromEnvironment() {
    Settings settings;
    const std::string output = detail::trimmed(env("KORVAN_LOG"));
    if (output.empty() || output == "off") {
        settings.fOutput = Output::Off;
    } else if (output == "stderr") {
        settings.fOutput = Output::Stderr;
    } else {
        settings.fOutput = Output::File;
        settings.fPath = output;
    }

    std::vector<std::string> names;
    const std::string_view channels = env("KORVAN_LOG_CHANNELS");
    if (!channels.empty()) {
        boost::algorithm::split(names, channels, [](char c) { return c == ','; });
    }
    for (const auto& name : names) {
        std::string channel = detail::trimmed(name);
        if (!channel.empty()) {
            settings.fChannels.push_back(std::move(channel));
        }
    }

    settings.fThreshold = parseLevel(env("KORVAN_LOG_LEVEL"));
    return settings;
}

}  // namespace foundation::log
