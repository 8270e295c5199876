// Diagnostic logging of the host runtime: named channels, a few levels, one output (standard
// error or a file) chosen by the environment, off by default.
//
// Writing: use FOUNDATION_LOG (debug level) or FOUNDATION_LOG_AT. The streamed expression is
// evaluated only when the channel is enabled at that level, so a disabled log line costs one
// atomic load:
//
//     static const foundation::log::Channel kLog{" KV::Conn "};
//     FOUNDATION_LOG(kLog, "Inside Restconnector::setPort()");
//     FOUNDATION_LOG_AT(kLog, foundation::log::Level::Warning, "retry " << n);
//
// A channel is enabled when the configured output is on, the channel passes the channel
// filter and the level reaches the threshold (see Config.hpp), or while a ScopedCapture of
// that channel exists (Capture.hpp). Records go through Boost.Log; each line is one record.
//
// Threads: every function here may be called from any thread. The configuration is guarded
// by one internal reader-writer lock; writing a record is serialised by the sink.
// Errors: logging never throws to the caller (a failing output drops the line).
#pragma once

#include <sstream>
#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"

namespace foundation::log {

/// Severity of a record. The connector module writes everything at Debug.
enum class Level : int { Trace = 0, Debug = 1, Info = 2, Warning = 3, Error = 4 };

/// Lower-case name of a level ("trace", "debug", "info", "warning", "error").
const char* levelName(Level level) noexcept;

/// A named channel. Cheap to copy; typically one static object per component. The name is
/// used exactly as given (" KV::Conn " keeps its spaces in the output).
class Channel {
  public:
    explicit Channel(std::string name) : fName(std::move(name)) {}
    const std::string& name() const noexcept { return fName; }

  private:
    std::string fName;  // constant after construction
};

/// True when a record of `level` on `channel` would be written or captured.
KORVAN_HOST_EXPORT bool isEnabled(std::string_view channel, Level level = Level::Debug) noexcept;
inline bool isEnabled(const Channel& channel, Level level = Level::Debug) noexcept {
    return isEnabled(std::string_view(channel.name()), level);
}

/// Writes one line unconditionally (callers normally test isEnabled first, or use the macro).
KORVAN_HOST_EXPORT void write(std::string_view channel, Level level,
                              std::string_view line) noexcept;
inline void write(const Channel& channel, Level level, std::string_view line) noexcept {
    write(std::string_view(channel.name()), level, line);
}

}  // namespace foundation::log

/// Logs `expr` (anything that can be streamed, e.g. "port " << port) on `channel` (a Channel or
/// a channel name) at `level`; `expr` is not evaluated when the channel is disabled.
#define FOUNDATION_LOG_AT(channel, level, expr)                                       \
    do {                                                                              \
        if (::foundation::log::isEnabled((channel), (level))) {                       \
            std::ostringstream foundationLogStream_;                                  \
            foundationLogStream_ << expr;                                             \
            ::foundation::log::write((channel), (level), foundationLogStream_.str()); \
        }                                                                             \
    } while (false)

/// Logs `expr` on `channel` at Debug, the level of the host's diagnostic lines.
#define FOUNDATION_LOG(channel, expr) \
    FOUNDATION_LOG_AT(channel, ::foundation::log::Level::Debug, expr)
