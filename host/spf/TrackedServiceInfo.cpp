// TrackedServiceInfo and the client-ID property key.
#include <agent/spf/cppmsclientutils/Props.hpp>
#include <agent/spf/cppmsclientutils/TrackedServiceInfo.hpp>

#include <cppmicroservices/Any.h>

#include <stdexcept>
#include <utility>

namespace agent::spf::cppmsclientutils {

std::string clientIdProp() {
    return "spf.clientid";
}

namespace {

/// Escapes the characters that are special in a filter value.
std::string escapeValue(const std::string& value) {
    std::string result;
    for (char c : value) {
        if (c == '(' || c == ')' || c == '*' || c == '\\') result += '\\';
        result += c;
    }
    return result;
}

}  // namespace

TrackedServiceInfo::TrackedServiceInfo(std::string clientId, int majorVersion, int minorVersion)
    : fClientId(std::move(clientId)), fMajorVersion(majorVersion), fMinorVersion(minorVersion) {
    if (fClientId.empty()) throw std::invalid_argument("TrackedServiceInfo: empty client ID");
    if (fMajorVersion < 0 || fMinorVersion < 0) {
        throw std::invalid_argument("TrackedServiceInfo: negative version");
    }
}

std::string TrackedServiceInfo::getLdapExpression() const {
    return "(&(" + Props::CLIENT_ID + "=" + escapeValue(fClientId) + ")(" + Props::MAJOR_VERSION +
           "=" + std::to_string(fMajorVersion) + ")(" + Props::MINOR_VERSION +
           ">=" + std::to_string(fMinorVersion) + "))";
}

cppmicroservices::ServiceProperties TrackedServiceInfo::getServiceProperties() const {
    return {{Props::CLIENT_ID, cppmicroservices::Any(fClientId)},
            {Props::MAJOR_VERSION, cppmicroservices::Any(fMajorVersion)},
            {Props::MINOR_VERSION, cppmicroservices::Any(fMinorVersion)}};
}

}  // namespace agent::spf::cppmsclientutils
