// ServiceReference<S>: a ServiceReferenceBase bound to interface S. Converting from a base
// reference gives an invalid reference when the service is not registered under S's id.
// ServiceReferenceU (S = void) accepts any registration.
#pragma once

#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceReferenceBase.h>

#include <cstddef>
#include <functional>

namespace cppmicroservices {

template <class S>
class ServiceReference : public ServiceReferenceBase {
  public:
    using ServiceType = S;

    /// An invalid reference.
    ServiceReference() : ServiceReferenceBase() {}
    ServiceReference(ServiceReference const&) = default;
    ServiceReference& operator=(ServiceReference const&) = default;

    ServiceReference(ServiceReferenceBase const& base) : ServiceReferenceBase(base) { bind(); }

    using ServiceReferenceBase::operator=;
    ServiceReference& operator=(ServiceReferenceBase const& base) {
        ServiceReferenceBase::operator=(base);
        bind();
        return *this;
    }

    using ServiceReferenceBase::operator==;
    using ServiceReferenceBase::Hash;

  private:
    void bind() {
        std::string const& interfaceId = us_service_interface_iid<S>();
        if (IsConvertibleTo(interfaceId)) {
            SetInterfaceId(interfaceId);
        } else {
            ServiceReferenceBase::operator=(nullptr);
        }
    }
};

template <>
class ServiceReference<void> : public ServiceReferenceBase {
  public:
    using ServiceType = void;

    ServiceReference() : ServiceReferenceBase() {}
    ServiceReference(ServiceReference const&) = default;
    ServiceReference& operator=(ServiceReference const&) = default;
    ServiceReference(ServiceReferenceBase const& base) : ServiceReferenceBase(base) {}

    using ServiceReferenceBase::operator=;
    ServiceReference& operator=(ServiceReferenceBase const& base) {
        ServiceReferenceBase::operator=(base);
        return *this;
    }

    using ServiceReferenceBase::operator==;
    using ServiceReferenceBase::Hash;
};

using ServiceReferenceU = ServiceReference<void>;

}  // namespace cppmicroservices

template <class S>
struct std::hash<cppmicroservices::ServiceReference<S>> {
    std::size_t operator()(cppmicroservices::ServiceReference<S> const& reference) const {
        return reference.Hash();
    }
};
