// ServiceRegistration<I1, Interfaces...>: a registration handle that knows the interfaces the
// service was registered under. ServiceRegistrationU is the untyped form.
#pragma once

#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceRegistrationBase.h>

#include <type_traits>

namespace cppmicroservices {

template <class I1, class... Interfaces>
class ServiceRegistration : public ServiceRegistrationBase {
  public:
    /// An invalid handle.
    ServiceRegistration() : ServiceRegistrationBase() {}

    template <class Interface>
    ServiceReference<Interface> GetReference() const {
        static_assert(
            std::is_same_v<Interface, I1> || (std::is_same_v<Interface, Interfaces> || ...),
            "the service was not registered under this interface");
        return ServiceRegistrationBase::GetReference(us_service_interface_iid<Interface>());
    }

    ServiceReference<I1> GetReference() const { return this->template GetReference<I1>(); }

    using ServiceRegistrationBase::operator=;

  private:
    friend class BundleContext;

    ServiceRegistration(ServiceRegistrationBase const& base) : ServiceRegistrationBase(base) {}
};

template <>
class ServiceRegistration<void> : public ServiceRegistrationBase {
  public:
    ServiceRegistration() : ServiceRegistrationBase() {}
    ServiceRegistration(ServiceRegistrationBase const& base) : ServiceRegistrationBase(base) {}

    using ServiceRegistrationBase::operator=;
};

using ServiceRegistrationU = ServiceRegistration<void>;

}  // namespace cppmicroservices
