// A thread that serves an interpreter: it makes the interpreter current, runs the work posted
// to it (FIFO, one at a time) and waits while there is none, until stopped. For tests and for
// processes whose main thread is busy elsewhere; the korvan shell serves its interpreter on the
// main thread instead (xvm::XVM::drainPending / waitAndDrain).
//
//   korvan::host::InterpreterThread thread;  // a new interpreter with a distributor
//   auto vm = thread.getXVM();
//   xvm::runOnInterpreter(vm, work, std::chrono::seconds(5), "Test");
//
// Stopping: stop() (or the destructor) lets the work that is queued at that moment run, ends
// the thread and releases the interpreter from it; the interpreter itself lives on with its
// other owners and may be served by another thread later.
//
// Threads: construct, stop and destroy from any thread except the serving thread itself
// (std::logic_error). The members are constant after construction apart from fStopping.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "korvan/host/Export.hpp"
#include "xvm/XVM.hpp"

namespace korvan::host {

class KORVAN_HOST_EXPORT InterpreterThread {
  public:
    /// Serves `vm` (a new interpreter with default options when null). Returns once the thread
    /// has made it current. Throws std::logic_error when `vm` is current on another thread.
    explicit InterpreterThread(std::shared_ptr<xvm::XVM> vm = nullptr);
    ~InterpreterThread();
    InterpreterThread(const InterpreterThread&) = delete;
    InterpreterThread& operator=(const InterpreterThread&) = delete;

    const std::shared_ptr<xvm::XVM>& getXVM() const noexcept { return fXVM; }
    std::thread::id getThreadId() const noexcept { return fThreadId; }

    /// Runs what is queued now, then ends the thread. Idempotent.
    void stop();

  private:
    void serve();

    const std::shared_ptr<xvm::XVM> fXVM;
    std::atomic<bool> fStopping{false};
    std::thread fThread;
    std::thread::id fThreadId;  // set before the constructor returns
};

}  // namespace korvan::host
