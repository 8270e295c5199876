// A registration's data and the ServiceRegistrationBase handle on it.
#include "CoreFramework.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceRegistrationBase.h>

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {
char const* const kUnregistered = "Service is unregistered";
char const* const kInvalidRegistration = "ServiceRegistrationBase object invalid";
}  // namespace

RegistrationData::RegistrationData(long id, InterfaceMapConstPtr service, AnyMap properties,
                                   std::weak_ptr<CoreFramework> core)
    : fId(id),
      fService(std::move(service)),
      fCore(std::move(core)),
      fProperties(std::move(properties)),
      fState(State::Registered) {}

AnyMap RegistrationData::properties() const {
    std::lock_guard<std::mutex> lock(fMutex);
    return fProperties;
}

Any RegistrationData::property(std::string const& key) const {
    std::lock_guard<std::mutex> lock(fMutex);
    auto found = fProperties.find(key);
    return found == fProperties.end() ? Any() : found->second;
}

int RegistrationData::ranking() const {
    std::lock_guard<std::mutex> lock(fMutex);
    auto found = fProperties.find(Constants::SERVICE_RANKING);
    if (found == fProperties.end()) return 0;
    int const* rank = any_cast<int>(&found->second);
    return rank ? *rank : 0;
}

RegistrationData::State RegistrationData::state() const {
    std::lock_guard<std::mutex> lock(fMutex);
    return fState;
}

bool RegistrationData::hasInterface(std::string const& interfaceId) const {
    return fService->count(interfaceId) != 0;
}

bool RegistrationData::beginUnregister() {
    std::lock_guard<std::mutex> lock(fMutex);
    if (fState == State::Unregistered) throw std::logic_error(kUnregistered);
    if (fState == State::Unregistering) return false;
    fState = State::Unregistering;
    return true;
}

void RegistrationData::markUnregistered() {
    std::lock_guard<std::mutex> lock(fMutex);
    fState = State::Unregistered;
}

AnyMap RegistrationData::replaceProperties(AnyMap properties) {
    std::lock_guard<std::mutex> lock(fMutex);
    if (fState != State::Registered) throw std::logic_error(kUnregistered);
    for (auto const* key :
         {&Constants::SERVICE_ID, &Constants::OBJECTCLASS, &Constants::SERVICE_SCOPE}) {
        auto old = fProperties.find(*key);
        if (old != fProperties.end()) properties[*key] = old->second;
    }
    std::swap(fProperties, properties);
    return properties;
}

}  // namespace cppmicroservices::detail

namespace cppmicroservices {

using detail::RegistrationData;

ServiceRegistrationBase::ServiceRegistrationBase() = default;
ServiceRegistrationBase::ServiceRegistrationBase(std::shared_ptr<RegistrationData> registration)
    : d(std::move(registration)) {}
ServiceRegistrationBase::ServiceRegistrationBase(ServiceRegistrationBase const&) = default;
ServiceRegistrationBase::ServiceRegistrationBase(ServiceRegistrationBase&&) noexcept = default;
ServiceRegistrationBase::~ServiceRegistrationBase() = default;
ServiceRegistrationBase& ServiceRegistrationBase::operator=(ServiceRegistrationBase const&) =
    default;
ServiceRegistrationBase& ServiceRegistrationBase::operator=(ServiceRegistrationBase&&) noexcept =
    default;

ServiceRegistrationBase& ServiceRegistrationBase::operator=(std::nullptr_t) {
    d.reset();
    return *this;
}

ServiceRegistrationBase::operator bool() const {
    return static_cast<bool>(d);
}

ServiceReferenceBase ServiceRegistrationBase::GetReference(std::string const& interfaceId) const {
    if (!d) throw std::logic_error(detail::kInvalidRegistration);
    if (d->state() == RegistrationData::State::Unregistered) {
        throw std::logic_error(detail::kUnregistered);
    }
    return ServiceReferenceBase(d, detail::stripGlobalScope(interfaceId));
}

void ServiceRegistrationBase::SetProperties(ServiceProperties const& properties) {
    if (!d) throw std::logic_error(detail::kInvalidRegistration);
    for (auto const& [key, value] : properties) {
        if (detail::keysEqualIgnoreCase(key, Constants::SERVICE_RANKING) &&
            value.Type() != typeid(int)) {
            throw std::invalid_argument(
                "SERVICE_RANKING property has unexpected value type. The value must be an int.");
        }
    }
    AnyMap updated = detail::buildProperties(properties);
    AnyMap old = d->replaceProperties(std::move(updated));
    if (auto core = d->fCore.lock()) core->propertiesChanged(d, old, d->properties());
}

void ServiceRegistrationBase::SetProperties(ServiceProperties&& properties) {
    SetProperties(static_cast<ServiceProperties const&>(properties));
}

void ServiceRegistrationBase::Unregister() {
    if (!d) throw std::logic_error(detail::kInvalidRegistration);
    if (!d->beginUnregister()) return;  // another thread is unregistering it
    if (auto core = d->fCore.lock()) core->unregisterService(d);
    d->markUnregistered();
}

bool ServiceRegistrationBase::operator<(ServiceRegistrationBase const& o) const {
    return GetReference() < o.GetReference();
}

bool ServiceRegistrationBase::operator==(ServiceRegistrationBase const& registration) const {
    return d == registration.d;
}

}  // namespace cppmicroservices
