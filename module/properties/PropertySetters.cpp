// The four property setters and the running check.
//
// They share one frame (entry log, shared state lock, success log after the client call) but
// differ on purpose: setPort and setAccessMode always call the client, also for an unchanged
// value; setLogLocation and setHostname return silently when the value does not change and
// test the outside world (file system, name resolution) for a non-empty value; setPort runs
// the running check before it validates the number.
#include <cmath>
#include <cstdint>
#include <limits>
#include <shared_mutex>
#include <string>

#include "common/Checks.hpp"
#include "common/ErrorCatalogue.hpp"
#include "common/Log.hpp"
#include "connector/RestfcnConnector.hpp"
#include "fl/filesystem.hpp"
#include "fl/i18n.hpp"
#include "foundation/network/InetAddress.hpp"
#include "kcos/Operations.hpp"
#include "quillon/String.hpp"

namespace rest::kv::connector {

namespace {

constexpr int kRowVectorShape = 1;  // the shape flag of the text-argument check
constexpr const char* kAccessModeClass = "korvan.engine.rest.ClientAccessMode";

// Truncation toward zero into 32 bits; a value that does not fit (or NaN) gives the minimum
// 32-bit value, as the processor's conversion does, without undefined behaviour.
std::int32_t truncateToInt32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(value);
}

bool isOneText(const kxArray* value) {
    return Quillon::String::isNonMissingScalarText(value,
                                                   Quillon::String::CharTolerance::RowVector);
}

// Whether the name resolves to at least one IPv4 address; a failed resolution counts as none.
bool resolvesToIpv4(const std::string& name) {
    try {
        for (const auto& address : foundation::network::InetAddress::getAllByName(name)) {
            if (address.getVersion() == 4) {
                return true;
            }
        }
    } catch (...) {
    }
    return false;
}

}  // namespace

void RestConnector::ensureNotRunning() {
    auto client = requireConnectorClient();
    fStatus = client->getStatus();
    if (fStatus == 1) {
        raise<KORVAN::restFcnService::CannotModifyConnector>();
    }
}

void RestConnector::setPort(double value) {
    KVCONN_LOG("Inside Restconnector::setPort()");
    std::shared_lock lock(fStateLock);
    const std::int32_t port = truncateToInt32(value);
    auto client = requireConnectorClient();
    fPort = client->getPort();
    if (static_cast<std::int32_t>(fPort) != port) {
        ensureNotRunning();  // before validation: while running any other port is refused
    }
    const bool integral = std::isfinite(value) && value == std::trunc(value);
    if (!integral || port < 1025 || port > 65535) {
        raise<KORVAN::restFcnService::InvalidPortNumber>();
    }
    client->setPort(static_cast<std::uint16_t>(port));
    KVCONN_LOG("Port set successfully");
}

void RestConnector::setLogLocation(const kxArray* value) {
    KVCONN_LOG("Inside Restconnector::setLogLocation()");
    std::shared_lock lock(fStateLock);
    if (!isOneText(value)) {
        raise<KORVAN::restFcnService::InvalidLogLocationType>();
    }
    const std::u16string path = getStringArgument(value, kRowVectorShape);
    auto client = requireConnectorClient();
    fLogLocation = client->getLogLocation();
    if (path == fLogLocation) {
        return;
    }
    ensureNotRunning();
    if (!path.empty() && !fl::filesystem::exists(path)) {
        raise<KORVAN::restFcnService::InvalidFileLocation>(fl::i18n::to_string(path));
    }
    client->setLogLocation(path);
    KVCONN_LOG("Log location set successfully");
}

void RestConnector::setHostname(const kxArray* value) {
    KVCONN_LOG("Inside Restconnector::setHostname()");
    std::shared_lock lock(fStateLock);
    if (!isOneText(value)) {
        raise<KORVAN::restFcnService::InvalidHostnameType>();
    }
    const std::u16string text = getStringArgument(value, kRowVectorShape);
    const std::string name =
        text.empty() ? std::string() : fl::i18n::codecvt_ustring_to_ascii(text);
    auto client = requireConnectorClient();
    fHostName = client->getHostname();
    if (name == fHostName) {
        return;
    }
    ensureNotRunning();
    if (!name.empty() && !resolvesToIpv4(name)) {
        raise<KORVAN::restFcnService::InvalidHostname>(name);
    }
    client->setHostname(name);
    KVCONN_LOG("Hostname set successfully");
}

void RestConnector::setAccessMode(const kxArray* value) {
    KVCONN_LOG("Inside Restconnector::setAccessMode()");
    std::shared_lock lock(fStateLock);
    std::int32_t code = 0;
    if (isOneText(value)) {
        const std::u16string text = Quillon::String::getScalarText(value);
        if (text == u"local") {
            code = 0;
        } else if (text == u"remote") {
            code = 1;
        } else {
            raise<KORVAN::restFcnService::InvalidClientAccessMode>();
        }
    } else if (kxGetNumberOfElements(value) == 1 && kxIsClass(value, kAccessModeClass)) {
        code = kcos::getEnumMemberName(value) == "local" ? 0 : 1;
    } else {
        raise<KORVAN::restFcnService::InvalidClientAccessModeType>();
    }
    auto client = requireConnectorClient();
    fClientAccessMode = client->getClientAccessMode();
    if (fClientAccessMode != code) {
        ensureNotRunning();
    }
    client->setAccessMode(code);
    KVCONN_LOG("Access Mode set successfully");
}

}  // namespace rest::kv::connector
