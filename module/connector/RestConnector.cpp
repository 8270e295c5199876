// RestConnector: the process-wide instance, its construction, and the tracking of the
// connector service (onAdded / onRemoved, the update callback).
#include <mutex>
#include <shared_mutex>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>

#include "agent/spf/cppmsclientutils/TrackedServiceInfo.hpp"
#include "common/Checks.hpp"
#include "common/Dispatch.hpp"
#include "common/Log.hpp"
#include "connector/RestfcnConnector.hpp"
#include "foundation/cppmicroservices/Framework.hpp"

namespace rest::kv::connector {

namespace {

// The one RestConnector; deleted when the library is unloaded. Set and read only on the
// interpreter thread.
std::unique_ptr<RestConnector> gInstance;

// The connector service as the service host publishes it.
constexpr const char* kConnectorServiceClientId = "restfcnconnectorservice";

}  // namespace

RestConnector* RestConnector::getInstance() {
    if (!gInstance) {
        // A constructor that throws (NoConnectorFound) stores nothing: the next call retries.
        gInstance = std::make_unique<RestConnector>(CtorTag{});
    }
    return gInstance.get();
}

RestConnector::RestConnector(CtorTag) : fInterpreter(xvm::Factory::getCurrentLocalXVM()) {
    requireConnectorClient();
    getAllProperties();

    auto context = foundation::cppmicroservices::getFramework().GetBundleContext();
    if (!context) {
        return;
    }
    const agent::spf::cppmsclientutils::TrackedServiceInfo info(kConnectorServiceClientId, 1, 0);
    const cppmicroservices::LDAPFilter filter(info.getLdapExpression());
    fConnectorTracker =
        std::make_shared<agent::spf::cppmsclientutils::ServiceTracker<agent::spf::core::Invokable>>(
            context, filter);
    fConnectorTracker->addServiceAddedHandler(
        [this](const std::shared_ptr<agent::spf::core::Invokable>& service) { onAdded(service); });
    fConnectorTracker->addServiceRemovedHandler(
        [this](const std::shared_ptr<agent::spf::core::Invokable>& service) {
            onRemoved(service);
        });
    fConnectorTracker->logStarting();
    // The first added-event (the service already present) arrives from here.
    fConnectorTracker->Open();
}

RestConnector::~RestConnector() {
    // Drops the handlers, closes the tracker and waits for handler calls already posted.
    fConnectorTracker.reset();
}

void RestConnector::onAdded(const std::shared_ptr<agent::spf::core::Invokable>& /*service*/) {
    KVCONN_LOG("In Restconnector::onAdded()");
    std::unique_lock lock(fStateLock);
    postToInterpreter(fInterpreter, [this] { registerVshUpdateCallback(); });
    if (!fIsVshDown) {
        return;
    }
    KVCONN_LOG("Starting connector from restconnector::onAdded()");
    postToInterpreter(fInterpreter, [this] { startConnectorHelper(false); });
    // Cleared as soon as the restart is posted, whether or not it will run or succeed.
    fIsVshDown = false;
}

void RestConnector::onRemoved(const std::shared_ptr<agent::spf::core::Invokable>& /*service*/) {
    std::unique_lock lock(fStateLock);
    KVCONN_LOG("Inside restconnector::onRemoved()");
    if (fStatus == 1) {
        KVCONN_LOG("fIsVshDown == true");
        fIsVshDown = true;
        fStatus = 0;
    }
}

void RestConnector::registerVshUpdateCallback() {
    auto client = requireConnectorClient();
    client->registerVshUpdateCallback([this] { onVshUpdate(); });
}

void RestConnector::onVshUpdate() {
    postToInterpreter(fInterpreter, [this] { issueRestartWarning(); });
}

}  // namespace rest::kv::connector
