// BundleContext: a bundle's access to the framework: register services, find them, get the
// service objects and listen to service and framework events.
//
// Validity: a context is valid only while its bundle is started; every operation on a context
// that is not valid (including a default-constructed one) throws IllegalStateException (a
// std::runtime_error) "The bundle context is no longer valid".
//
// Threads: every method is thread-safe. Service events are delivered synchronously on the thread
// that registers, modifies or unregisters the service, before that call returns; no framework
// lock is held while a listener runs. A listener that throws does not disturb the caller: the
// exception becomes a FRAMEWORK_ERROR event for framework listeners.
//
// Ordering: GetServiceReferences with a class name returns the best service first (highest
// service.ranking, then lowest service.id); with an empty class name, registration order.
#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/ListenerFunctors.h>
#include <cppmicroservices/ListenerToken.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/detail/IllegalStateException.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {

namespace detail {
class ContextData;
class CoreFramework;
}  // namespace detail

class US_Framework_EXPORT BundleContext {
  public:
    /// An invalid context.
    BundleContext();
    BundleContext(BundleContext const&);
    BundleContext(BundleContext&&) noexcept;
    BundleContext& operator=(BundleContext const&);
    BundleContext& operator=(BundleContext&&) noexcept;
    BundleContext& operator=(std::nullptr_t);
    ~BundleContext();

    bool operator==(BundleContext const& rhs) const;
    bool operator!=(BundleContext const& rhs) const;
    bool operator<(BundleContext const& rhs) const;

    /// True while the bundle is started.
    explicit operator bool() const;

    /// A framework configuration value, or an empty Any.
    Any GetProperty(std::string const& key) const;
    AnyMap GetProperties() const;

    Bundle GetBundle() const;
    /// The bundle with that id (only the system bundle, id 0, exists), else an invalid Bundle.
    Bundle GetBundle(long id) const;
    std::vector<Bundle> GetBundles() const;

    /// Registers a service under every interface id of the map. The framework adds
    /// "objectclass", "service.id" and "service.scope"; keys differing only in case throw
    /// std::runtime_error; a null or empty map, an empty id or a null object throw
    /// std::invalid_argument. SERVICE_REGISTERED is delivered before this returns.
    [[nodiscard]] ServiceRegistrationU RegisterService(
        InterfaceMapConstPtr const& service,
        ServiceProperties const& properties = ServiceProperties());

    template <class I1, class... Interfaces, class Impl>
    ServiceRegistration<I1, Interfaces...> RegisterService(
        std::shared_ptr<Impl> const& impl,
        ServiceProperties const& properties = ServiceProperties()) {
        InterfaceMapConstPtr service = MakeInterfaceMap<I1, Interfaces...>(impl);
        return ServiceRegistration<I1, Interfaces...>(RegisterService(service, properties));
    }

    /// References to services registered under clazz ("" = any) that match the LDAP filter
    /// ("" = all). A malformed filter throws std::invalid_argument.
    std::vector<ServiceReferenceU> GetServiceReferences(std::string const& clazz,
                                                        std::string const& filter = std::string());

    template <class S>
    std::vector<ServiceReference<S>> GetServiceReferences(
        std::string const& filter = std::string()) {
        std::string const& clazz = us_service_interface_iid<S>();
        if (clazz.empty()) throw ServiceException("The service interface id is empty.");
        std::vector<ServiceReference<S>> result;
        for (auto const& reference : GetServiceReferences(clazz, filter)) {
            result.push_back(ServiceReference<S>(reference));
        }
        return result;
    }

    /// The best service registered under clazz, or an invalid reference when there is none.
    ServiceReferenceU GetServiceReference(std::string const& clazz);

    template <class S>
    ServiceReference<S> GetServiceReference() {
        std::string const& clazz = us_service_interface_iid<S>();
        if (clazz.empty()) throw ServiceException("The service interface id is empty.");
        return ServiceReference<S>(GetServiceReference(clazz));
    }

    /// The service object the reference is bound to. A false reference (default-constructed or
    /// of a service already unregistered) throws std::invalid_argument. An object obtained stays
    /// usable after its service is unregistered.
    std::shared_ptr<void> GetService(ServiceReferenceBase const& reference);
    InterfaceMapConstPtr GetService(ServiceReferenceU const& reference);

    template <class S>
    std::shared_ptr<S> GetService(ServiceReference<S> const& reference) {
        return std::static_pointer_cast<S>(
            GetService(static_cast<ServiceReferenceBase const&>(reference)));
    }

    /// Adds a listener for service events whose service matches filter ("" = all). A
    /// malformed filter throws std::invalid_argument.
    ListenerToken AddServiceListener(ServiceListener const& listener,
                                     std::string const& filter = std::string());
    ListenerToken AddFrameworkListener(FrameworkListener const& listener);
    /// Removes a listener; an unknown or empty token is ignored. A listener may still be
    /// running on another thread when this returns.
    void RemoveListener(ListenerToken token);

  private:
    friend class Bundle;
    friend class detail::CoreFramework;

    BundleContext(std::shared_ptr<detail::CoreFramework> core,
                  std::shared_ptr<detail::ContextData> context);

    /// The framework, or IllegalStateException when this context is not valid.
    detail::CoreFramework& checkedCore() const;

    std::shared_ptr<detail::CoreFramework> fCore;
    std::shared_ptr<detail::ContextData> d;
};

}  // namespace cppmicroservices
