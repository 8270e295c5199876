// Executor: a small pool of worker threads that runs posted work. Work is posted under a key;
// the tasks of one key run one at a time, in the order they were posted, while tasks of
// different keys may run at the same time on different workers.
//
// Used by agent::spf::cppmsclientutils::ServiceTracker to run handler calls off the thread that
// delivers service events, keyed by the tracker's identifier so that one tracker's handlers see
// its events in order.
//
// Ownership: the executor owns its threads. They are joinable; the destructor lets every task
// already posted run to the end (including tasks those tasks post), then joins them.
// Threads: every member function may be called from any thread, including from a task.
// Errors: a task that throws is logged on the channel "agent::spf" and dropped; the worker
// goes on with the next task.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "korvan/host/Export.hpp"

namespace foundation::concurrent::threadpool {

class KORVAN_HOST_EXPORT Executor {
  public:
    using Task = std::function<void()>;

    /// Starts threadCount workers (at least one).
    explicit Executor(std::size_t threadCount = 2);
    /// Runs what is queued, then joins the workers. A worker that drops the last reference to
    /// its own executor is detached instead of joined (it touches nothing afterwards).
    ~Executor();

    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    /// Queues task under key and returns at once.
    void postWork(const std::string& key, Task task);

    /// Waits until no task of key is queued or running. Returns at once when called on one of
    /// this executor's workers (a task cannot wait for its own key, and waiting for another
    /// key from a worker could starve the pool).
    void waitForKey(const std::string& key);

    /// True on one of this executor's worker threads.
    bool isWorkerThread() const;

    std::size_t threadCount() const { return fThreads.size(); }

    /// The host's executor for service-tracker handlers: two workers, created on first use.
    /// Holders of the pointer keep it alive.
    static std::shared_ptr<Executor> shared();

  private:
    struct KeyQueue {
        std::deque<Task> fTasks;  // posted, not started
        bool fRunning = false;    // a worker runs a task of this key
    };

    void work();

    mutable std::mutex fMutex;
    std::condition_variable fWorkAvailable;             // fReady gained a key, or stopping
    std::condition_variable fKeyIdle;                   // a key's queue went away
    std::unordered_map<std::string, KeyQueue> fQueues;  // guarded; keys with work only
    std::deque<std::string> fReady;           // guarded; keys with tasks and no running task
    bool fStopping = false;                   // guarded
    std::vector<std::thread> fThreads;        // constant after construction
    std::vector<std::thread::id> fThreadIds;  // constant after construction
};

}  // namespace foundation::concurrent::threadpool
