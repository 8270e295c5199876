// The connector log, "connector.log" in the connector's log folder: one line per start, stop,
// failed start (with the reason), token change, certificate change and reset, e.g.
//   2026-11-22T08:40:01Z started: https://localhost:9920/v1, local access
// Lines never hold the token.
//
// A plain appender: the file is opened (never through a symbolic link), appended to and closed
// for each line. A handful of
// lines per session needs no logging framework, and reopening follows a changed log folder and
// a file that a person moved or deleted. A line that cannot be written is dropped: the log must
// never make an operation fail.
//
// Threads: write() from any thread; fLock serialises the appends.
#pragma once

#include <chrono>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

namespace korvan::services::servicehost {

inline constexpr const char* kConnectorLogFile = "connector.log";

/// "2026-11-22T08:40:01Z <text>" for `when` (UTC).
std::string formatConnectorLogLine(std::chrono::system_clock::time_point when,
                                   std::string_view text);

class HostedConnectorLog {
  public:
    /// Appends one line to `folder`/connector.log, creating the file (not the folder).
    void write(const std::filesystem::path& folder, std::string_view text) noexcept;

  private:
    std::mutex fLock;
};

}  // namespace korvan::services::servicehost
