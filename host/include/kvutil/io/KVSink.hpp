// Output sinks of the interpreter: where the text that user code and posted work print goes.
// Every interpreter (xvm::XVM) has an output sink and an error sink; requests posted to it carry
// shared references to the sinks they should write to.
//
// Ownership: sinks are shared (KVSinkRef); whoever holds a reference keeps the sink alive.
// Threads: every sink here is safe to call from several threads at once; each write() call is
// delivered whole (not interleaved with another write).
// Errors: a sink never throws from write() or flush(); a failing stream drops the text.
#pragma once

#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"

namespace kvutil::io {

/// Receiver of interpreter text (UTF-8).
class KORVAN_HOST_EXPORT KVSink {
  public:
    virtual ~KVSink() = default;
    /// Appends `text` as it stands (no newline is added).
    virtual void write(std::string_view text) noexcept = 0;
    virtual void flush() noexcept {}
};

using KVSinkRef = std::shared_ptr<KVSink>;

/// Writes to a std::ostream that outlives the sink (std::cout, std::cerr, a test stream).
class KORVAN_HOST_EXPORT OStreamSink final : public KVSink {
  public:
    explicit OStreamSink(std::ostream& stream) : fStream(stream) {}
    void write(std::string_view text) noexcept override;
    void flush() noexcept override;

  private:
    std::mutex fMutex;      // serialises access to fStream
    std::ostream& fStream;  // not owned
};

/// Keeps everything written, for tests and for capturing the output of one request.
class KORVAN_HOST_EXPORT StringSink final : public KVSink {
  public:
    void write(std::string_view text) noexcept override;
    /// A copy of all text written so far.
    std::string text() const;
    /// Returns the text written so far and empties the sink.
    std::string take();

  private:
    mutable std::mutex fMutex;  // guards fText
    std::string fText;
};

/// Process-wide sinks on standard output and standard error (created on first use, never
/// destroyed, so that late writers at exit are safe).
KORVAN_HOST_EXPORT KVSinkRef stdoutSink();
KORVAN_HOST_EXPORT KVSinkRef stderrSink();

}  // namespace kvutil::io
