// TrackedServiceInfo: which hosted service a client wants, by client ID and interface version.
//
// A client turns it into an LDAP expression for its tracker:
//     TrackedServiceInfo info("restfcnconnectorservice", 1, 0);
//     cppmicroservices::LDAPFilter filter(info.getLdapExpression());
//     // "(&(spf.clientid=restfcnconnectorservice)(spf.version.major=1)(spf.version.minor>=0))"
// and the publisher of the service registers it with info.getServiceProperties(), so that both
// sides agree on the keys. A service matches when its client ID is equal, its major version is
// equal and its minor version is at least the one asked for.
//
// A value type; immutable after construction.
#pragma once

#include <cppmicroservices/ServiceProperties.h>

#include <string>

#include "korvan/host/Export.hpp"

namespace agent::spf::cppmsclientutils {

class KORVAN_HOST_EXPORT TrackedServiceInfo {
  public:
    /// Throws std::invalid_argument for an empty client ID or a negative version.
    TrackedServiceInfo(std::string clientId, int majorVersion, int minorVersion);

    const std::string& getClientId() const { return fClientId; }
    int getMajorVersion() const { return fMajorVersion; }
    int getMinorVersion() const { return fMinorVersion; }

    /// The filter text selecting the services this info describes (client ID escaped).
    std::string getLdapExpression() const;

    /// The properties a publisher registers the service with: client ID, major and minor
    /// version (the two versions as int).
    cppmicroservices::ServiceProperties getServiceProperties() const;

  private:
    std::string fClientId;
    int fMajorVersion;
    int fMinorVersion;
};

}  // namespace agent::spf::cppmsclientutils
