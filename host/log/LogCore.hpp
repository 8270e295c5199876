// Internal to host/log: the process-wide log state shared by the writer, the configuration
// and the captures. Not a public header.
#pragma once

#include <atomic>
#include <map>
#include <shared_mutex>
#include <string>

#include <boost/log/sinks/sink.hpp>
#include <boost/shared_ptr.hpp>

#include <foundation/log/Config.hpp>

namespace foundation::log::detail {

/// The one log state of the process. Created on first use and never destroyed, so that code
/// running in static destructors can still log safely.
struct LogState {
    // Fast path of isEnabled: false while neither an output nor a capture is active.
    std::atomic<bool> fActive{false};

    // Guards everything below.
    std::shared_mutex fLock;
    Settings fSettings;
    boost::shared_ptr<boost::log::sinks::sink> fOutputSink;  // null while the output is off
    std::map<std::string, int, std::less<>> fCaptures;       // channel name -> live captures

    /// Recomputes fActive; caller holds fLock exclusively.
    void updateActive() {
        fActive.store(fSettings.fOutput != Settings::Output::Off || !fCaptures.empty(),
                      std::memory_order_release);
    }
};

/// The state, with the environment's configuration applied on the first call.
LogState& state();

/// Trims blanks (space, tab) on both sides.
std::string trimmed(std::string_view text);

}  // namespace foundation::log::detail
