// Service and framework listener tables of a framework.
#include "CoreFramework.h"

#include <cppmicroservices/detail/IllegalStateException.h>

#include <atomic>

namespace cppmicroservices::detail {

namespace {

std::int64_t nextListenerId() {
    static std::atomic<std::int64_t> counter{1};
    return counter.fetch_add(1);
}

}  // namespace

bool CoreFramework::contextValidLocked() const {
    return fContext && fContext->fValid &&
           (fState == Bundle::STATE_STARTING || fState == Bundle::STATE_ACTIVE);
}

CoreFramework::ServiceListeners CoreFramework::serviceListenersLocked() const {
    ServiceListeners result;
    result.reserve(fServiceListeners.size());
    for (auto const& entry : fServiceListeners) result.push_back(entry.second);
    return result;
}

std::int64_t CoreFramework::addServiceListener(ServiceListener const& listener,
                                               std::string const& filter) {
    auto entry = std::make_shared<ServiceListenerEntry>();
    entry->fListener = listener;
    if (!filter.empty()) entry->fFilter = LDAPFilter(filter);  // std::invalid_argument
    std::lock_guard<std::mutex> lock(fMutex);
    if (!contextValidLocked()) throw IllegalStateException(kInvalidContext);
    std::int64_t const id = nextListenerId();
    fServiceListeners.emplace(id, std::move(entry));
    return id;
}

std::int64_t CoreFramework::addFrameworkListener(FrameworkListener const& listener) {
    auto entry = std::make_shared<FrameworkListenerEntry>();
    entry->fListener = listener;
    std::lock_guard<std::mutex> lock(fMutex);
    if (!contextValidLocked()) throw IllegalStateException(kInvalidContext);
    std::int64_t const id = nextListenerId();
    fFrameworkListeners.emplace(id, std::move(entry));
    return id;
}

void CoreFramework::removeListener(std::int64_t id) {
    std::shared_ptr<ServiceListenerEntry> serviceEntry;
    std::shared_ptr<FrameworkListenerEntry> frameworkEntry;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        if (auto found = fServiceListeners.find(id); found != fServiceListeners.end()) {
            serviceEntry = std::move(found->second);
            serviceEntry->fRemoved = true;
            fServiceListeners.erase(found);
        } else if (auto other = fFrameworkListeners.find(id); other != fFrameworkListeners.end()) {
            frameworkEntry = std::move(other->second);
            frameworkEntry->fRemoved = true;
            fFrameworkListeners.erase(other);
        }
    }
    // The listener objects die here, outside the lock, unless a delivery still holds them.
}

void CoreFramework::deliverFrameworkEvent(FrameworkEvent const& event) {
    std::vector<std::shared_ptr<FrameworkListenerEntry>> listeners;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        for (auto const& entry : fFrameworkListeners) listeners.push_back(entry.second);
    }
    for (auto const& entry : listeners) {
        if (entry->fRemoved) continue;
        try {
            entry->fListener(event);
        } catch (...) {
            // A framework listener that throws is ignored; there is nobody left to tell.
        }
    }
}

}  // namespace cppmicroservices::detail
