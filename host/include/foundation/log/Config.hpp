// Configuration of the diagnostic log: where lines go, which channels and from which level.
//
// By default the configuration is read once from the environment, on the first log query:
//   KORVAN_LOG           unset, empty or "off": no output (the default);
//                        "stderr": standard error; anything else: path of a file, appended to.
//   KORVAN_LOG_CHANNELS  comma-separated channel names; unset or empty: every channel. Names
//                        are compared with surrounding blanks trimmed on both sides, so
//                        "KV::Conn" selects the channel " KV::Conn ".
//   KORVAN_LOG_LEVEL     trace, debug, info, warning or error (default debug): lowest level
//                        written.
// configure() replaces the configuration at run time (tests, the korvan command's options).
//
// Threads: configure() may run concurrently with logging; records being written finish on the
// old output. Errors: an unreadable level falls back to debug; a file that cannot be opened
// leaves the output off and reports the reason on standard error once.
#pragma once

#include <string>
#include <vector>

#include <foundation/log/Log.hpp>

#include "korvan/host/Export.hpp"

namespace foundation::log {

struct KORVAN_HOST_EXPORT Settings {
    enum class Output { Off, Stderr, File };

    Output fOutput = Output::Off;
    std::string fPath;                   // the file when fOutput is File
    std::vector<std::string> fChannels;  // empty: every channel (names trimmed as above)
    Level fThreshold = Level::Debug;

    /// The settings the environment variables above describe.
    static Settings fromEnvironment();
};

/// Replaces the current configuration (output sink, channel filter, threshold).
KORVAN_HOST_EXPORT void configure(const Settings& settings);

/// Re-reads the environment and applies it (same as configure(Settings::fromEnvironment())).
void configureFromEnvironment();

/// The configuration in force.
KORVAN_HOST_EXPORT Settings currentSettings();

}  // namespace foundation::log
