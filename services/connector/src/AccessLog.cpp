#include "korvan/services/connector/AccessLog.hpp"

#include <cstdio>
#include <ctime>
#include <stdexcept>

namespace korvan::services::connector {

std::string formatAccessLogLine(const AccessLogEntry& entry) {
    using namespace std::chrono;
    const auto t = system_clock::to_time_t(entry.fTime);
    const auto millis = duration_cast<milliseconds>(entry.fTime.time_since_epoch()).count() % 1000;
    std::tm utc{};
    gmtime_r(&t, &utc);
    char stamp[96];
    std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                  static_cast<int>(millis));
    return std::string(stamp) + ' ' + entry.fAddress + ' ' + entry.fMethod + ' ' + entry.fPath +
           ' ' + std::to_string(entry.fStatus) + ' ' + std::to_string(entry.fDuration.count()) +
           "ms";
}

AccessLog::AccessLog(const std::filesystem::path& folder) {
    if (folder.empty()) return;
    const auto path = folder / kAccessLogFile;
    fStream.open(path, std::ios::app);
    if (!fStream) throw std::runtime_error("Cannot open the access log " + path.string());
}

void AccessLog::write(const AccessLogEntry& entry) {
    const std::string line = formatAccessLogLine(entry);
    std::lock_guard lock(fLock);
    if (!fStream.is_open()) return;
    fStream << line << '\n';
}

void AccessLog::flush() {
    std::lock_guard lock(fLock);
    if (fStream.is_open()) fStream.flush();
}

}  // namespace korvan::services::connector
