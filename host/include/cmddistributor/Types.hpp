// Small value types of the command distributor: stream identifiers, run options, the status
// of a request's execution and the outcome of running one.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>

#include "kvutil/io/KVSink.hpp"

namespace cmddistributor {

/// Identifies the input stream a request came from. Interactive input and scripts use
/// non-negative streams; work posted by host components uses kPackagedTaskStreamID.
using IqmStreamID = std::int64_t;
inline constexpr IqmStreamID kPackagedTaskStreamID = -2;

/// How a request ended. The numbers are stable: they appear in RuntimeException and logs.
enum class ExecutionStatus : int {
    Completed = 0,      // ran and returned
    Failed = 1,         // ran and threw; the future holds that exception
    NoDistributor = 2,  // the target has no command distributor; nothing ran
    QueueFull = 3,      // the distributor's queue was at its limit; nothing ran
    Stopped = 4,        // the distributor was closed before the request ran
    Cancelled = 5,      // removed from the queue before it ran
    TimedOut = 6,       // a synchronous caller stopped waiting (see xvm/RunOnInterpreter.hpp)
};

/// Per-request options. Default-constructed options use the interpreter's own sinks.
struct RunOptions {
    /// Sinks for this request instead of the interpreter's (e.g. to capture one request's
    /// output). Empty means the interpreter's sink.
    kvutil::io::KVSinkRef fOutputSink;
    kvutil::io::KVSinkRef fErrorSink;
};

/// What running a request's payload produced: Completed, or Failed with the exception.
struct ExecutionResult {
    ExecutionStatus fStatus = ExecutionStatus::Completed;
    std::exception_ptr fError;  // set exactly when fStatus is not Completed
};

}  // namespace cmddistributor
