#include "cmddistributor/CmdDistributor.hpp"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <vector>

#include "cmddistributor/RuntimeException.hpp"
#include "foundation/log/Log.hpp"

namespace cmddistributor {
namespace {

const foundation::log::Channel kLog{"cmddistributor"};

RuntimeException stoppedError() {
    return RuntimeException(ExecutionStatus::Stopped, "CmdDistributor is stopped");
}

}  // namespace

CmdDistributor::CmdDistributor(std::size_t capacity) : fCapacity(capacity == 0 ? 1 : capacity) {}

CmdDistributor::~CmdDistributor() {
    close();
}

boost::future<void> CmdDistributor::enqueueWithFuture(
    const std::shared_ptr<CmdRequest>& request, const RunOptions& /*runOptions*/,
    const foundation::msg_svc::exchange::IDType& taskId) {
    if (!request) throw std::invalid_argument("request cannot be null.");
    if (!request->getIIP()) throw std::invalid_argument("request must contain an IIP.");

    auto delegate = std::make_shared<PromiseDelegateT<void>>();
    auto future = delegate->getFuture();
    std::optional<RuntimeException> refused;
    {
        std::lock_guard lock(fMutex);
        if (fClosed) {
            refused.emplace(stoppedError());
        } else if (fQueue.size() >= fCapacity) {
            refused.emplace(RuntimeException(
                ExecutionStatus::QueueFull, "CmdDistributor queue is full ({1} requests waiting)",
                {}, {}, {}, {}, false, {static_cast<std::int64_t>(fQueue.size())}));
        } else {
            fQueue.push_back(Entry{request, delegate, taskId});
        }
    }
    if (refused) {
        FOUNDATION_LOG(kLog, "refused task " << foundation::msg_svc::exchange::toString(taskId)
                                             << " from " << request->getIIP()->getOrigin());
        delegate->tryFail(*refused);
    } else {
        fWorkCv.notify_one();
    }
    return future;
}

bool CmdDistributor::popFront(Entry& entry) {
    std::lock_guard lock(fMutex);
    if (fQueue.empty()) return false;
    entry = std::move(fQueue.front());
    fQueue.pop_front();
    return true;
}

void CmdDistributor::run(Entry& entry) noexcept {
    // tryRunTask never throws; a failing payload ends up in its own future only.
    entry.fDelegate->tryRunTask(*entry.fRequest);
}

bool CmdDistributor::runOne() {
    Entry entry;
    if (!popFront(entry)) return false;
    run(entry);
    return true;
}

std::size_t CmdDistributor::drainPending() {
    std::size_t limit;
    {
        std::lock_guard lock(fMutex);
        limit = fQueue.size();
    }
    // One entry at a time, so that a nested drain from inside a request still takes the
    // oldest remaining request next.
    std::size_t ran = 0;
    while (ran < limit && runOne()) ++ran;
    return ran;
}

bool CmdDistributor::waitForWork(std::chrono::milliseconds timeout) {
    std::unique_lock lock(fMutex);
    // A closed distributor gets no work: waiting the full time keeps idle loops from spinning.
    fWorkCv.wait_for(lock, timeout, [this] { return !fQueue.empty() || fWakeRequested; });
    fWakeRequested = false;
    return !fQueue.empty();
}

void CmdDistributor::wake() {
    {
        std::lock_guard lock(fMutex);
        fWakeRequested = true;
    }
    fWorkCv.notify_all();
}

bool CmdDistributor::cancel(const foundation::msg_svc::exchange::IDType& taskId) {
    Entry entry;
    {
        std::lock_guard lock(fMutex);
        auto it = std::find_if(fQueue.begin(), fQueue.end(),
                               [&](const Entry& e) { return e.fTaskId == taskId; });
        if (it == fQueue.end()) return false;
        entry = std::move(*it);
        fQueue.erase(it);
    }
    return entry.fDelegate->tryFail(
        RuntimeException(ExecutionStatus::Cancelled, "Request was cancelled before it ran"));
}

void CmdDistributor::close() {
    std::deque<Entry> dropped;
    {
        std::lock_guard lock(fMutex);
        fClosed = true;
        dropped.swap(fQueue);
    }
    fWorkCv.notify_all();
    // Failed outside the lock: fulfilling a promise may wake threads that enqueue again.
    for (auto& entry : dropped) entry.fDelegate->tryFail(stoppedError());
}

bool CmdDistributor::isClosed() const {
    std::lock_guard lock(fMutex);
    return fClosed;
}

std::size_t CmdDistributor::pendingCount() const {
    std::lock_guard lock(fMutex);
    return fQueue.size();
}

}  // namespace cmddistributor
