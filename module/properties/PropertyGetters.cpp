// The property get-functions of the connector class: each asks the client, caches the answer
// and returns a new host value (the enumeration members are shared values instead).
#include <cstdint>

#include "classes/Registration.hpp"
#include "common/Checks.hpp"
#include "common/DateConversion.hpp"
#include "connector/RestfcnConnector.hpp"
#include "fl/i18n.hpp"

namespace rest::kv::connector {

namespace {

constexpr const char* kStatusClass = "korvan.engine.rest.Status";
constexpr const char* kAccessModeClass = "korvan.engine.rest.ClientAccessMode";

}  // namespace

double RestConnector::getPort() {
    fPort = requireConnectorClient()->getPort();
    return fPort;
}

kxArray* RestConnector::getLogLocation() {
    fLogLocation = requireConnectorClient()->getLogLocation();
    return kxCreateStringScalar(fLogLocation);
}

kxArray* RestConnector::getHostname() {
    fHostName = requireConnectorClient()->getHostname();
    return kxCreateStringScalarFromUtf8(fHostName);
}

kxArray* RestConnector::getAccessMode() {
    fClientAccessMode = requireConnectorClient()->getClientAccessMode();
    return enumMemberForValue(static_cast<std::uint32_t>(fClientAccessMode), kAccessModeClass);
}

kxArray* RestConnector::getServiceNames() {
    fServiceNames = requireConnectorClient()->getServiceNames();
    if (fServiceNames.empty()) {
        return kxCreateStringScalarFromUtf8("");  // a scalar "", not an empty string array
    }
    kx::ArrayPtr names(kxCreateStringMatrix(1, fServiceNames.size()));
    for (std::size_t i = 0; i < fServiceNames.size(); ++i) {
        kxSetStringElement(names.get(), i, fl::i18n::to_ustring(fServiceNames[i]));
    }
    return names.release();
}

kxArray* RestConnector::getPersonalAccessToken() {
    fRestPersonalAccessToken = requireConnectorClient()->getPersonalAccessToken();
    return kxCreateStringScalarFromUtf8(fRestPersonalAccessToken);
}

kxArray* RestConnector::getTokenExpirationDate() {
    fTokenExpirationDate = requireConnectorClient()->getTokenExpirationDate();
    return makeDatetime(fTokenExpirationDate);  // also for an empty text
}

kxArray* RestConnector::getCertificate() {
    fCertificate = requireConnectorClient()->getCertificate();
    return kxCreateStringScalar(fCertificate);
}

kxArray* RestConnector::getCertificateExpirationDate() {
    fCertificateExpirationDate = requireConnectorClient()->getCertificateExpirationDate();
    if (fCertificateExpirationDate.empty()) {
        return makeEmptyDatetime();  // unlike the token date, never constructed from ""
    }
    return makeDatetime(fCertificateExpirationDate);
}

kxArray* RestConnector::getBaseUrl() {
    fBaseUrl = requireConnectorClient()->getBaseUrl();
    return kxCreateStringScalarFromUtf8(fBaseUrl);
}

kxArray* RestConnector::getStatus() {
    refreshStatus();
    return enumMemberForValue(static_cast<std::uint32_t>(fStatus.load()), kStatusClass);
}

}  // namespace rest::kv::connector
