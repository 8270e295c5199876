// CallbackThread: the connector client's own thread for update callbacks. One worker takes
// posted tasks from a queue and runs them one at a time, in posting order, so that a caller
// of post() never waits for a callback.
//
// Ownership: the worker and the queue share one state object, so a task that drops the last
// reference to the client (and so destroys this object on the worker itself) leaves the worker
// nothing dead to touch: the destructor detaches instead of joining in that case.
// Stopping: the destructor lets the running task finish and drops tasks not yet started.
// Threads: post() from any thread; fState->fMutex guards the queue and the stop flag.
#pragma once

#include <functional>
#include <memory>
#include <thread>

namespace korvan::services::client {

class CallbackThread {
  public:
    using Task = std::function<void()>;

    CallbackThread();
    ~CallbackThread();
    CallbackThread(const CallbackThread&) = delete;
    CallbackThread& operator=(const CallbackThread&) = delete;

    /// Queues task and returns at once. A task that throws is logged and dropped.
    void post(Task task);

    /// True on the worker thread.
    bool isCallbackThread() const { return std::this_thread::get_id() == fThread.get_id(); }

  private:
    struct State;
    static void work(const std::shared_ptr<State>& state);

    std::shared_ptr<State> fState;  // shared with the worker
    std::thread fThread;            // constant after construction
};

}  // namespace korvan::services::client
