// ServiceTrackerBase: identifier, logging and executor dispatch of the spf service trackers.
#include <agent/spf/cppmsclientutils/detail/ServiceTrackerBase.hpp>
#include <foundation/log/Log.hpp>

#include <atomic>
#include <exception>
#include <utility>

namespace agent::spf::cppmsclientutils::detail {

namespace {

const foundation::log::Channel kLog{"agent::spf"};

std::string nextId(const std::string& description) {
    static std::atomic<unsigned long> counter{0};
    return "ServiceTracker(" + description + ")#" + std::to_string(++counter);
}

}  // namespace

ServiceTrackerBase::ServiceTrackerBase(
    std::string description, int flags,
    std::shared_ptr<foundation::concurrent::threadpool::Executor> executor)
    : fId(nextId(description)), fDescription(std::move(description)) {
    if ((flags & TrackerFlags::kCallDirectly) == 0) {
        fExecutor =
            executor ? std::move(executor) : foundation::concurrent::threadpool::Executor::shared();
    }
}

ServiceTrackerBase::~ServiceTrackerBase() = default;

void ServiceTrackerBase::logStarting() const {
    FOUNDATION_LOG(kLog, "Starting service tracker " << fId);
}

void ServiceTrackerBase::logWaiting() const {
    FOUNDATION_LOG(kLog, "Waiting for a service of tracker " << fId);
}

void ServiceTrackerBase::dispatch(std::function<void()> call) const {
    if (fExecutor) {
        fExecutor->postWork(fId, std::move(call));
        return;
    }
    try {
        call();
    } catch (const std::exception& error) {
        FOUNDATION_LOG(kLog, "Handler of " << fId << " failed: " << error.what());
    } catch (...) {
        FOUNDATION_LOG(kLog, "Handler of " << fId << " failed");
    }
}

void ServiceTrackerBase::waitForPostedCalls() const {
    if (fExecutor) fExecutor->waitForKey(fId);
}

}  // namespace agent::spf::cppmsclientutils::detail
