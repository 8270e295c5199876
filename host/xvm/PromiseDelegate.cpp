#include "cmddistributor/PromiseDelegate.hpp"

#include <stdexcept>

#include "ExceptionBridge.hpp"

namespace cmddistributor {

PromiseDelegate::~PromiseDelegate() = default;

boost::future<void> PromiseDelegateT<void>::getFuture() {
    std::lock_guard lock(fMutex);
    return fPromise.get_future();
}

bool PromiseDelegateT<void>::tryRunTask(CmdRequest& request) noexcept {
    {
        std::lock_guard lock(fMutex);
        if (fState != State::Pending) return false;
        fState = State::Running;
    }
    // The payload runs without the lock: it may take long, and a cancel meanwhile must not
    // block (it finds Running and gives up).
    ExecutionResult result;
    if (const auto& iip = request.getIIP()) {
        result = iip->execute();
    } else {
        result = {ExecutionStatus::Failed,
                  std::make_exception_ptr(std::invalid_argument("request must contain an IIP."))};
    }
    std::lock_guard lock(fMutex);
    fulfilLocked(result);
    return true;
}

bool PromiseDelegateT<void>::tryFail(const RuntimeException& error) noexcept {
    return setResult({error.getExecutionStatus() == ExecutionStatus::Completed
                          ? ExecutionStatus::Failed
                          : error.getExecutionStatus(),
                      std::make_exception_ptr(error)});
}

bool PromiseDelegateT<void>::setResult(const ExecutionResult& result) noexcept {
    std::lock_guard lock(fMutex);
    if (fState != State::Pending) return false;
    return fulfilLocked(result);
}

bool PromiseDelegateT<void>::fulfilLocked(const ExecutionResult& result) noexcept {
    try {
        if (result.fStatus == ExecutionStatus::Completed) {
            fPromise.set_value();
        } else if (result.fError) {
            // Wrapped as it is, so that get() rethrows the exact exception the work threw.
            fPromise.set_exception(detail::toBoostExceptionPtr(result.fError));
        } else {
            fPromise.set_exception(detail::toBoostExceptionPtr(std::make_exception_ptr(
                RuntimeException(result.fStatus, "Request failed without an error"))));
        }
    } catch (...) {
        // Only boost::promise_already_satisfied could come here, which fState rules out.
    }
    fState = State::Done;
    fReadyCv.notify_all();
    return true;
}

void PromiseDelegateT<void>::waitTillReady() const {
    std::unique_lock lock(fMutex);
    fReadyCv.wait(lock, [this] { return fState == State::Done; });
}

bool PromiseDelegateT<void>::waitTillReady(std::chrono::milliseconds timeout) const {
    std::unique_lock lock(fMutex);
    return fReadyCv.wait_for(lock, timeout, [this] { return fState == State::Done; });
}

bool PromiseDelegateT<void>::isPromiseDone() const {
    std::lock_guard lock(fMutex);
    return fState == State::Done;
}

}  // namespace cmddistributor
