// Executor: per-key ordered work on a small pool of joinable threads.
#include <foundation/concurrent/threadpool/Executor.hpp>
#include <foundation/log/Log.hpp>

#include <algorithm>
#include <exception>
#include <utility>

namespace foundation::concurrent::threadpool {

namespace {
const foundation::log::Channel kLog{"agent::spf"};
}

Executor::Executor(std::size_t threadCount) {
    threadCount = std::max<std::size_t>(threadCount, 1);
    fThreads.reserve(threadCount);
    // The ids are filled in before any worker can look at them: workers only read fThreadIds
    // through isWorkerThread(), which takes fMutex, held here until every thread is listed.
    std::lock_guard<std::mutex> lock(fMutex);
    for (std::size_t i = 0; i < threadCount; ++i) {
        fThreads.emplace_back([this] { work(); });
        fThreadIds.push_back(fThreads.back().get_id());
    }
}

Executor::~Executor() {
    {
        std::lock_guard<std::mutex> lock(fMutex);
        fStopping = true;
    }
    fWorkAvailable.notify_all();
    for (auto& thread : fThreads) {
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();
        } else {
            thread.join();
        }
    }
}

void Executor::postWork(const std::string& key, Task task) {
    {
        std::lock_guard<std::mutex> lock(fMutex);
        KeyQueue& queue = fQueues[key];
        queue.fTasks.push_back(std::move(task));
        if (queue.fRunning || queue.fTasks.size() > 1) return;  // already scheduled
        fReady.push_back(key);
    }
    fWorkAvailable.notify_one();
}

void Executor::work() {
    std::unique_lock<std::mutex> lock(fMutex);
    for (;;) {
        fWorkAvailable.wait(lock, [&] { return fStopping || !fReady.empty(); });
        if (fReady.empty()) return;  // stopping, and nothing left to start
        std::string key = std::move(fReady.front());
        fReady.pop_front();
        KeyQueue& queue = fQueues[key];
        Task task = std::move(queue.fTasks.front());
        queue.fTasks.pop_front();
        queue.fRunning = true;
        lock.unlock();
        try {
            task();
        } catch (const std::exception& error) {
            FOUNDATION_LOG(kLog, "Task of " << key << " failed: " << error.what());
        } catch (...) {
            FOUNDATION_LOG(kLog, "Task of " << key << " failed");
        }
        task = nullptr;  // whatever it captured dies outside the lock
        lock.lock();
        KeyQueue& after = fQueues[key];  // the entry stays while fRunning is set
        after.fRunning = false;
        if (after.fTasks.empty()) {
            fQueues.erase(key);
            fKeyIdle.notify_all();
        } else {
            fReady.push_back(std::move(key));
            fWorkAvailable.notify_one();
        }
    }
}

void Executor::waitForKey(const std::string& key) {
    std::unique_lock<std::mutex> lock(fMutex);
    auto const self = std::this_thread::get_id();
    if (std::find(fThreadIds.begin(), fThreadIds.end(), self) != fThreadIds.end()) return;
    fKeyIdle.wait(lock, [&] { return fQueues.count(key) == 0; });
}

bool Executor::isWorkerThread() const {
    std::lock_guard<std::mutex> lock(fMutex);
    auto const self = std::this_thread::get_id();
    return std::find(fThreadIds.begin(), fThreadIds.end(), self) != fThreadIds.end();
}

std::shared_ptr<Executor> Executor::shared() {
    static const std::shared_ptr<Executor> instance = std::make_shared<Executor>(2);
    return instance;
}

}  // namespace foundation::concurrent::threadpool
