// The service registry of a framework: registration, unregistration, property changes and
// queries, with the events they cause.
#include "CoreFramework.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/detail/IllegalStateException.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

/// Service ids are shared by every framework of the process and never reused.
long nextServiceId() {
    static std::atomic<long> counter{1};
    return counter.fetch_add(1);
}

}  // namespace

char const* const kInvalidContext = "The bundle context is no longer valid";

std::string stripGlobalScope(std::string const& name) {
    return name.rfind("::", 0) == 0 ? name.substr(2) : name;
}

AnyMap buildProperties(ServiceProperties const& properties) {
    AnyMap result(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (auto const& [key, value] : properties) {
        if (!result.insert({key, value}).second) {
            throw std::runtime_error("Properties contain case variants of the key: " + key);
        }
    }
    return result;
}

std::shared_ptr<RegistrationData> CoreFramework::registerService(
    InterfaceMapConstPtr const& service, ServiceProperties const& properties) {
    if (!service || service->empty()) {
        throw std::invalid_argument("Can't register empty InterfaceMap as a service");
    }
    auto interfaces = std::make_shared<InterfaceMap>();
    std::vector<std::string> classes;
    for (auto const& [interfaceId, object] : *service) {
        std::string name = stripGlobalScope(interfaceId);
        if (name.empty() || !object) throw std::invalid_argument("Can't register as null class");
        interfaces->emplace(name, object);
        classes.push_back(name);
    }

    std::shared_ptr<RegistrationData> registration;
    ServiceListeners listeners;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        if (!contextValidLocked()) throw IllegalStateException(kInvalidContext);
        long const id = nextServiceId();  // used up even if the properties are refused
        AnyMap all = buildProperties(properties);
        // insert, not assign: the framework's keys do not replace what the caller gave.
        all.insert({Constants::OBJECTCLASS, Any(classes)});
        all.insert({Constants::SERVICE_ID, Any(id)});
        all.insert({Constants::SERVICE_SCOPE, Any(Constants::SCOPE_SINGLETON)});
        registration =
            std::make_shared<RegistrationData>(id, interfaces, std::move(all), weak_from_this());
        fServices.emplace(id, registration);
        listeners = serviceListenersLocked();
    }
    deliver(ServiceEvent(ServiceEvent::SERVICE_REGISTERED, ServiceReferenceBase(registration, "")),
            listeners, registration->properties(), nullptr);
    return registration;
}

void CoreFramework::unregisterService(std::shared_ptr<RegistrationData> const& registration) {
    ServiceListeners listeners;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        fServices.erase(registration->fId);
        listeners = serviceListenersLocked();
    }
    deliver(
        ServiceEvent(ServiceEvent::SERVICE_UNREGISTERING, ServiceReferenceBase(registration, "")),
        listeners, registration->properties(), nullptr);
}

void CoreFramework::propertiesChanged(std::shared_ptr<RegistrationData> const& registration,
                                      AnyMap const& oldProperties, AnyMap const& newProperties) {
    ServiceListeners listeners;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        if (fServices.count(registration->fId) == 0) return;
        listeners = serviceListenersLocked();
    }
    deliver(ServiceEvent(ServiceEvent::SERVICE_MODIFIED, ServiceReferenceBase(registration, "")),
            listeners, newProperties, &oldProperties);
}

std::vector<ServiceReferenceU> CoreFramework::findServices(std::string const& clazz,
                                                           std::string const& filter) {
    LDAPFilter const ldap = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
    std::string const interfaceId = stripGlobalScope(clazz);
    std::vector<std::pair<int, std::shared_ptr<RegistrationData>>> found;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        for (auto const& [id, registration] : fServices) {
            if (!interfaceId.empty() && !registration->hasInterface(interfaceId)) continue;
            if (!filter.empty() && !ldap.Match(registration->properties())) continue;
            found.emplace_back(registration->ranking(), registration);
        }
    }
    // fServices is ordered by id, i.e. by registration; with a class, best first.
    if (!interfaceId.empty()) {
        std::stable_sort(found.begin(), found.end(),
                         [](auto const& a, auto const& b) { return a.first > b.first; });
    }
    std::vector<ServiceReferenceU> result;
    result.reserve(found.size());
    for (auto const& entry : found) {
        result.push_back(ServiceReferenceU(ServiceReferenceBase(entry.second, interfaceId)));
    }
    return result;
}

void CoreFramework::deliver(ServiceEvent const& event, ServiceListeners const& listeners,
                            AnyMap const& properties, AnyMap const* oldProperties) {
    for (auto const& entry : listeners) {
        if (entry->fRemoved) continue;
        ServiceEvent toSend = event;
        if (entry->fFilter && !entry->fFilter.Match(properties)) {
            if (oldProperties == nullptr || !entry->fFilter.Match(*oldProperties)) continue;
            toSend =
                ServiceEvent(ServiceEvent::SERVICE_MODIFIED_ENDMATCH, event.GetServiceReference());
        }
        try {
            entry->fListener(toSend);
        } catch (...) {
            deliverFrameworkEvent(FrameworkEvent(
                FrameworkEvent::FRAMEWORK_ERROR, Bundle(shared_from_this()),
                "Service listener in system_bundle threw an exception!", std::current_exception()));
        }
    }
}

}  // namespace cppmicroservices::detail
