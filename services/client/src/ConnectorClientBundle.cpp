#include <stdexcept>

#include <cppmicroservices/ServiceRegistration.h>

#include "ConnectorClient.hpp"
#include "korvan/services/client/ConnectorClient.hpp"

namespace korvan::services::client {

using rest::kv::connectorclient::RestFcnConnectorClient;

struct ConnectorClientBundle::Impl {
    std::shared_ptr<ConnectorClient> fClient;
    cppmicroservices::ServiceRegistration<RestFcnConnectorClient> fRegistration;
};

ConnectorClientBundle::ConnectorClientBundle(cppmicroservices::BundleContext context,
                                             std::chrono::milliseconds startWait)
    : fImpl(std::make_unique<Impl>()) {
    fImpl->fClient = std::make_shared<ConnectorClient>(context, startWait);
    fImpl->fClient->open();
    // When this throws, the client's destructor closes its tracker again.
    fImpl->fRegistration = context.RegisterService<RestFcnConnectorClient>(fImpl->fClient);
}

ConnectorClientBundle::~ConnectorClientBundle() {
    try {
        fImpl->fRegistration.Unregister();
    } catch (const std::logic_error&) {
        // Already unregistered, or the framework has stopped.
    }
    try {
        fImpl->fClient->close();
    } catch (...) {
        // Removal reports go to the client only; nothing to recover at bundle stop.
    }
}

std::shared_ptr<RestFcnConnectorClient> ConnectorClientBundle::client() const {
    return fImpl->fClient;
}

}  // namespace korvan::services::client
