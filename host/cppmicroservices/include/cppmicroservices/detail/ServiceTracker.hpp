// Implementation of ServiceTracker<S, T> (included by ServiceTracker.h).
//
// ServiceTrackerPrivate holds what a tracker was built with (constant after construction) and
// the current session (guarded by fMutex, null while the tracker is closed). fMutex is never
// held while the customizer runs or while waiting for a session.
#pragma once

#include <cppmicroservices/detail/TrackedSession.hpp>

#include <exception>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

namespace cppmicroservices::detail {

template <class S, class T>
class ServiceTrackerPrivate {
  public:
    using Session = TrackedSession<S, T>;

    ServiceTrackerPrivate(BundleContext const& context, ServiceTrackerCustomizer<S, T>* customizer)
        : fContext(context), fCustomizer(customizer) {}

    std::shared_ptr<Session> session() const {
        std::lock_guard<std::mutex> lock(fMutex);
        return fSession;
    }

    BundleContext fContext;
    ServiceTrackerCustomizer<S, T>* fCustomizer;  // not owned
    LDAPFilter fFilter;                           // the LDAPFilter constructor's filter
    bool fCheckFilter = false;                    // events must match fFilter
    std::string fListenerFilter;                  // filter of the service listener
    std::string fClass;                           // class of the initial query ("" = any)
    std::string fInitialFilter;                   // filter of the initial query

    mutable std::mutex fMutex;
    std::shared_ptr<Session> fSession;  // guarded by fMutex
    ListenerToken fToken;               // guarded by fMutex
};

}  // namespace cppmicroservices::detail

