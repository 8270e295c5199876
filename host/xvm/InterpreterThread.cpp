#include "korvan/host/InterpreterThread.hpp"

#include <future>
#include <stdexcept>

namespace korvan::host {
namespace {
// How long one idle wait lasts; stop() wakes the thread earlier.
constexpr std::chrono::milliseconds kIdleWait{500};
}  // namespace

InterpreterThread::InterpreterThread(std::shared_ptr<xvm::XVM> vm)
    : fXVM(vm ? std::move(vm) : xvm::Factory::createXVM()) {
    std::promise<void> started;
    auto startedFuture = started.get_future();
    fThread = std::thread([this, started = std::move(started)]() mutable {
        try {
            xvm::Factory::setCurrentLocalXVM(fXVM);
        } catch (...) {
            started.set_exception(std::current_exception());
            return;
        }
        started.set_value();
        serve();
        xvm::Factory::setCurrentLocalXVM(nullptr);
    });
    fThreadId = fThread.get_id();
    try {
        startedFuture.get();
    } catch (...) {
        fThread.join();
        throw;
    }
}

InterpreterThread::~InterpreterThread() {
    stop();
}

void InterpreterThread::serve() {
    while (!fStopping.load()) fXVM->waitAndDrain(kIdleWait);
    // What was queued before stop() still runs.
    fXVM->drainPending();
}

void InterpreterThread::stop() {
    if (std::this_thread::get_id() == fThreadId) {
        throw std::logic_error("InterpreterThread::stop called on its own thread");
    }
    fStopping.store(true);
    fXVM->wake();
    if (fThread.joinable()) fThread.join();
}

}  // namespace korvan::host
