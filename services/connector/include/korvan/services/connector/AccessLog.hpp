// The connector's access log: one line per answered request,
//   2026-11-22T06:40:01.123Z 127.0.0.1 POST /v1/services/math/add 200 12ms 5f3a9c21-42
// (UTC time, peer address, method, path without its query, status, duration, the request
// identifier that the answer's X-Request-Id header gave the caller). Headers, bodies and
// queries are never written, so neither is a token.
//
// A failed call (and any answer of status 500 or more) also goes, with its identifier and
// message, to the failure sink given at construction (the connector log):
//   request 5f3a9c21-42 POST /v1/services/lab/fail 500 KORVAN:lab:broken: It broke.
//
// The file is "access.log" in the log folder, opened for appending without following a link
// (LogFiles.hpp; a folder others can write to is refused); a log without a folder
// writes nothing. Lines are buffered: the server flushes whenever it has no request in flight
// (so a quiet server's log is always complete), the buffer goes out by itself when full under
// continuous load, and the log is flushed when it is destroyed.
// Threads: write() and flush() may be called from any thread; fLock guards the stream.
#pragma once

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

inline constexpr const char* kAccessLogFile = "access.log";

struct AccessLogEntry {
    std::chrono::system_clock::time_point fTime;
    std::string fAddress;
    std::string fMethod;
    std::string fPath;
    unsigned fStatus = 0;
    std::chrono::milliseconds fDuration{0};
    std::string fRequestId;
    /// "<identifier>: <message>" of a failed call; empty for a request that did not fail.
    std::string fProblem;
};

/// Where the lines about failed requests go (without the line end); may be called from any
/// thread, must not throw.
using FailureSink = std::function<void(const std::string& line)>;

/// The line written for `entry` (without the line end).
KORVAN_CONNECTOR_SERVICE_EXPORT std::string formatAccessLogLine(const AccessLogEntry& entry);

class AccessLog {
  public:
    /// Opens `folder`/access.log for appending; an empty folder gives a log that writes
    /// nothing. Throws std::runtime_error when the file cannot be opened.
    /// Also throws when the folder can be written by other users, or access.log is a
    /// symbolic link (LogFiles.hpp).
    explicit AccessLog(const std::filesystem::path& folder, FailureSink failures = {});
    ~AccessLog();
    AccessLog(const AccessLog&) = delete;
    AccessLog& operator=(const AccessLog&) = delete;

    void write(const AccessLogEntry& entry);
    /// Writes out the buffered lines.
    void flush();

  private:
    const FailureSink fFailures;
    std::mutex fLock;
    std::FILE* fFile = nullptr;  // guarded by fLock; null: no log
};

}  // namespace korvan::services::connector
