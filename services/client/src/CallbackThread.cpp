#include "CallbackThread.hpp"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>

#include <foundation/log/Log.hpp>

#include "ClientLog.hpp"

namespace korvan::services::client {

struct CallbackThread::State {
    std::mutex fMutex;
    std::condition_variable fWake;  // a task was queued, or stopping
    std::deque<Task> fTasks;        // guarded by fMutex
    bool fStopping = false;         // guarded by fMutex
};

CallbackThread::CallbackThread() : fState(std::make_shared<State>()) {
    fThread = std::thread([state = fState] { work(state); });
}

CallbackThread::~CallbackThread() {
    {
        std::lock_guard lock(fState->fMutex);
        fState->fStopping = true;
        fState->fTasks.clear();
    }
    fState->fWake.notify_all();
    if (isCallbackThread()) {
        fThread.detach();  // the worker holds its own reference to the state
    } else {
        fThread.join();
    }
}

void CallbackThread::post(Task task) {
    {
        std::lock_guard lock(fState->fMutex);
        if (fState->fStopping) {
            return;
        }
        fState->fTasks.push_back(std::move(task));
    }
    fState->fWake.notify_one();
}

void CallbackThread::work(const std::shared_ptr<State>& state) {
    for (;;) {
        Task task;
        {
            std::unique_lock lock(state->fMutex);
            state->fWake.wait(lock, [&] { return state->fStopping || !state->fTasks.empty(); });
            if (state->fStopping) {
                return;
            }
            task = std::move(state->fTasks.front());
            state->fTasks.pop_front();
        }
        try {
            task();
        } catch (const std::exception& e) {
            FOUNDATION_LOG_AT(kClientLog, foundation::log::Level::Error,
                              "Callback task failed: " << e.what());
        } catch (...) {
            FOUNDATION_LOG_AT(kClientLog, foundation::log::Level::Error,
                              "Callback task failed with an unknown exception");
        }
    }
}

}  // namespace korvan::services::client
