// Start and stop of the connector, and the status refreshes they use.
#include <exception>
#include <shared_mutex>

#include "common/Checks.hpp"
#include "common/ErrorCatalogue.hpp"
#include "common/Log.hpp"
#include "connector/Api.hpp"
#include "connector/RestfcnConnector.hpp"

namespace rest::kv::connector {

void RestConnector::refreshStatus() {
    auto client = requireConnectorClient();
    fStatus = client->getStatus();
}

void RestConnector::refreshClientAccessMode() {
    auto client = requireConnectorClient();
    fClientAccessMode = client->getClientAccessMode();
}

void RestConnector::startConnector() {
    KVCONN_LOG("Inside Restconnector::startConnector()");
    std::shared_lock lock(fStateLock);
    startConnectorHelper(true);
    // Also written when nothing was started (already running, consent refused).
    KVCONN_LOG("Connector started successfully");
}

void RestConnector::startConnectorHelper(bool applyCurrent) {
    KVCONN_LOG("Inside Restconnector::startConnectorHelper()");
    refreshStatus();
    KVCONN_LOG("fStatus == " << fStatus.load());
    if (fStatus == 1) {
        return;
    }
    if (applyCurrent) {
        // The user's settings are already in the client (the setters write them through).
        refreshClientAccessMode();
        if (fClientAccessMode == 1 && !api::showAccessDialogWindow()) {
            return;
        }
    } else {
        // Restart after the connector service came back: the settings of the last good start.
        requireConnectorClient()->restoreSettings(fAppliedPort, fAppliedLogLocation,
                                                  fAppliedHostName, fAppliedAccessMode);
    }
    auto client = requireConnectorClient();
    try {
        KVCONN_LOG("Calling invoke_startConnector()");
        client->startConnector();
    } catch (const std::exception& error) {
        KVCONN_LOG("invoke_startConnector() threw an exception");
        raise<KORVAN::restFcnService::ServerStartFailed>(error.what());
    }
    getAllProperties();
    fAppliedPort = fPort;
    fAppliedLogLocation = fLogLocation;
    fAppliedHostName = fHostName;
    fAppliedAccessMode = fClientAccessMode;
}

void RestConnector::stopConnector() {
    KVCONN_LOG("Inside Restconnector::stopConnector()");
    std::shared_lock lock(fStateLock);
    auto client = requireConnectorClient();
    fStatus = client->getStatus();
    if (fStatus == 0) {
        return;  // stopping a stopped connector is not an error, and not logged as a stop
    }
    client->stopConnector();
    getAllProperties();
    KVCONN_LOG("Connector stopped successfully");
}

}  // namespace rest::kv::connector
