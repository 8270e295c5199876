// The service host's schedule: runs one action (the update flip) when a wall clock reaches a
// planned time.
//
// The clock is a function (the system clock, or a test's), so the thread cannot simply sleep
// until the time: it waits on a condition variable for the remaining time, but never longer
// than the poll interval, and then reads the clock again. plan() and cancel() wake it at once.
// At most one time is pending; plan() keeps an earlier pending time.
//
// Owns: the thread, started by the first plan() and stopped by stop() or the destructor (which
// wait for a running action to finish; a pending time is dropped). The action must not
// destroy the schedule.
// Threads: any thread; fLock guards fDue, fStopping and fThread. The action runs on the
// schedule thread without fLock held; the clock is read under fLock and must not call back.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace korvan::services::servicehost::detail {

class UpdateSchedule {
  public:
    using Clock = std::chrono::system_clock;

    UpdateSchedule(std::function<Clock::time_point()> now, std::chrono::milliseconds pollInterval,
                   std::function<void()> action);
    ~UpdateSchedule();

    UpdateSchedule(const UpdateSchedule&) = delete;
    UpdateSchedule& operator=(const UpdateSchedule&) = delete;

    /// Runs the action at `due` (at once when it has passed). Returns false and changes
    /// nothing when a time is already pending, or after stop().
    bool plan(Clock::time_point due);
    /// Drops the pending time, if any; an action already running finishes.
    void cancel();
    /// The pending time; empty while none is pending or while the action runs.
    std::optional<Clock::time_point> due() const;
    /// Ends the thread after a running action; later plan() calls are refused.
    void stop();

  private:
    void run();

    // Constant after construction.
    const std::function<Clock::time_point()> fNow;
    const std::chrono::milliseconds fPollInterval;
    const std::function<void()> fAction;

    mutable std::mutex fLock;
    std::condition_variable fWake;
    std::optional<Clock::time_point> fDue;  // guarded by fLock
    bool fStopping = false;                 // guarded by fLock
    std::thread fThread;                    // guarded by fLock; started by the first plan()
};

}  // namespace korvan::services::servicehost::detail
