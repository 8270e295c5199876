// ServiceTracker<T>: a registry tracker of services of interface T that tells handlers when a
// service is added, modified or removed.
//
// It is a cppmicroservices::ServiceTracker<T> (Open, Close, WaitForService, GetService, ... as
// there) that customizes itself: a service is tracked when its object can be had from the
// context, and each event walks the matching handler list. A list holds entries of a callable
// and a one-shot flag, called in registration order; a one-shot entry is taken off the list by
// the first event that walks it. With an executor (the default) every call is posted to it
// under the tracker's identifier, so one tracker's handlers run one at a time in event order on
// an executor worker; with TrackerFlags::kCallDirectly they run on the thread reporting the
// event (see cppmicroservices/ServiceTrackerCustomizer.h for which thread that is).
//
// Usage:
//     auto tracker = std::make_shared<ServiceTracker<core::Invokable>>(context, filter);
//     tracker->addServiceAddedHandler([this](auto const&) { onAdded(); });
//     tracker->addServiceRemovedHandler([this](auto const&) { onRemoved(); });
//     tracker->logStarting();
//     tracker->Open();
//
// Ownership: handlers are copied in; what they capture must outlive the tracker or their
// calls. Destroying the tracker first drops every handler (no handler runs for the closing),
// then closes it, then waits for calls already posted (unless destroyed on an executor worker).
// An explicit Close() does call the removed handlers for the services still tracked.
// Threads: every member function may be called from any thread; handler lists are changed
// under getMutex(), and no lock is held while a handler runs.
#pragma once

#include <agent/spf/cppmsclientutils/detail/ServiceTrackerBase.hpp>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTracker.h>

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace agent::spf::cppmsclientutils {

template <class T>
class ServiceTracker : public cppmicroservices::ServiceTracker<T>,
                       public detail::ServiceTrackerBase {
  public:
    using Handler = std::function<void(const std::shared_ptr<T>&)>;
    struct HandlerEntry {
        Handler fHandler;
        bool fOneShot = false;
    };
    using HandlerList = std::vector<HandlerEntry>;

    /// Tracks the services of T that match filter. A default (false) filter tracks the
    /// services of T present at Open and ignores later registrations, as the registry's own
    /// tracker does. Throws std::invalid_argument for an invalid context.
    ServiceTracker(const cppmicroservices::BundleContext& context,
                   const cppmicroservices::LDAPFilter& filter,
                   int flags = TrackerFlags::kPostToExecutor,
                   std::shared_ptr<foundation::concurrent::threadpool::Executor> executor = nullptr)
        : cppmicroservices::ServiceTracker<T>(context, filter),
          detail::ServiceTrackerBase(describe(filter), flags, std::move(executor)),
          fContext(context) {}

    /// Tracks every service registered under T's interface id.
    explicit ServiceTracker(
        const cppmicroservices::BundleContext& context, int flags = TrackerFlags::kPostToExecutor,
        std::shared_ptr<foundation::concurrent::threadpool::Executor> executor = nullptr)
        : cppmicroservices::ServiceTracker<T>(context),
          detail::ServiceTrackerBase("objectclass=" + us_service_interface_iid<T>(), flags,
                                     std::move(executor)),
          fContext(context) {}

    ~ServiceTracker() override {
        clearHandlers();
        try {
            this->Close();
        } catch (...) {
        }
        waitForPostedCalls();
    }

    void addServiceAddedHandler(Handler handler, bool oneShot = false) {
        add(fAdded, std::move(handler), oneShot);
    }
    void addServiceModifiedHandler(Handler handler, bool oneShot = false) {
        add(fModified, std::move(handler), oneShot);
    }
    void addServiceRemovedHandler(Handler handler, bool oneShot = false) {
        add(fRemoved, std::move(handler), oneShot);
    }

    /// Drops every handler of every list.
    void clearHandlers() {
        std::lock_guard<std::recursive_mutex> lock(getMutex());
        fAdded.clear();
        fModified.clear();
        fRemoved.clear();
    }

    /// Number of entries in each list (for diagnostics and tests).
    std::size_t addedHandlerCount() const { return count(fAdded); }
    std::size_t modifiedHandlerCount() const { return count(fModified); }
    std::size_t removedHandlerCount() const { return count(fRemoved); }

  protected:
    std::shared_ptr<T> AddingService(
        const cppmicroservices::ServiceReference<T>& reference) override {
        std::shared_ptr<T> service;
        try {
            service = fContext.template GetService<T>(reference);
        } catch (const std::exception&) {
            return nullptr;  // gone meanwhile, or the framework stopped: not tracked
        }
        if (service) fire(fAdded, service);
        return service;
    }

    void ModifiedService(const cppmicroservices::ServiceReference<T>&,
                         const std::shared_ptr<T>& service) override {
        fire(fModified, service);
    }

    void RemovedService(const cppmicroservices::ServiceReference<T>&,
                        const std::shared_ptr<T>& service) override {
        fire(fRemoved, service);
    }

  private:
    static std::string describe(const cppmicroservices::LDAPFilter& filter) {
        return filter ? filter.ToString() : "every " + us_service_interface_iid<T>();
    }

    void add(HandlerList& list, Handler handler, bool oneShot) {
        std::lock_guard<std::recursive_mutex> lock(getMutex());
        list.push_back(HandlerEntry{std::move(handler), oneShot});
    }

    std::size_t count(const HandlerList& list) const {
        std::lock_guard<std::recursive_mutex> lock(getMutex());
        return list.size();
    }

    void fire(HandlerList& list, const std::shared_ptr<T>& service) {
        std::vector<Handler> calls;
        {
            std::lock_guard<std::recursive_mutex> lock(getMutex());
            for (auto entry = list.begin(); entry != list.end();) {
                calls.push_back(entry->fHandler);
                entry = entry->fOneShot ? list.erase(entry) : entry + 1;
            }
        }
        for (auto& handler : calls) {
            dispatch([handler = std::move(handler), service] { handler(service); });
        }
    }

    cppmicroservices::BundleContext fContext;  // constant; source of the service objects
    HandlerList fAdded;                        // guarded by getMutex()
    HandlerList fModified;                     // guarded by getMutex()
    HandlerList fRemoved;                      // guarded by getMutex()
};

}  // namespace agent::spf::cppmsclientutils
