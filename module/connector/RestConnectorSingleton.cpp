// RestConnectorSingleton: the client tracker and its customizer operations.
#include <chrono>

#include <cppmicroservices/BundleContext.h>

#include "connector/RestfcnConnector.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "foundation/usm/UniqueSingletons.hpp"

namespace rest::kv::connector {

RestConnectorSingleton& RestConnectorSingleton::instance() {
    static const foundation::usm::Id id = foundation::usm::obtainId();
    if (auto* found = foundation::usm::find<RestConnectorSingleton>(id)) {
        return *found;
    }
    // A thread that lost the race destroys its candidate (closing its tracker) here.
    auto candidate = std::make_unique<RestConnectorSingleton>();
    return *foundation::usm::findOrInsert(id, candidate);
}

RestConnectorSingleton::RestConnectorSingleton() {
    auto context = foundation::cppmicroservices::getFramework().GetBundleContext();
    if (!context) {
        return;  // no tracker, no client: every connector operation raises NoConnectorFound
    }
    fTracker = std::make_unique<Tracker>(context, this);
    // The wait comes first on purpose: the tracker is not open yet, so it returns at once and
    // the client arrives through AddingService when the tracker opens.
    fTracker->WaitForService(std::chrono::milliseconds(500));
    fTracker->Open();
}

RestConnectorSingleton::~RestConnectorSingleton() {
    fTracker.reset();  // closes the tracker while this customizer is still whole
    std::atomic_store(&fClient, std::shared_ptr<RestFcnConnectorClient>());
}

std::shared_ptr<RestFcnConnectorClient> RestConnectorSingleton::AddingService(
    const cppmicroservices::ServiceReference<RestFcnConnectorClient>& reference) {
    auto context = foundation::cppmicroservices::getFramework().GetBundleContext();
    if (!context) {
        return nullptr;
    }
    std::shared_ptr<RestFcnConnectorClient> service;
    try {
        service = context.GetService(reference);
    } catch (const std::invalid_argument&) {
        return nullptr;  // unregistered meanwhile: not tracked
    }
    if (!service) {
        return nullptr;
    }
    std::atomic_store(&fClient, service);
    return service;
}

void RestConnectorSingleton::ModifiedService(
    const cppmicroservices::ServiceReference<RestFcnConnectorClient>& /*reference*/,
    const std::shared_ptr<RestFcnConnectorClient>& /*service*/) {}

void RestConnectorSingleton::RemovedService(
    const cppmicroservices::ServiceReference<RestFcnConnectorClient>& /*reference*/,
    const std::shared_ptr<RestFcnConnectorClient>& /*service*/) {
    // Whichever service went, the stored client is dropped.
    std::atomic_store(&fClient, std::shared_ptr<RestFcnConnectorClient>());
}

}  // namespace rest::kv::connector
