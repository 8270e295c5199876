#include "ConnectorClient.hpp"

#include <algorithm>
#include <exception>
#include <limits>
#include <map>
#include <stdexcept>
#include <thread>

#include <cppmicroservices/LDAPFilter.h>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/string.hpp>

#include "ClientLog.hpp"
#include "ServiceResults.hpp"
#include "agent/spf/cppmsclientutils/TrackedServiceInfo.hpp"
#include "fl/i18n.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/host/Warnings.hpp"
#include "rest/kv/connectorservice/Operations.hpp"

namespace korvan::services::client {

namespace op = rest::kv::connectorservice::op;
using foundation::log::Level;

namespace {

// Two references to the same registration. Compared as the base class on both sides: C++20
// also tries the reversed form of the base's operator==, which clang reports as ambiguous
// when one side is the derived class.
bool sameService(const cppmicroservices::ServiceReferenceBase& a,
                 const cppmicroservices::ServiceReferenceBase& b) {
    return a == b;
}

constexpr const char* kComponent = "KORVAN:connectorClient";

boost::json::string utf8(const std::u16string& text) {
    return boost::json::string(fl::i18n::to_string(text));
}

std::u16string utf16(const std::string& text) {
    return fl::i18n::to_ustring(text);
}

}  // namespace

ConnectorClient::ConnectorClient(cppmicroservices::BundleContext context,
                                 std::chrono::milliseconds startWait)
    : fContext(std::move(context)), fStartWait(startWait) {
    const agent::spf::cppmsclientutils::TrackedServiceInfo info(
        std::string(rest::kv::connectorservice::kClientId),
        rest::kv::connectorservice::kMajorVersion, rest::kv::connectorservice::kMinorVersion);
    fFilter = info.getLdapExpression();
    cppmicroservices::ServiceTrackerCustomizer<Invokable>* customizer = this;
    fTracker =
        std::make_unique<Tracker>(fContext, cppmicroservices::LDAPFilter(fFilter), customizer);
}

ConnectorClient::~ConnectorClient() {
    try {
        close();
    } catch (...) {
        // Closing reports removals to ourselves only; nothing here is worth a crash at exit.
    }
}

void ConnectorClient::open() {
    fTracker->Open();
    fOpen = true;
}

void ConnectorClient::close() {
    fOpen = false;
    fTracker->Close();
    std::lock_guard lock(fLock);
    fServices.clear();
    fCallbacks.clear();
}

// -- tracking ---------------------------------------------------------------------------------

std::shared_ptr<ConnectorClient::Invokable> ConnectorClient::AddingService(
    const Reference& reference) {
    std::shared_ptr<Invokable> service;
    try {
        service = fContext.GetService(reference);
    } catch (const std::exception&) {
        return nullptr;  // gone meanwhile, or the context is no longer valid: not tracked
    }
    if (!service) {
        return nullptr;
    }
    std::map<std::string, boost::json::object> changes;
    {
        std::lock_guard lock(fLock);
        changes = fAway.takeChanges();
    }
    // Changes made while no service was there: the new one starts from them.
    for (const auto& [operation, arguments] : changes) {
        try {
            service->invoke(operation, boost::json::serialize(arguments));
        } catch (const std::exception& e) {
            FOUNDATION_LOG_AT(kClientLog, Level::Error,
                              "A change made during the update was refused: " << e.what());
        }
    }
    std::lock_guard lock(fLock);
    fServices.emplace_back(reference, service);
    FOUNDATION_LOG_AT(kClientLog, Level::Debug, "Connector service added");
    return service;
}

void ConnectorClient::ModifiedService(const Reference& /*reference*/,
                                      const std::shared_ptr<Invokable>& /*service*/) {}

void ConnectorClient::RemovedService(const Reference& reference,
                                     const std::shared_ptr<Invokable>& service) {
    bool last = false;
    {
        std::lock_guard lock(fLock);
        last = fServices.size() == 1 && sameService(fServices.front().first, reference);
    }
    // The service is still whole while it is being unregistered: what it says now is what
    // the client answers until another comes.
    detail::ServiceAway record;
    if (last && service) record.record(*service);
    std::lock_guard lock(fLock);
    if (record.known()) fAway = std::move(record);
    const auto found = std::find_if(fServices.begin(), fServices.end(), [&](const auto& entry) {
        return sameService(entry.first, reference);
    });
    if (found == fServices.end()) {
        return;
    }
    const auto best = std::max_element(
        fServices.begin(), fServices.end(),
        [](const auto& left, const auto& right) { return left.first < right.first; });
    if (found == best) {
        // The callbacks were registered for this instance; its successor gets its own.
        fCallbacks.clear();
    }
    fServices.erase(found);
    FOUNDATION_LOG_AT(kClientLog, Level::Debug, "Connector service removed");
}

std::shared_ptr<ConnectorClient::Invokable> ConnectorClient::findService() const {
    {
        std::lock_guard lock(fLock);
        const auto best = std::max_element(
            fServices.begin(), fServices.end(),
            [](const auto& left, const auto& right) { return left.first < right.first; });
        if (best != fServices.end()) {
            return best->second;
        }
    }
    return lookUpRegistered();
}

std::shared_ptr<ConnectorClient::Invokable> ConnectorClient::lookUpRegistered() const {
    if (!fOpen) {
        return nullptr;  // a closed client has no service, whatever is registered
    }
    try {
        cppmicroservices::BundleContext context = fContext;  // its members are not const
        auto references = context.GetServiceReferences<Invokable>(fFilter);
        const auto best = std::max_element(references.begin(), references.end());
        if (best == references.end()) {
            return nullptr;
        }
        return context.GetService(*best);
    } catch (const std::exception&) {
        return nullptr;  // unregistered meanwhile, or the framework has stopped
    }
}

std::string ConnectorClient::call(std::string_view operation,
                                  const boost::json::object& arguments) const {
    const auto service = findService();
    if (!service) return callWhileAway(operation, arguments);
    const std::string text =
        arguments.empty() ? std::string("{}") : boost::json::serialize(arguments);
    try {
        return service->invoke(std::string(operation), text);
    } catch (const foundation::core::except::IMsgIDException&) {
        throw;  // the service's own catalogue error
    } catch (const std::exception& e) {
        // Every error that reaches a person carries an identifier.
        korvan::host::throwError(kComponent, "ServiceFailed", std::string(e.what()));
    } catch (...) {
        korvan::host::throwError(kComponent, "ServiceFailed",
                                 "an unknown error in " + std::string(operation));
    }
}

std::string ConnectorClient::callWhileAway(std::string_view operation,
                                           const boost::json::object& arguments) const {
    bool dropped = false;
    {
        std::lock_guard lock(fLock);
        if (fOpen && fAway.known()) {
            if (auto answer = fAway.answer(operation)) return *answer;
            // A connector that was running comes back with the settings of its last start (the
            // module restarts it so): a change now would not outlive that, so it is not kept
            // and the person is told at once.
            if (fAway.wasRunning())
                dropped = detail::ServiceAway::isSetter(operation);
            else if (fAway.change(operation, arguments))
                return "null";
        }
    }
    if (!dropped) korvan::host::throwError(kComponent, "ServiceUnavailable");
    kxWarningMsgId(korvan::host::DynamicMsgID(kComponent, "ChangedDuringUpdate"));
    return "null";
}

// -- forwarded operations ---------------------------------------------------------------------

std::uint16_t ConnectorClient::getPort() {
    return static_cast<std::uint16_t>(results::integer(op::getPort, call(op::getPort), 0,
                                                       std::numeric_limits<std::uint16_t>::max()));
}

void ConnectorClient::setPort(std::uint16_t port) {
    call(op::setPort, {{"port", port}});
}

std::u16string ConnectorClient::getLogLocation() {
    return utf16(results::text(op::getLogLocation, call(op::getLogLocation)));
}

void ConnectorClient::setLogLocation(const std::u16string& logLocation) {
    call(op::setLogLocation, {{"logLocation", utf8(logLocation)}});
}

std::string ConnectorClient::getHostname() {
    return results::text(op::getHostname, call(op::getHostname));
}

void ConnectorClient::setHostname(const std::string& hostName) {
    call(op::setHostname, {{"hostName", hostName}});
}

std::int32_t ConnectorClient::getClientAccessMode() {
    return static_cast<std::int32_t>(results::integer(
        op::getClientAccessMode, call(op::getClientAccessMode),
        std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

void ConnectorClient::setAccessMode(std::int32_t accessMode) {
    call(op::setAccessMode, {{"accessMode", accessMode}});
}

std::vector<std::string> ConnectorClient::getServiceNames() {
    return results::texts(op::getServiceNames, call(op::getServiceNames));
}

std::string ConnectorClient::getPersonalAccessToken() {
    return results::text(op::getPersonalAccessToken, call(op::getPersonalAccessToken));
}

std::string ConnectorClient::getTokenExpirationDate() {
    return results::text(op::getTokenExpirationDate, call(op::getTokenExpirationDate));
}

std::u16string ConnectorClient::getCertificate() {
    return utf16(results::text(op::getCertificate, call(op::getCertificate)));
}

std::u16string ConnectorClient::getCertificateExpirationDate() {
    return utf16(
        results::text(op::getCertificateExpirationDate, call(op::getCertificateExpirationDate)));
}

std::string ConnectorClient::getBaseUrl() {
    return results::text(op::getBaseUrl, call(op::getBaseUrl));
}

std::int32_t ConnectorClient::getStatus() {
    return static_cast<std::int32_t>(results::integer(op::getStatus, call(op::getStatus),
                                                      std::numeric_limits<std::int32_t>::min(),
                                                      std::numeric_limits<std::int32_t>::max()));
}

std::string ConnectorClient::getPropertiesJson() {
    return call(op::getPropertiesJson);
}

void ConnectorClient::restoreSettings(std::int32_t port, const std::u16string& logLocation,
                                      const std::string& hostName, std::int32_t accessMode) {
    call(op::restoreSettings, {{"port", port},
                               {"logLocation", utf8(logLocation)},
                               {"hostName", hostName},
                               {"accessMode", accessMode}});
}

void ConnectorClient::refreshServices() {
    call(op::refreshServices);
}

void ConnectorClient::changeToken(std::uint32_t days) {
    call(op::changeToken, {{"days", days}});
}

void ConnectorClient::changeCertificate(const std::u16string& privateKeyPath,
                                        const std::u16string& certificatePath,
                                        const std::vector<std::string>& ipAddresses) {
    boost::json::array addresses;
    for (const auto& address : ipAddresses) {
        addresses.emplace_back(address);
    }
    call(op::changeCertificate, {{"privateKey", utf8(privateKeyPath)},
                                 {"certificate", utf8(certificatePath)},
                                 {"addresses", std::move(addresses)}});
}

void ConnectorClient::startConnector() {
    // A service that is away for an update is usually back within a second or two.
    const auto deadline = std::chrono::steady_clock::now() + fStartWait;
    while (fOpen && !findService() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (fOpen && !findService())
        korvan::host::throwError(kComponent, "StartWaitedInVain",
                                 static_cast<std::int64_t>(fStartWait.count() / 1000));
    call(op::startConnector);
}

void ConnectorClient::stopConnector() {
    call(op::stopConnector);
}

void ConnectorClient::resetConnector() {
    call(op::resetConnector);
}

std::u16string ConnectorClient::getAccessLogLocation() {
    return utf16(results::text(op::getAccessLogLocation, call(op::getAccessLogLocation)));
}

// -- update callbacks -------------------------------------------------------------------------

void ConnectorClient::registerVshUpdateCallback(std::function<void()> callback) {
    if (!callback) {
        throw std::invalid_argument("The update callback is empty.");
    }
    std::lock_guard lock(fLock);
    fCallbacks.push_back(std::move(callback));
}

void ConnectorClient::notifyVshUpdate() {
    std::vector<std::function<void()>> callbacks;
    {
        std::lock_guard lock(fLock);
        callbacks = fCallbacks;
    }
    FOUNDATION_LOG_AT(kClientLog, Level::Debug,
                      "Notifying " << callbacks.size() << " update callback(s)");
    fCallbackThread.post([callbacks = std::move(callbacks)] {
        for (const auto& callback : callbacks) {
            try {
                callback();
            } catch (const std::exception& e) {
                FOUNDATION_LOG_AT(kClientLog, Level::Error, "Update callback failed: " << e.what());
            } catch (...) {
                FOUNDATION_LOG_AT(kClientLog, Level::Error,
                                  "Update callback failed with an unknown exception");
            }
        }
    });
}

}  // namespace korvan::services::client
