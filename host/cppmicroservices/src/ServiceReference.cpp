// ServiceReferenceBase: a handle on a registration, valid while the service is registered.
#include "CoreFramework.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceReferenceBase.h>

#include <ostream>
#include <utility>

namespace cppmicroservices {

using detail::RegistrationData;

ServiceReferenceBase::ServiceReferenceBase() = default;
ServiceReferenceBase::ServiceReferenceBase(std::shared_ptr<RegistrationData> registration,
                                           std::string interfaceId)
    : d(std::move(registration)), fInterfaceId(std::move(interfaceId)) {}
ServiceReferenceBase::ServiceReferenceBase(ServiceReferenceBase const&) = default;
ServiceReferenceBase::ServiceReferenceBase(ServiceReferenceBase&&) noexcept = default;
ServiceReferenceBase::~ServiceReferenceBase() = default;
ServiceReferenceBase& ServiceReferenceBase::operator=(ServiceReferenceBase const&) = default;
ServiceReferenceBase& ServiceReferenceBase::operator=(ServiceReferenceBase&&) noexcept = default;

ServiceReferenceBase& ServiceReferenceBase::operator=(std::nullptr_t) {
    d.reset();
    fInterfaceId.clear();
    return *this;
}

ServiceReferenceBase::operator bool() const {
    return d && d->state() != RegistrationData::State::Unregistered && !d->fCore.expired();
}

Any ServiceReferenceBase::GetProperty(std::string const& key) const {
    return d ? d->property(key) : Any();
}

void ServiceReferenceBase::GetPropertyKeys(std::vector<std::string>& keys) const {
    if (!d) return;
    for (auto const& entry : d->properties()) keys.push_back(entry.first);
}

std::vector<std::string> ServiceReferenceBase::GetPropertyKeys() const {
    std::vector<std::string> keys;
    GetPropertyKeys(keys);
    return keys;
}

Bundle ServiceReferenceBase::GetBundle() const {
    if (!*this) return Bundle();
    return Bundle(d->fCore.lock());
}

std::string ServiceReferenceBase::GetInterfaceId() const {
    return fInterfaceId;
}

bool ServiceReferenceBase::IsConvertibleTo(std::string const& interfaceid) const {
    return d && d->hasInterface(detail::stripGlobalScope(interfaceid));
}

bool ServiceReferenceBase::operator<(ServiceReferenceBase const& reference) const {
    if (!d || !reference.d) return !d && reference.d;
    int const rank = d->ranking();
    int const otherRank = reference.d->ranking();
    if (rank != otherRank) return rank < otherRank;
    return d->fId > reference.d->fId;
}

bool ServiceReferenceBase::operator==(ServiceReferenceBase const& reference) const {
    return d == reference.d;
}

std::size_t ServiceReferenceBase::Hash() const {
    return std::hash<RegistrationData const*>()(d.get());
}

void ServiceReferenceBase::SetInterfaceId(std::string const& interfaceId) {
    fInterfaceId = interfaceId;
}

std::ostream& operator<<(std::ostream& os, ServiceReferenceBase const& serviceRef) {
    if (!serviceRef) return os << "Invalid service reference";
    os << "Reference for service object registered from system_bundle (id=0): "
       << serviceRef.GetProperty(Constants::OBJECTCLASS).ToStringNoExcept()
       << " service.id=" << serviceRef.GetProperty(Constants::SERVICE_ID).ToStringNoExcept();
    return os;
}

namespace detail {

bool isServiceRegistered(ServiceReferenceBase const& reference) {
    return reference.d && reference.d->state() == RegistrationData::State::Registered &&
           !reference.d->fCore.expired();
}

}  // namespace detail

}  // namespace cppmicroservices
