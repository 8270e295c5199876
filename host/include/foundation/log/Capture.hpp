// Capture of log lines for tests: while a ScopedCapture exists, its channel is enabled at
// every level (whatever the configured output) and each line written on it is also kept here.
//
// Ownership: the capture registers a sink in the log core on construction and removes it on
// destruction. Threads: lines may be written from any thread; lines() may be called at any
// time and returns a copy (guarded by an internal mutex). Several captures may exist at once,
// also on the same channel; each receives every line of its channel.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <foundation/log/Log.hpp>

#include "korvan/host/Export.hpp"

namespace foundation::log {

class KORVAN_HOST_EXPORT ScopedCapture {
  public:
    explicit ScopedCapture(std::string channel);
    explicit ScopedCapture(const Channel& channel) : ScopedCapture(channel.name()) {}
    ~ScopedCapture();

    ScopedCapture(const ScopedCapture&) = delete;
    ScopedCapture& operator=(const ScopedCapture&) = delete;

    /// The message texts captured so far, in the order they were written.
    std::vector<std::string> lines() const;

    /// Forgets the lines captured so far.
    void clear();

  private:
    struct Impl;
    std::unique_ptr<Impl> fImpl;
};

}  // namespace foundation::log
