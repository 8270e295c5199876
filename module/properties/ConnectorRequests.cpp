// Token and certificate requests forwarded to the connector client; the host methods
// changeToken and changeCertificate parse and validate the arguments before calling these.
#include <utility>

#include "common/Checks.hpp"
#include "connector/RestfcnConnector.hpp"

namespace rest::kv::connector {

void RestConnector::changeToken(std::int32_t days) {
    ensureNotRunning();
    requireConnectorClient()->changeToken(static_cast<std::uint32_t>(days));
}

void RestConnector::changeCertificate(std::u16string privateKeyPath, std::u16string certificatePath,
                                      std::vector<std::string> ipAddresses) {
    ensureNotRunning();
    requireConnectorClient()->changeCertificate(std::move(privateKeyPath),
                                                std::move(certificatePath), std::move(ipAddresses));
}

}  // namespace rest::kv::connector
