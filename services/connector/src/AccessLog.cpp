#include "korvan/services/connector/AccessLog.hpp"

#include "korvan/services/connector/LogFiles.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace korvan::services::connector {

namespace {

// Appends the line for `entry` to `out`.
void appendLine(std::string& out, const AccessLogEntry& entry) {
    using namespace std::chrono;
    const auto t = system_clock::to_time_t(entry.fTime);
    const auto millis = duration_cast<milliseconds>(entry.fTime.time_since_epoch()).count() % 1000;
    std::tm utc{};
    gmtime_r(&t, &utc);
    char stamp[96];
    std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                  static_cast<int>(millis));
    char numbers[48];
    std::snprintf(numbers, sizeof numbers, " %u %lldms", entry.fStatus,
                  static_cast<long long>(entry.fDuration.count()));
    // Method and path are as the client sent them: escaped, so a line holds nothing else.
    out.append(stamp).append(1, ' ').append(entry.fAddress).append(1, ' ');
    out.append(escapedForLog(entry.fMethod)).append(1, ' ').append(escapedForLog(entry.fPath));
    out.append(numbers);
    if (!entry.fRequestId.empty()) out.append(1, ' ').append(entry.fRequestId);
}

// A message from a function may hold line ends or other control characters; written as
// escapes, one failure stays one line.
void appendEscaped(std::string& out, std::string_view text) {
    for (char ch : text) {
        const auto byte = static_cast<unsigned char>(ch);
        if (ch == '\n') {
            out += "\\n";
        } else if (byte < 0x20 || byte == 0x7f) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            out += escape;
        } else {
            out += ch;
        }
    }
}

}  // namespace

std::string formatAccessLogLine(const AccessLogEntry& entry) {
    std::string line;
    appendLine(line, entry);
    return line;
}

AccessLog::AccessLog(const std::filesystem::path& folder, FailureSink failures)
    : fFailures(std::move(failures)) {
    if (folder.empty()) return;
    checkFolderIsPrivate(folder, "log folder");
    const auto path = folder / kAccessLogFile;
    const int fd = openLogFile(path);
    if (fd < 0 || !(fFile = ::fdopen(fd, "a"))) {
        const int error = errno;
        if (fd >= 0) ::close(fd);
        throw std::runtime_error("Cannot open the access log " + path.string() + ": " +
                                 (error == ELOOP ? std::string("it is a symbolic link")
                                                 : std::string(std::strerror(error))));
    }
}

AccessLog::~AccessLog() {
    if (fFile) std::fclose(fFile);
}

void AccessLog::write(const AccessLogEntry& entry) {
    // One buffer per thread, kept: a line costs no allocation once the buffer has grown.
    thread_local std::string line;
    line.clear();
    appendLine(line, entry);
    line += '\n';
    {
        std::lock_guard lock(fLock);
        if (fFile) std::fwrite(line.data(), 1, line.size(), fFile);
    }
    if (entry.fProblem.empty() || !fFailures) return;
    std::string failure = "request " + entry.fRequestId + " " + escapedForLog(entry.fMethod) + " " +
                          escapedForLog(entry.fPath) + " " + std::to_string(entry.fStatus) + " ";
    appendEscaped(failure, entry.fProblem);
    fFailures(failure);
}

void AccessLog::flush() {
    std::lock_guard lock(fLock);
    if (fFile) std::fflush(fFile);
}

}  // namespace korvan::services::connector
