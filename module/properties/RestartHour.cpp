// The preferred restart hour (kept by the update-flip service), the restart warning and reset.
#include <cmath>
#include <cstdint>
#include <shared_mutex>
#include <string>

#include "common/Checks.hpp"
#include "common/ErrorCatalogue.hpp"
#include "common/Log.hpp"
#include "connector/RestfcnConnector.hpp"
#include "korvan/host/Warnings.hpp"

namespace rest::kv::connector {

kxArray* RestConnector::getPreferredRestartHour() {
    requireConnectorClient();
    const std::int32_t hour = requireUpdateFlipClient()->getPreferredRestartHour();
    if (hour < 0) {
        return kxCreateDoubleMatrix(0, 0);  // no hour set
    }
    return kxCreateDoubleScalar(hour);
}

void RestConnector::setPreferredRestartHour(const kxArray* value) {
    KVCONN_LOG("Inside Restconnector::setPreferredRestartHour()");
    std::shared_lock lock(fStateLock);
    const kxSize count = kxGetNumberOfElements(value);
    if (!kxIsDouble(value) || count > 1 || (count == 1 && !kxIsRealDoubleScalar(value))) {
        raise<KORVAN::restFcnService::InvalidPreferredRestartHour>();
    }
    auto flipClient = requireUpdateFlipClient();
    const std::int32_t current = flipClient->getPreferredRestartHour();

    if (count == 1) {
        const double hour = kxGetScalar(value);
        if (!(hour >= 0.0 && hour <= 23.0) || hour != std::trunc(hour)) {
            raise<KORVAN::restFcnService::InvalidPreferredRestartHour>();
        }
        const auto newHour = static_cast<std::int32_t>(hour);
        if (newHour == current) {
            return;
        }
        ensureNotRunning();
        if (!flipClient->setPreferredRestartHour(newHour)) {
            // Deliberately greater than zero: a current hour of 0 is reported as the default.
            if (current > 0) {
                raise<KORVAN::restFcnService::CannotSetRestartHour>(std::to_string(current));
            }
            raise<KORVAN::restFcnService::CannotSetRestartHourDefault>();
        }
    } else {
        // The empty array returns to the default behaviour.
        if (current < 0) {
            return;
        }
        ensureNotRunning();
        if (!flipClient->clearPreferredRestartHour()) {
            raise<KORVAN::restFcnService::CannotSetRestartHour>(std::to_string(current));
        }
    }
    KVCONN_LOG("Preferred Restart Hour set successfully");
}

void RestConnector::issueRestartWarning() {
    const std::int32_t hour = requireUpdateFlipClient()->getPreferredRestartHour();
    // Hour 0 is treated like an unset hour, as in the setter.
    if (hour > 0) {
        kxWarningMsgId(KORVAN::restFcnService::ConnectorRestartWarning(std::to_string(hour)));
    }
}

void RestConnector::reset() {
    auto client = requireConnectorClient();
    fStatus = client->getStatus();
    if (fStatus == 1) {
        raise<KORVAN::restFcnService::CannotReset>();
    }
    client->resetConnector();
    getAllProperties();
}

}  // namespace rest::kv::connector
