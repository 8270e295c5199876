// Watchdog of the stress test: every activity (the flipper, the user code, each HTTPS client,
// the final phases) reports progress with beat(); a thread of its own looks every 200 ms and,
// when an activity that is still under way has made no progress for the limit, prints what
// stalled with the counts so far and aborts the process, so that a deadlock fails the test at
// once instead of hanging it until ctest's time-out.
//
// Owns: its checking thread (joined by the destructor).
// Threads: add(), beat() and finish() from any thread; fMutex guards the activity list, the
// counts are atomics. The report callback runs on the checking thread and must not block.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace korvan::test {

class Watchdog {
  public:
    using Clock = std::chrono::steady_clock;

    /// One activity's progress: beat() after each completed step; finish() when it is done
    /// (a finished activity is no longer watched).
    class Activity {
      public:
        explicit Activity(std::string name) : fName(std::move(name)) {}
        void beat() {
            fSteps.fetch_add(1, std::memory_order_relaxed);
            fLast.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
        }
        void finish() { fFinished = true; }
        const std::string& name() const { return fName; }
        std::uint64_t steps() const { return fSteps.load(); }

      private:
        friend class Watchdog;
        const std::string fName;
        std::atomic<std::uint64_t> fSteps{0};
        std::atomic<Clock::rep> fLast{Clock::now().time_since_epoch().count()};
        std::atomic<bool> fFinished{false};
    };

    /// `counts` describes the counts so far, for the report.
    Watchdog(std::chrono::milliseconds limit, std::function<std::string()> counts)
        : fLimit(limit), fCounts(std::move(counts)), fThread([this] { check(); }) {}

    ~Watchdog() {
        {
            std::lock_guard lock(fMutex);
            fStop = true;
        }
        fWake.notify_all();
        fThread.join();
    }

    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// A new watched activity; its clock starts now.
    std::shared_ptr<Activity> add(std::string name) {
        auto activity = std::make_shared<Activity>(std::move(name));
        std::lock_guard lock(fMutex);
        fActivities.push_back(activity);
        return activity;
    }

  private:
    void check() {
        std::unique_lock lock(fMutex);
        while (!fWake.wait_for(lock, std::chrono::milliseconds(200), [this] { return fStop; })) {
            const auto now = Clock::now();
            for (const auto& activity : fActivities) {
                if (activity->fFinished) continue;
                const Clock::time_point last{Clock::duration{activity->fLast.load()}};
                if (now - last < fLimit) continue;
                std::string report = "stress: STALL: \"" + activity->fName +
                                     "\" made no progress for " + std::to_string(fLimit.count()) +
                                     " ms after " + std::to_string(activity->steps()) +
                                     " steps\n  activities:";
                for (const auto& other : fActivities) {
                    report += " " + other->fName + "=" + std::to_string(other->steps()) +
                              (other->fFinished ? "(done)" : "");
                }
                report += "\n  counts: " + fCounts() + "\n";
                std::fputs(report.c_str(), stderr);
                std::fflush(stderr);
                std::abort();
            }
        }
    }

    const std::chrono::milliseconds fLimit;
    const std::function<std::string()> fCounts;
    std::mutex fMutex;
    std::condition_variable fWake;
    bool fStop = false;                                  // guarded by fMutex
    std::vector<std::shared_ptr<Activity>> fActivities;  // guarded by fMutex
    std::thread fThread;                                 // last: starts after the members
};

}  // namespace korvan::test
