// What a stress run counts, and the process figures it compares at the end.
//
// Counts: atomics bumped by the actors; the errors by kind and the failures are kept under
// fMutex (a failure is anything the run must not see: a wrong result, an unexpected error).
// Threads: every member from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace korvan::test {

struct Counts {
    std::atomic<std::uint64_t> fFlips{0};
    std::atomic<std::uint64_t> fSplitFlips{0};  // flipDown ... flipUp with user code in between
    std::atomic<std::uint64_t> fUserActions{0};
    std::atomic<std::uint64_t> fUserDownErrors{0};  // NoConnectorFound, "not available"
    std::atomic<std::uint64_t> fUserStarts{0};
    std::atomic<std::uint64_t> fUserStops{0};
    std::atomic<std::uint64_t> fCalls{0};
    std::atomic<std::uint64_t> fCallsOk{0};
    std::atomic<std::uint64_t> fCallsNoReply{0};  // refused, closed, reset during a flip or a stop
    std::atomic<std::uint64_t> fCalls503{0};

    /// An error that user code or a client legitimately sees, counted by its kind.
    void countError(const std::string& kind) {
        std::lock_guard lock(fMutex);
        ++fErrorKinds[kind];
    }
    /// Something the run must not see; kept (the first 20) for the report.
    void fail(const std::string& what) {
        std::lock_guard lock(fMutex);
        ++fFailureCount;
        if (fFailures.size() < 20) fFailures.push_back(what);
    }
    std::uint64_t failureCount() const {
        std::lock_guard lock(fMutex);
        return fFailureCount;
    }
    std::vector<std::string> failures() const {
        std::lock_guard lock(fMutex);
        return fFailures;
    }

    std::string summary() const {
        std::string text =
            "flips=" + std::to_string(fFlips) + " split=" + std::to_string(fSplitFlips) +
            " userActions=" + std::to_string(fUserActions) +
            " userDownErrors=" + std::to_string(fUserDownErrors) +
            " userStarts=" + std::to_string(fUserStarts) +
            " userStops=" + std::to_string(fUserStops) + " calls=" + std::to_string(fCalls) +
            " ok=" + std::to_string(fCallsOk) + " noReply=" + std::to_string(fCallsNoReply) +
            " http503=" + std::to_string(fCalls503);
        std::lock_guard lock(fMutex);
        text += " failures=" + std::to_string(fFailureCount);
        for (const auto& [kind, count] : fErrorKinds) {
            text += "\n    " + std::to_string(count) + " x " + kind;
        }
        return text;
    }

  private:
    mutable std::mutex fMutex;
    std::map<std::string, std::uint64_t> fErrorKinds;  // guarded by fMutex
    std::vector<std::string> fFailures;                // guarded by fMutex
    std::uint64_t fFailureCount = 0;                   // guarded by fMutex
};

/// Entries of a /proc/self folder (threads: "task", open descriptors: "fd").
inline std::size_t procEntries(const char* folder) {
    std::size_t count = 0;
    std::error_code ec;
    for (auto it = std::filesystem::directory_iterator(std::string("/proc/self/") + folder, ec);
         !ec && it != std::filesystem::directory_iterator(); it.increment(ec)) {
        ++count;
    }
    return count;  // the iterator's own descriptor is included, the same way each time
}

}  // namespace korvan::test
