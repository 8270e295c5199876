// getAllProperties: refreshes the property cache from the connector's property document.
#include <cstdint>
#include <string>
#include <vector>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/numeric/conversion/cast.hpp>

#include "common/Checks.hpp"
#include "common/JsonParse.hpp"
#include "common/Log.hpp"
#include "connector/RestfcnConnector.hpp"
#include "fl/i18n.hpp"

namespace rest::kv::connector {

namespace {

// A bounded cast with truncation toward zero: a value at or beyond one past either end of T's
// range throws boost::numeric::negative_overflow / positive_overflow.
template <class T>
T boundedNumber(const foundation::json::Value& document, const char* key) {
    return boost::numeric_cast<T>(document[key].asNumber());
}

const std::string& text(const foundation::json::Value& document, const char* key) {
    return document[key].asString();
}

}  // namespace

void RestConnector::getAllProperties() {
    KVCONN_LOG("Inside Restconnector::getAllProperties()");
    auto client = requireConnectorClient();
    const foundation::json::Value document = parseJson(client->getPropertiesJson());

    // Not transactional: each field is stored as soon as it is read, so a failure leaves the
    // earlier fields refreshed and the later ones as they were (the name list empty).
    fServiceNames.clear();
    fPort = boundedNumber<std::uint16_t>(document, "Port");
    fLogLocation = fl::i18n::to_ustring(text(document, "LogLocation"));
    fHostName = text(document, "HostName");
    fClientAccessMode = boundedNumber<std::int32_t>(document, "ClientAccessMode");
    {
        // Every single white-space character separates: two spaces give an empty name.
        std::vector<std::string> names;
        boost::algorithm::split(names, text(document, "ServiceNames"),
                                boost::algorithm::is_space());
        fServiceNames = std::move(names);
    }
    fRestPersonalAccessToken = text(document, "RESTPersonalAccessToken");
    fTokenExpirationDate = text(document, "TokenExpirationDate");
    fCertificate = fl::i18n::to_ustring(text(document, "Certificate"));
    fCertificateExpirationDate = fl::i18n::to_ustring(text(document, "CertificateExpirationDate"));
    fBaseUrl = text(document, "BaseUrl");
    fStatus = boundedNumber<std::int32_t>(document, "Status");
}

}  // namespace rest::kv::connector
