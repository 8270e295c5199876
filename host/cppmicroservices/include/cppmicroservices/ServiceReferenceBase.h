// ServiceReferenceBase: a handle on one service registration, independent of the interface it
// is used through. References compare equal when they name the same registration.
//
// A reference is valid (true) while its service is registered, including while the
// UNREGISTERING event is being delivered; afterwards it is false but still reports the last
// properties. Ordering: a < b when a ranks lower, or ranks equal and has the higher service id,
// so the greatest reference is the best service.
//
// Threads: references are values; every method may be called from any thread.
#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/GlobalConfig.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {

class Bundle;
class BundleContext;
class LDAPFilter;
class ServiceEvent;
class ServiceRegistrationBase;
template <class S>
class ServiceReference;

class ServiceReferenceBase;

namespace detail {
class RegistrationData;
class CoreFramework;
/// True while the service is registered and not being unregistered (used by trackers, which
/// must not start tracking a service whose UNREGISTERING event may already have passed).
US_Framework_EXPORT bool isServiceRegistered(ServiceReferenceBase const& reference);
}  // namespace detail

class US_Framework_EXPORT ServiceReferenceBase {
  public:
    ServiceReferenceBase(ServiceReferenceBase const& other);
    ServiceReferenceBase(ServiceReferenceBase&& other) noexcept;
    ~ServiceReferenceBase();

    /// True while the service is registered.
    explicit operator bool() const;
    ServiceReferenceBase& operator=(std::nullptr_t);
    ServiceReferenceBase& operator=(ServiceReferenceBase const& other);
    ServiceReferenceBase& operator=(ServiceReferenceBase&& other) noexcept;

    /// The property under key (case-insensitive), or an empty Any.
    Any GetProperty(std::string const& key) const;
    void GetPropertyKeys(std::vector<std::string>& keys) const;
    std::vector<std::string> GetPropertyKeys() const;

    /// The bundle that registered the service; invalid once the service is unregistered.
    Bundle GetBundle() const;

    /// The interface this reference is used through ("" when not bound to one).
    std::string GetInterfaceId() const;
    bool IsConvertibleTo(std::string const& interfaceid) const;

    bool operator<(ServiceReferenceBase const& reference) const;
    bool operator==(ServiceReferenceBase const& reference) const;

  private:
    template <class S>
    friend class ServiceReference;
    friend class BundleContext;
    friend class LDAPFilter;
    friend class ServiceRegistrationBase;
    friend class detail::CoreFramework;
    friend struct std::hash<ServiceReferenceBase>;
    friend bool detail::isServiceRegistered(ServiceReferenceBase const& reference);

    ServiceReferenceBase();
    ServiceReferenceBase(std::shared_ptr<detail::RegistrationData> registration,
                         std::string interfaceId);

    std::size_t Hash() const;
    void SetInterfaceId(std::string const& interfaceId);

    std::shared_ptr<detail::RegistrationData> d;
    std::string fInterfaceId;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os,
                                             ServiceReferenceBase const& serviceRef);

}  // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::ServiceReferenceBase> {
    std::size_t operator()(cppmicroservices::ServiceReferenceBase const& reference) const {
        return reference.Hash();
    }
};
