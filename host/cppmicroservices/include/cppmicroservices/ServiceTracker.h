// ServiceTracker<S, T>: keeps the set of services of interface S that match a class name, a
// filter or one reference, calling a ServiceTrackerCustomizer (by default itself) as services
// come, change and go.
//
// Lifecycle: constructed closed; Open() adds a service listener and then, on the calling
// thread, calls AddingService for every service that already matches; Close() removes the
// listener, waits for callbacks running on other threads and then calls RemovedService for
// every tracked service on the calling thread. The destructor calls Close() and swallows its
// exceptions. A customizer passed in is not owned and must outlive the tracker.
//
// Threads: every public method is thread-safe; see ServiceTrackerCustomizer.h for the threads
// callbacks run on. No lock is held while a callback runs.
//
// Errors: Open() throws what AddingService throws for the initial services (the tracker stays
// open) and IllegalStateException for an invalid context; GetServiceReference() throws
// ServiceException("No service is being tracked") when nothing is tracked; WaitForService
// throws std::invalid_argument("negative timeout").
#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTrackerCustomizer.h>

#include <chrono>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace cppmicroservices {

namespace detail {
template <class S, class T>
class ServiceTrackerPrivate;
}

template <class S, class T = S>
class ServiceTracker : protected ServiceTrackerCustomizer<S, T> {
  public:
    using TypeTraits = typename ServiceTrackerCustomizer<S, T>::TypeTraits;
    using ServiceType = typename TypeTraits::ServiceType;
    using TrackedType = typename TypeTraits::TrackedType;
    using TrackedParamType = typename ServiceTrackerCustomizer<S, T>::TrackedParamType;
    using TrackingMap = std::unordered_map<ServiceReference<S>, std::shared_ptr<TrackedParamType>>;

    ~ServiceTracker() override;

    /// Tracks the one service of reference (filter "(service.id=<id>)").
    ServiceTracker(BundleContext const& context, ServiceReference<S> const& reference,
                   ServiceTrackerCustomizer<S, T>* customizer = nullptr);
    /// Tracks the services registered under clazz, best first on Open.
    ServiceTracker(BundleContext const& context, std::string const& clazz,
                   ServiceTrackerCustomizer<S, T>* customizer = nullptr);
    /// Tracks the services of interface S matching filter. Throws std::invalid_argument("The
    /// bundle context cannot be null.") for an invalid context.
    ServiceTracker(BundleContext const& context, LDAPFilter const& filter,
                   ServiceTrackerCustomizer<S, T>* customizer = nullptr);
    /// Tracks the services registered under S's interface id.
    ServiceTracker(BundleContext const& context,
                   ServiceTrackerCustomizer<S, T>* customizer = nullptr);

    ServiceTracker(ServiceTracker const&) = delete;
    ServiceTracker& operator=(ServiceTracker const&) = delete;

    /// Starts tracking; a no-op when already open.
    virtual void Open();
    /// Stops tracking; a no-op when not open.
    virtual void Close();

    /// Waits without limit (see the bounded form).
    std::shared_ptr<TrackedParamType> WaitForService();
    /// The best tracked object, waiting up to rel_time (0 = without limit) for one to appear.
    /// Returns null at once when the tracker is not open, and promptly when it is closed.
    template <class Rep, class Period>
    std::shared_ptr<TrackedParamType> WaitForService(
        std::chrono::duration<Rep, Period> const& rel_time);

    /// The tracked references, in no particular order; empty when not open.
    virtual std::vector<ServiceReference<S>> GetServiceReferences() const;
    /// The best tracked reference (highest service.ranking, then lowest service.id).
    virtual ServiceReference<S> GetServiceReference() const;
    virtual std::shared_ptr<TrackedParamType> GetService(
        ServiceReference<S> const& reference) const;
    virtual std::vector<std::shared_ptr<TrackedParamType>> GetServices() const;
    /// The object of the best tracked service, or null.
    virtual std::shared_ptr<TrackedParamType> GetService() const;
    /// Stops tracking one service, calling RemovedService on this thread.
    virtual void Remove(ServiceReference<S> const& reference);
    virtual int Size() const;
    /// -1 when not open; else counts adds, modifications of tracked services and removals.
    virtual int GetTrackingCount() const;
    virtual void GetTracked(TrackingMap& tracked) const;
    virtual bool IsEmpty() const;

  protected:
    /// Default customizer: the service object from the context, converted to T.
    std::shared_ptr<TrackedParamType> AddingService(ServiceReference<S> const& reference) override;
    void ModifiedService(ServiceReference<S> const& reference,
                         std::shared_ptr<TrackedParamType> const& service) override;
    void RemovedService(ServiceReference<S> const& reference,
                        std::shared_ptr<TrackedParamType> const& service) override;

  private:
    std::unique_ptr<detail::ServiceTrackerPrivate<S, T>> d;
};

}  // namespace cppmicroservices

#include <cppmicroservices/detail/ServiceTracker.hpp>
