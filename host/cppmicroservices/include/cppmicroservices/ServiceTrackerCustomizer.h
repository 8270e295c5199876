// ServiceTrackerCustomizer<S, T>: the callbacks through which a ServiceTracker asks what to track
// for a service of interface S (AddingService, null = do not track) and reports changes to and
// removal of tracked services.
//
// Threads: the callbacks run on the thread that delivers the service event (the thread that
// registers, modifies or unregisters the service) or on the thread calling Open, Close or
// Remove. Callbacks for different services may run at the same time on different threads, so
// an implementation must be thread-safe. The tracker holds no lock while calling it.
#pragma once

#include <cppmicroservices/ServiceReference.h>

#include <memory>
#include <stdexcept>
#include <type_traits>

namespace cppmicroservices {

template <class S, class T = S>
struct ServiceTrackerCustomizer {
    struct TypeTraits {
        using ServiceType = S;
        using TrackedType = T;
        using TrackedParamType = T;

        /// The service object itself when T is S; otherwise a customizer must make the object.
        static std::shared_ptr<TrackedType> ConvertToTrackedType(std::shared_ptr<S> const& s) {
            if constexpr (std::is_same_v<S, T>) {
                return s;
            } else {
                (void)s;
                throw std::runtime_error(
                    "A custom ServiceTrackerCustomizer instance is required for custom tracked "
                    "objects.");
            }
        }
    };

    using TrackedParamType = typename TypeTraits::TrackedParamType;

    virtual ~ServiceTrackerCustomizer() = default;

    /// The object to track for the service, or null to leave the service untracked.
    virtual std::shared_ptr<TrackedParamType> AddingService(
        ServiceReference<S> const& reference) = 0;
    /// A tracked service's properties changed and it still matches.
    virtual void ModifiedService(ServiceReference<S> const& reference,
                                 std::shared_ptr<TrackedParamType> const& service) = 0;
    /// A tracked service went away, stopped matching, or the tracker was closed.
    virtual void RemovedService(ServiceReference<S> const& reference,
                                std::shared_ptr<TrackedParamType> const& service) = 0;
};

}  // namespace cppmicroservices
