// The command distributor: a FIFO queue of requests for one interpreter, served by the thread
// that owns the interpreter. Any thread enqueues; only the interpreter thread runs requests, by
// draining the queue explicitly between user commands and while idle (xvm::XVM::drainPending
// and waitAndDrain call the members below).
//
// Requests run one at a time, in the order they were enqueued. A request that throws fails
// its own future and nothing else. A request may itself drain the queue (a nested drain takes
// the next oldest request, so the order stays FIFO).
//
// Bounded: at most `capacity` requests wait at once; enqueueing beyond that does not block and
// does not throw, it returns a future failed with RuntimeException status QueueFull. After
// close(), new requests fail with status Stopped and the waiting ones are failed likewise.
//
// Ownership: shared (interpreter, task references). Threads: every member is thread-safe;
// fMutex guards the queue and the flags; requests run without the lock held.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

#include "cmddistributor/CmdRequest.hpp"
#include "cmddistributor/PromiseDelegate.hpp"
#include "cmddistributor/Types.hpp"
#include "foundation/msg_svc/exchange/IDType.hpp"
#include "korvan/host/Export.hpp"
#include "kvutil/BoostFuture.hpp"

namespace cmddistributor {

class KORVAN_HOST_EXPORT CmdDistributor {
  public:
    static constexpr std::size_t kDefaultCapacity = 10000;

    /// `capacity` 0 is taken as 1.
    explicit CmdDistributor(std::size_t capacity = kDefaultCapacity);
    ~CmdDistributor();  // fails what is still queued (status Stopped)
    CmdDistributor(const CmdDistributor&) = delete;
    CmdDistributor& operator=(const CmdDistributor&) = delete;

    /// Queues `request` and returns the future that completes after it ran (value) or failed
    /// (exception). Throws std::invalid_argument "request cannot be null." for a null request
    /// and "request must contain an IIP." for a request without payload; otherwise never
    /// throws except for allocation failure (queue full and closed come back as failed
    /// futures).
    boost::future<void> enqueueWithFuture(const std::shared_ptr<CmdRequest>& request,
                                          const RunOptions& runOptions,
                                          const foundation::msg_svc::exchange::IDType& taskId);

    // ---- the serving side: call on the interpreter thread ---------------------------------

    /// Runs the requests that are queued now, oldest first, and returns how many ran.
    /// Requests enqueued meanwhile wait for the next call, so a request that posts again
    /// cannot keep one drain going for ever.
    std::size_t drainPending();
    /// Runs the oldest queued request if there is one; returns whether one ran.
    bool runOne();
    /// Waits until a request is queued, wake() is called or `timeout` has passed, whichever is
    /// first; returns whether a request is queued.
    bool waitForWork(std::chrono::milliseconds timeout);
    /// Ends one current or next waitForWork early (e.g. to stop a serving loop).
    void wake();

    // ---- management (any thread) -----------------------------------------------------------

    /// Removes the queued request with this task identifier and fails its future with status
    /// Cancelled. Returns false when it is not queued (it ran, is running or never was).
    bool cancel(const foundation::msg_svc::exchange::IDType& taskId);
    /// Refuses new requests and fails the queued ones with status Stopped. Idempotent.
    void close();
    bool isClosed() const;
    std::size_t pendingCount() const;
    std::size_t capacity() const noexcept { return fCapacity; }

  private:
    struct Entry {
        std::shared_ptr<CmdRequest> fRequest;
        std::shared_ptr<PromiseDelegateT<void>> fDelegate;
        foundation::msg_svc::exchange::IDType fTaskId;
    };

    bool popFront(Entry& entry);  // takes fMutex
    static void run(Entry& entry) noexcept;

    const std::size_t fCapacity;
    mutable std::mutex fMutex;        // guards fQueue, fClosed, fWakeRequested
    std::condition_variable fWorkCv;  // signalled on enqueue and wake()
    std::deque<Entry> fQueue;
    bool fClosed = false;
    bool fWakeRequested = false;
};

}  // namespace cmddistributor
