// The link between a queued request and the future its poster holds. The distributor makes
// one delegate per enqueued request; the interpreter thread runs the request through it
// (tryRunTask), and a cancel or shutdown fails it (tryFail). Whichever comes first wins: the
// promise is fulfilled at most once and a request never runs after it was failed.
//
// Threads: every member may be called from any thread. PromiseDelegateT<void> guards its state
// and the promise with its own mutex fMutex; the payload itself runs without the lock held.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "cmddistributor/CmdRequest.hpp"
#include "cmddistributor/RuntimeException.hpp"
#include "cmddistributor/Types.hpp"
#include "korvan/host/Export.hpp"
#include "kvutil/BoostFuture.hpp"

namespace cmddistributor {

class KORVAN_HOST_EXPORT PromiseDelegate {
  public:
    virtual ~PromiseDelegate();

    /// Runs the request's payload on the calling thread and fulfils the promise with its
    /// outcome, unless the request already ran, is running or was failed; returns whether it
    /// ran. Never throws.
    virtual bool tryRunTask(CmdRequest& request) noexcept = 0;
    /// Fails the promise with `error` unless it ran, is running or was failed; returns whether
    /// it failed it now.
    virtual bool tryFail(const RuntimeException& error) noexcept = 0;
    /// Blocks until the promise is fulfilled.
    virtual void waitTillReady() const = 0;
    /// Blocks at most `timeout`; returns whether the promise is fulfilled.
    virtual bool waitTillReady(std::chrono::milliseconds timeout) const = 0;
    /// Whether the promise is fulfilled (with a value or an exception).
    virtual bool isPromiseDone() const = 0;
};

template <class T>
class PromiseDelegateT;

template <>
class KORVAN_HOST_EXPORT PromiseDelegateT<void> final : public PromiseDelegate {
  public:
    PromiseDelegateT() = default;

    /// The future of the promise; may be called once (boost::future_already_retrieved after).
    boost::future<void> getFuture();

    bool tryRunTask(CmdRequest& request) noexcept override;
    bool tryFail(const RuntimeException& error) noexcept override;
    void waitTillReady() const override;
    bool waitTillReady(std::chrono::milliseconds timeout) const override;
    bool isPromiseDone() const override;

    /// Fulfils the promise from a result: Completed sets the value; any other status stores
    /// the result's exception (or a RuntimeException with that status when there is none).
    /// Returns false, changing nothing, when the promise was already fulfilled.
    bool setResult(const ExecutionResult& result) noexcept;

  private:
    enum class State { Pending, Running, Done };

    bool fulfilLocked(const ExecutionResult& result) noexcept;  // fMutex held

    mutable std::mutex fMutex;                 // guards fState and fPromise
    mutable std::condition_variable fReadyCv;  // signalled when fState becomes Done
    State fState = State::Pending;
    boost::promise<void> fPromise;
};

}  // namespace cmddistributor