namespace cppmicroservices {

template <class S, class T>
ServiceTracker<S, T>::~ServiceTracker() {
    try {
        Close();
    } catch (...) {
    }
}

template <class S, class T>
ServiceTracker<S, T>::ServiceTracker(BundleContext const& context,
                                     ServiceReference<S> const& reference,
                                     ServiceTrackerCustomizer<S, T>* customizer)
    : d(std::make_unique<detail::ServiceTrackerPrivate<S, T>>(context,
                                                              customizer ? customizer : this)) {
    long const id = any_cast<long>(reference.GetProperty(Constants::SERVICE_ID));
    d->fListenerFilter = "(" + Constants::SERVICE_ID + "=" + std::to_string(id) + ")";
    d->fInitialFilter = d->fListenerFilter;
}

template <class S, class T>
ServiceTracker<S, T>::ServiceTracker(BundleContext const& context, std::string const& clazz,
                                     ServiceTrackerCustomizer<S, T>* customizer)
    : d(std::make_unique<detail::ServiceTrackerPrivate<S, T>>(context,
                                                              customizer ? customizer : this)) {
    d->fListenerFilter =
        "(" + Constants::OBJECTCLASS + "=" + detail::escapeFilterValue(clazz) + ")";
    d->fClass = clazz;
}

template <class S, class T>
ServiceTracker<S, T>::ServiceTracker(BundleContext const& context, LDAPFilter const& filter,
                                     ServiceTrackerCustomizer<S, T>* customizer)
    : d(std::make_unique<detail::ServiceTrackerPrivate<S, T>>(context,
                                                              customizer ? customizer : this)) {
    if (!context) throw std::invalid_argument("The bundle context cannot be null.");
    d->fFilter = filter;
    d->fCheckFilter = true;
    d->fListenerFilter = filter.ToString();
    d->fInitialFilter = d->fListenerFilter;
    d->fClass = detail::pinnedObjectClass(filter);
}

template <class S, class T>
ServiceTracker<S, T>::ServiceTracker(BundleContext const& context,
                                     ServiceTrackerCustomizer<S, T>* customizer)
    : d(std::make_unique<detail::ServiceTrackerPrivate<S, T>>(context,
                                                              customizer ? customizer : this)) {
    std::string const& clazz = us_service_interface_iid<S>();
    if (clazz.empty()) throw ServiceException("The service interface id is empty.");
    d->fListenerFilter =
        "(" + Constants::OBJECTCLASS + "=" + detail::escapeFilterValue(clazz) + ")";
    d->fClass = clazz;
}

template <class S, class T>
void ServiceTracker<S, T>::Open() {
    using Session = typename detail::ServiceTrackerPrivate<S, T>::Session;
    std::shared_ptr<Session> session;
    {
        std::lock_guard<std::mutex> lock(d->fMutex);
        if (d->fSession) return;
        session = std::make_shared<Session>(d->fCustomizer);
        ListenerToken token;
        std::vector<ServiceReferenceU> found;
        try {
            // The listener first, then the snapshot: a service registered in between is seen
            // by both, which the session tolerates; none can be missed.
            LDAPFilter const filterCopy = d->fFilter;
            token = d->fContext.AddServiceListener(
                [session, filterCopy, checked = d->fCheckFilter](ServiceEvent const& event) {
                    session->serviceChanged(event, checked ? &filterCopy : nullptr);
                },
                d->fListenerFilter);
            found = d->fContext.GetServiceReferences(d->fClass, d->fInitialFilter);
        } catch (std::invalid_argument const& error) {
            if (token) d->fContext.RemoveListener(std::move(token));
            throw std::runtime_error(std::string("unexpected std::invalid_argument exception: ") +
                                     error.what());
        } catch (...) {
            if (token) {
                try {
                    d->fContext.RemoveListener(std::move(token));
                } catch (...) {
                }
            }
            throw;
        }
        std::vector<ServiceReference<S>> initial;
        for (auto const& reference : found) {
            ServiceReference<S> typed(reference);
            if (typed) initial.push_back(typed);
        }
        session->setInitial(std::move(initial));
        d->fSession = session;
        d->fToken = std::move(token);
    }
    session->trackInitial();
}

template <class S, class T>
void ServiceTracker<S, T>::Close() {
    std::shared_ptr<typename detail::ServiceTrackerPrivate<S, T>::Session> session;
    ListenerToken token;
    {
        std::lock_guard<std::mutex> lock(d->fMutex);
        session = std::move(d->fSession);
        d->fSession = nullptr;
        token = std::move(d->fToken);
    }
    if (!session) return;
    try {
        d->fContext.RemoveListener(std::move(token));
    } catch (std::runtime_error const&) {
        // The context died with its framework: there is no listener left to remove.
    }
    std::exception_ptr firstError;
    for (auto const& [reference, object] : session->close()) {
        try {
            d->fCustomizer->RemovedService(reference, object);
        } catch (...) {
            if (!firstError) firstError = std::current_exception();
        }
    }
    if (firstError) std::rethrow_exception(firstError);
}

template <class S, class T>
std::shared_ptr<typename ServiceTracker<S, T>::TrackedParamType>
ServiceTracker<S, T>::WaitForService() {
    return WaitForService(std::chrono::milliseconds(0));
}

template <class S, class T>
template <class Rep, class Period>
std::shared_ptr<typename ServiceTracker<S, T>::TrackedParamType>
ServiceTracker<S, T>::WaitForService(std::chrono::duration<Rep, Period> const& rel_time) {
    if (rel_time < rel_time.zero()) throw std::invalid_argument("negative timeout");
    if (auto object = GetService()) return object;
    auto session = d->session();
    if (!session) return nullptr;
    if (!d->fContext) throw std::logic_error("The bundle context cannot be null.");

    using Clock = std::chrono::steady_clock;
    if (rel_time == rel_time.zero()) {
        // Without limit: wake every 500 ms to notice a context that died meanwhile.
        while (!session->waitUntil(Clock::now() + std::chrono::milliseconds(500))) {
            if (session->closed()) return nullptr;
            if (!d->fContext) throw std::logic_error("The bundle context became null.");
        }
    } else {
        // Limit absurdly long waits so that the deadline cannot overflow.
        std::chrono::duration<double> const seconds = rel_time;
        auto const wait = seconds.count() > 1.0e9
                              ? Clock::duration(std::chrono::hours(24 * 365 * 30))
                              : std::chrono::ceil<Clock::duration>(seconds);
        session->waitUntil(Clock::now() + wait);
    }
    return GetService();
}

template <class S, class T>
std::vector<ServiceReference<S>> ServiceTracker<S, T>::GetServiceReferences() const {
    std::vector<ServiceReference<S>> result;
    if (auto session = d->session()) {
        for (auto const& entry : session->tracked()) result.push_back(entry.first);
    }
    return result;
}

template <class S, class T>
ServiceReference<S> ServiceTracker<S, T>::GetServiceReference() const {
    auto session = d->session();
    if (session) {
        auto best = session->best();
        if (best.second) return best.first;
    }
    throw ServiceException("No service is being tracked");
}

template <class S, class T>
std::shared_ptr<typename ServiceTracker<S, T>::TrackedParamType> ServiceTracker<S, T>::GetService(
    ServiceReference<S> const& reference) const {
    auto session = d->session();
    return session ? session->objectFor(reference) : nullptr;
}

template <class S, class T>
std::vector<std::shared_ptr<typename ServiceTracker<S, T>::TrackedParamType>>
ServiceTracker<S, T>::GetServices() const {
    std::vector<std::shared_ptr<TrackedParamType>> result;
    if (auto session = d->session()) {
        for (auto const& entry : session->tracked()) result.push_back(entry.second);
    }
    return result;
}

template <class S, class T>
std::shared_ptr<typename ServiceTracker<S, T>::TrackedParamType> ServiceTracker<S, T>::GetService()
    const {
    auto session = d->session();
    return session ? session->best().second : nullptr;
}

template <class S, class T>
void ServiceTracker<S, T>::Remove(ServiceReference<S> const& reference) {
    if (auto session = d->session()) session->untrack(reference);
}

template <class S, class T>
int ServiceTracker<S, T>::Size() const {
    auto session = d->session();
    return session ? session->size() : 0;
}

template <class S, class T>
int ServiceTracker<S, T>::GetTrackingCount() const {
    auto session = d->session();
    return session ? session->trackingCount() : -1;
}

template <class S, class T>
void ServiceTracker<S, T>::GetTracked(TrackingMap& tracked) const {
    if (auto session = d->session()) {
        for (auto const& entry : session->tracked()) tracked.insert(entry);
    }
}

template <class S, class T>
bool ServiceTracker<S, T>::IsEmpty() const {
    return Size() == 0;
}

template <class S, class T>
std::shared_ptr<typename ServiceTracker<S, T>::TrackedParamType>
ServiceTracker<S, T>::AddingService(ServiceReference<S> const& reference) {
    return TypeTraits::ConvertToTrackedType(d->fContext.template GetService<S>(reference));
}

template <class S, class T>
void ServiceTracker<S, T>::ModifiedService(ServiceReference<S> const&,
                                           std::shared_ptr<TrackedParamType> const&) {}

template <class S, class T>
void ServiceTracker<S, T>::RemovedService(ServiceReference<S> const&,
                                          std::shared_ptr<TrackedParamType> const&) {}

}  // namespace cppmicroservices
