// ServiceRegistrationBase: the handle a bundle gets back from RegisterService, used to change
// the service's properties and to unregister it.
//
// The handle stays true after Unregister(); destroying it does not unregister the service.
// Threads: any thread. SetProperties and Unregister deliver their events synchronously on the
// calling thread before they return.
// Errors: std::logic_error("ServiceRegistrationBase object invalid") on a default handle,
// std::logic_error("Service is unregistered") once the service is gone. A second Unregister
// that races with one in progress returns silently.
#pragma once

#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/ServiceReferenceBase.h>

#include <memory>
#include <string>

namespace cppmicroservices {

class BundleContext;
template <class I1, class... Interfaces>
class ServiceRegistration;

namespace detail {
class RegistrationData;
}

class US_Framework_EXPORT ServiceRegistrationBase {
  public:
    ServiceRegistrationBase(ServiceRegistrationBase const& reg);
    ServiceRegistrationBase(ServiceRegistrationBase&& reg) noexcept;
    ~ServiceRegistrationBase();

    explicit operator bool() const;
    ServiceRegistrationBase& operator=(std::nullptr_t);
    ServiceRegistrationBase& operator=(ServiceRegistrationBase const& registration);
    ServiceRegistrationBase& operator=(ServiceRegistrationBase&& registration) noexcept;

    /// A reference used through interfaceId ("" = not bound to one interface).
    ServiceReferenceBase GetReference(std::string const& interfaceId = std::string()) const;

    /// Replaces the properties (service.id, objectclass and service.scope are kept) and fires
    /// SERVICE_MODIFIED, or SERVICE_MODIFIED_ENDMATCH to listeners that no longer match.
    /// A service.ranking that is not an int throws std::invalid_argument.
    void SetProperties(ServiceProperties const& properties);
    void SetProperties(ServiceProperties&& properties);

    /// Removes the service and fires SERVICE_UNREGISTERING; then every reference turns false.
    void Unregister();

    bool operator<(ServiceRegistrationBase const& o) const;
    bool operator==(ServiceRegistrationBase const& registration) const;

  private:
    friend class BundleContext;
    template <class I1, class... Interfaces>
    friend class ServiceRegistration;

    ServiceRegistrationBase();
    explicit ServiceRegistrationBase(std::shared_ptr<detail::RegistrationData> registration);

    std::shared_ptr<detail::RegistrationData> d;
};

}  // namespace cppmicroservices
