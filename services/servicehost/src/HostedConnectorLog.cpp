#include "HostedConnectorLog.hpp"

#include <ctime>
#include <fstream>

namespace korvan::services::servicehost {

std::string formatConnectorLogLine(std::chrono::system_clock::time_point when,
                                   std::string_view text) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &parts);
    std::string line = stamp;
    line += ' ';
    line += text;
    return line;
}

void HostedConnectorLog::write(const std::filesystem::path& folder,
                               std::string_view text) noexcept {
    try {
        const std::string line = formatConnectorLogLine(std::chrono::system_clock::now(), text);
        std::lock_guard lock(fLock);
        std::ofstream out(folder / kConnectorLogFile, std::ios::app);
        if (out) out << line << '\n';
    } catch (...) {
        // dropped: see the header
    }
}

}  // namespace korvan::services::servicehost
