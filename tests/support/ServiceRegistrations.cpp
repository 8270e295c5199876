#include "ServiceRegistrations.hpp"

#include <cppmicroservices/BundleContext.h>

#include "agent/spf/cppmsclientutils/TrackedServiceInfo.hpp"
#include "foundation/cppmicroservices/Framework.hpp"

namespace korvan::test {

namespace {

using ConnectorClient = rest::kv::connectorclient::RestFcnConnectorClient;
using UpdateFlip = korvanconnector::vshupdateflip::IVshupdateflipClient;

cppmicroservices::BundleContext context() {
    return foundation::cppmicroservices::getFramework().GetBundleContext();
}

void unregister(cppmicroservices::ServiceRegistrationU& registration) {
    if (!registration) return;
    auto taken = registration;
    registration = nullptr;
    taken.Unregister();
}

}  // namespace

void ServiceRegistrations::publishClient() {
    std::lock_guard lock(fMutex);
    if (fClientRegistration) return;
    fClientRegistration = context().RegisterService<ConnectorClient>(fClient);
}

void ServiceRegistrations::withdrawClient() {
    std::lock_guard lock(fMutex);
    unregister(fClientRegistration);
}

void ServiceRegistrations::modifyClient() {
    std::lock_guard lock(fMutex);
    if (!fClientRegistration) return;
    cppmicroservices::ServiceProperties properties;
    properties["modtest.generation"] = std::string("modified");
    fClientRegistration.SetProperties(properties);
}

std::shared_ptr<FakeConnectorClient> ServiceRegistrations::publishSecondClient() {
    std::lock_guard lock(fMutex);
    if (!fSecondClientRegistration) {
        fSecondClientRegistration = context().RegisterService<ConnectorClient>(fSecondClient);
    }
    return fSecondClient;
}

void ServiceRegistrations::withdrawSecondClient() {
    std::lock_guard lock(fMutex);
    unregister(fSecondClientRegistration);
}

void ServiceRegistrations::publishUpdateFlip() {
    std::lock_guard lock(fMutex);
    if (fUpdateFlipRegistration) return;
    fUpdateFlipRegistration = context().RegisterService<UpdateFlip>(fUpdateFlip);
}

void ServiceRegistrations::withdrawUpdateFlip() {
    std::lock_guard lock(fMutex);
    unregister(fUpdateFlipRegistration);
}

void ServiceRegistrations::publishService() {
    std::lock_guard lock(fMutex);
    if (fServiceRegistration) return;
    const agent::spf::cppmsclientutils::TrackedServiceInfo info(kConnectorClientId, 1, 0);
    fServiceRegistration = context().RegisterService<agent::spf::core::Invokable>(
        fService, info.getServiceProperties());
}

void ServiceRegistrations::withdrawService() {
    std::lock_guard lock(fMutex);
    unregister(fServiceRegistration);
}

bool ServiceRegistrations::isClientPublished() const {
    std::lock_guard lock(fMutex);
    return static_cast<bool>(fClientRegistration);
}

bool ServiceRegistrations::isServicePublished() const {
    std::lock_guard lock(fMutex);
    return static_cast<bool>(fServiceRegistration);
}

}  // namespace korvan::test
