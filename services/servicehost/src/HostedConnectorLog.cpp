#include "HostedConnectorLog.hpp"

#include <unistd.h>
#include <ctime>

#include "korvan/services/connector/LogFiles.hpp"

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
        const std::string text = line + '\n';
        std::lock_guard lock(fLock);
        const int fd = connector::openLogFile(folder / kConnectorLogFile);
        if (fd < 0) return;  // a symbolic link there is never followed
        [[maybe_unused]] ssize_t written = ::write(fd, text.data(), text.size());
        ::close(fd);
    } catch (...) {
        // dropped: see the header
    }
}

}  // namespace korvan::services::servicehost
