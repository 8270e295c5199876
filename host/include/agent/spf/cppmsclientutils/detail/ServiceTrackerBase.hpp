// ServiceTrackerBase: what every agent::spf::cppmsclientutils::ServiceTracker has whatever its
// service type: an identifier, a description for the log, its own mutex, and the executor its
// handler calls are posted to (none when the tracker calls handlers directly).
//
// Threads: any. fMutex (recursive) guards the handler lists of the derived tracker; nothing
// else here changes after construction.
#pragma once

#include <foundation/concurrent/threadpool/Executor.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "korvan/host/Export.hpp"

namespace agent::spf::cppmsclientutils {

/// Options of a tracker, passed as its int flags.
struct TrackerFlags {
    /// Handler calls are posted to an executor (the host's shared one unless given).
    static constexpr int kPostToExecutor = 0;
    /// Handler calls run directly on the thread that reports the event; no executor.
    static constexpr int kCallDirectly = 1;
};

namespace detail {

class KORVAN_HOST_EXPORT ServiceTrackerBase {
  public:
    /// description names what is tracked (a filter text or an interface id); flags are
    /// TrackerFlags; executor null means the host's shared executor (ignored with kCallDirectly).
    ServiceTrackerBase(std::string description, int flags,
                       std::shared_ptr<foundation::concurrent::threadpool::Executor> executor);
    virtual ~ServiceTrackerBase();

    ServiceTrackerBase(const ServiceTrackerBase&) = delete;
    ServiceTrackerBase& operator=(const ServiceTrackerBase&) = delete;

    /// Unique in the process, e.g. "agent::spf::core::Invokable#3"; the executor key.
    const std::string& getId() const { return fId; }
    const std::string& getDescription() const { return fDescription; }
    /// Null when handlers are called directly.
    const std::shared_ptr<foundation::concurrent::threadpool::Executor>& getExecutor() const {
        return fExecutor;
    }
    /// The tracker's own mutex; it guards the handler lists. The add...Handler functions lock
    /// it themselves; it is recursive, so a caller may also hold it around them.
    std::recursive_mutex& getMutex() const { return fMutex; }

    /// Logs, on the channel "agent::spf", that the tracker is about to be opened.
    void logStarting() const;
    /// Logs that the caller is about to wait for a tracked service.
    void logWaiting() const;

  protected:
    /// Posts call to the executor under getId(), or runs it here when there is none. A call
    /// that throws is logged and dropped.
    void dispatch(std::function<void()> call) const;
    /// Waits until the calls posted by this tracker have run (not when on an executor worker).
    void waitForPostedCalls() const;

  private:
    std::string fId;
    std::string fDescription;
    std::shared_ptr<foundation::concurrent::threadpool::Executor> fExecutor;
    mutable std::recursive_mutex fMutex;
};

}  // namespace detail
}  // namespace agent::spf::cppmsclientutils
