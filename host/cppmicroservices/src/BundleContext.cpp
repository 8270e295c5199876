// BundleContext: the system bundle's access to its framework, checked for validity first.
#include "CoreFramework.h"

#include <cppmicroservices/BundleContext.h>

#include <functional>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {

BundleContext::BundleContext() = default;
BundleContext::BundleContext(std::shared_ptr<detail::CoreFramework> core,
                             std::shared_ptr<detail::ContextData> context)
    : fCore(std::move(core)), d(std::move(context)) {}
BundleContext::BundleContext(BundleContext const&) = default;
BundleContext::BundleContext(BundleContext&&) noexcept = default;
BundleContext& BundleContext::operator=(BundleContext const&) = default;
BundleContext& BundleContext::operator=(BundleContext&&) noexcept = default;
BundleContext::~BundleContext() = default;

BundleContext& BundleContext::operator=(std::nullptr_t) {
    fCore.reset();
    d.reset();
    return *this;
}

bool BundleContext::operator==(BundleContext const& rhs) const {
    return d == rhs.d;
}
bool BundleContext::operator!=(BundleContext const& rhs) const {
    return !(*this == rhs);
}
bool BundleContext::operator<(BundleContext const& rhs) const {
    return std::less<detail::ContextData*>()(d.get(), rhs.d.get());
}

BundleContext::operator bool() const {
    return d && fCore && d->fValid;
}

detail::CoreFramework& BundleContext::checkedCore() const {
    if (!*this) throw IllegalStateException(detail::kInvalidContext);
    return *fCore;
}

Any BundleContext::GetProperty(std::string const& key) const {
    auto const properties = GetProperties();
    auto found = properties.find(key);
    return found == properties.end() ? Any() : found->second;
}

AnyMap BundleContext::GetProperties() const {
    auto const& configuration = checkedCore().fConfiguration;
    AnyMap result(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (auto const& entry : configuration) result.insert(entry);
    return result;
}

Bundle BundleContext::GetBundle() const {
    checkedCore();
    return Bundle(fCore);
}

Bundle BundleContext::GetBundle(long id) const {
    checkedCore();
    return id == 0 ? Bundle(fCore) : Bundle();
}

std::vector<Bundle> BundleContext::GetBundles() const {
    checkedCore();
    return {Bundle(fCore)};
}

ServiceRegistrationU BundleContext::RegisterService(InterfaceMapConstPtr const& service,
                                                    ServiceProperties const& properties) {
    return ServiceRegistrationU(
        ServiceRegistrationBase(checkedCore().registerService(service, properties)));
}

std::vector<ServiceReferenceU> BundleContext::GetServiceReferences(std::string const& clazz,
                                                                   std::string const& filter) {
    return checkedCore().findServices(clazz, filter);
}

ServiceReferenceU BundleContext::GetServiceReference(std::string const& clazz) {
    auto found = checkedCore().findServices(clazz, std::string());
    return found.empty() ? ServiceReferenceU() : found.front();
}

std::shared_ptr<void> BundleContext::GetService(ServiceReferenceBase const& reference) {
    if (!reference) {
        throw std::invalid_argument(
            "Default constructed ServiceReference is not a valid input to GetService()");
    }
    checkedCore();
    return ExtractInterface(reference.d->fService, reference.fInterfaceId);
}

InterfaceMapConstPtr BundleContext::GetService(ServiceReferenceU const& reference) {
    if (!reference) {
        throw std::invalid_argument(
            "Default constructed ServiceReference is not a valid input to GetService()");
    }
    checkedCore();
    return reference.d->fService;
}

ListenerToken BundleContext::AddServiceListener(ServiceListener const& listener,
                                                std::string const& filter) {
    return ListenerToken(checkedCore().addServiceListener(listener, filter));
}

ListenerToken BundleContext::AddFrameworkListener(FrameworkListener const& listener) {
    return ListenerToken(checkedCore().addFrameworkListener(listener));
}

void BundleContext::RemoveListener(ListenerToken token) {
    auto& core = checkedCore();
    if (token) core.removeListener(token.Id());
}

}  // namespace cppmicroservices
