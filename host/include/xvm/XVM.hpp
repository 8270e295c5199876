// The host interpreter instance (xvm::XVM) and the per-thread "current interpreter".
//
// An XVM owns its command distributor (or has none, when created without one) and its output
// and error sinks. It is bound to the thread on which it is current: that thread is the
// interpreter thread, the only one that runs the work posted to it. The korvan shell makes
// the process's main thread current and drains between commands and while idle; tests and
// services can use korvan::host::InterpreterThread, which owns a thread that does the same.
//
// Ownership: shared (std::shared_ptr<XVM>); the module keeps a handle for its whole life.
// Destroying the last handle closes the distributor, failing what is still queued.
// Threads: the accessors are thread-safe; drainPending and waitAndDrain only on the
// interpreter thread (std::logic_error elsewhere). fOwner is atomic; fIdleMutex guards the idle
// wake flag; the rest is constant after construction.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>

#include "cmddistributor/CmdDistributor.hpp"
#include "korvan/host/Export.hpp"
#include "kvutil/contextmgr/McrID.hpp"
#include "kvutil/io/KVSink.hpp"

namespace xvm {

struct XVMOptions {
    /// False makes an interpreter without command distributor: posts to it fail with
    /// RuntimeException status NoDistributor.
    bool fWithDistributor = true;
    /// Most requests that may wait in the distributor's queue at once.
    std::size_t fQueueCapacity = cmddistributor::CmdDistributor::kDefaultCapacity;
    /// Empty means standard output / standard error.
    kvutil::io::KVSinkRef fOutputSink;
    kvutil::io::KVSinkRef fErrorSink;
};

class KORVAN_HOST_EXPORT XVM {
  public:
    /// Prefer Factory::createXVM, which also makes the interpreter findable by its McrID.
    explicit XVM(XVMOptions options = {});
    ~XVM();
    XVM(const XVM&) = delete;
    XVM& operator=(const XVM&) = delete;

    /// Null when created without a distributor.
    const std::shared_ptr<cmddistributor::CmdDistributor>& getCmdDistributor() const noexcept {
        return fDistributor;
    }
    const kvutil::io::KVSinkRef& getOutputSink() const noexcept { return fOutputSink; }
    const kvutil::io::KVSinkRef& getErrorSink() const noexcept { return fErrorSink; }
    kvutil::contextmgr::McrID getMcrID() const noexcept { return fMcrID; }

    /// The thread on which this interpreter is current (default id when none).
    std::thread::id getOwnerThread() const noexcept { return fOwner.load(); }
    bool isOwnerThread() const noexcept { return fOwner.load() == std::this_thread::get_id(); }

    /// How deep drains may nest on one thread. Posted work that waits (the language's pause
    /// and system) drains further work on the same stack; beyond this depth nothing more is
    /// drained there, the queue waits for the drains below to return, and the stack stays
    /// bounded however many waiting items are posted.
    static constexpr int kMaxDrainDepth = 16;

    /// Runs the posted work queued now, oldest first; returns how many ran. Interpreter
    /// thread only. 0 without a distributor, and 0 at kMaxDrainDepth.
    std::size_t drainPending();
    /// Waits up to `timeout` for posted work (or wake()), then drains; returns how many ran.
    /// The idle loop of the shell and `pause` call this. Without a distributor it sleeps for
    /// `timeout` (or until wake()) and returns 0. Interpreter thread only.
    std::size_t waitAndDrain(std::chrono::milliseconds timeout);
    /// Ends a current or the next waitAndDrain early (any thread).
    void wake();

  private:
    friend class Factory;
    void requireOwnerThread(const char* operation) const;

    const kvutil::contextmgr::McrID fMcrID;
    const kvutil::io::KVSinkRef fOutputSink;
    const kvutil::io::KVSinkRef fErrorSink;
    const std::shared_ptr<cmddistributor::CmdDistributor> fDistributor;  // may be null
    std::atomic<std::thread::id> fOwner;  // set by Factory::setCurrentLocalXVM

    // Idle waiting without a distributor: fIdleMutex guards fIdleWake.
    std::mutex fIdleMutex;
    std::condition_variable fIdleCv;
    bool fIdleWake = false;
};

class KORVAN_HOST_EXPORT Factory {
  public:
    /// A new interpreter, registered for findByMcrID while it lives.
    static std::shared_ptr<XVM> createXVM(XVMOptions options = {});
    /// The interpreter current on the calling thread; null when none.
    static std::shared_ptr<XVM> getCurrentLocalXVM();
    /// Makes `vm` current on the calling thread (null: none) and returns the previous one,
    /// which is released from this thread. Throws std::logic_error when `vm` is current on
    /// another thread.
    static std::shared_ptr<XVM> setCurrentLocalXVM(std::shared_ptr<XVM> vm);
    /// The live interpreter with this identifier; null when none.
    static std::shared_ptr<XVM> findByMcrID(kvutil::contextmgr::McrID id);
};

/// Makes an interpreter current on this thread for the scope's life, then restores the
/// previous one. Not movable; use on one thread.
class CurrentXVMScope {
  public:
    explicit CurrentXVMScope(std::shared_ptr<XVM> vm)
        : fPrevious(Factory::setCurrentLocalXVM(std::move(vm))) {}
    ~CurrentXVMScope() { Factory::setCurrentLocalXVM(std::move(fPrevious)); }
    CurrentXVMScope(const CurrentXVMScope&) = delete;
    CurrentXVMScope& operator=(const CurrentXVMScope&) = delete;

  private:
    std::shared_ptr<XVM> fPrevious;
};

}  // namespace xvm
