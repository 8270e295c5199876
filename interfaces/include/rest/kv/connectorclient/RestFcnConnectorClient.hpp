// RestFcnConnectorClient: the connector service's client interface, published in the service
// registry by the connector client bundle and consumed by the connector module.
//
// The module calls these operations through a vtable whose order it depends on: keep the
// declaration order exactly as it is (new operations go at the end). Narrow strings are UTF-8;
// std::u16string holds UTF-16 code units.
//
// Threads: the module calls every operation on the host interpreter thread, except
// registerVshUpdateCallback's callback, which the client invokes on a thread of its own.
// Implementations must be safe to call from several threads.
//
// Errors: startConnector throws a std::exception whose what() says why the start failed (port
// in use, permission, bad certificate); other operations throw std::exception on failure.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace rest::kv::connectorclient {

class RestFcnConnectorClient {
  public:
    virtual ~RestFcnConnectorClient() = default;

    virtual std::uint16_t getPort() = 0;
    virtual void setPort(std::uint16_t port) = 0;
    virtual std::u16string getLogLocation() = 0;
    virtual void setLogLocation(const std::u16string& logLocation) = 0;
    virtual std::string getHostname() = 0;
    virtual void setHostname(const std::string& hostName) = 0;
    /// 0 local, 1 remote.
    virtual std::int32_t getClientAccessMode() = 0;
    virtual void setAccessMode(std::int32_t accessMode) = 0;
    virtual std::vector<std::string> getServiceNames() = 0;
    virtual std::string getPersonalAccessToken() = 0;
    /// "dd-MMM-yyyy" with English month abbreviations, e.g. "21-Nov-2026".
    virtual std::string getTokenExpirationDate() = 0;
    /// Path of the certificate file.
    virtual std::u16string getCertificate() = 0;
    virtual std::u16string getCertificateExpirationDate() = 0;
    virtual std::string getBaseUrl() = 0;
    /// 0 notrunning, 1 running.
    virtual std::int32_t getStatus() = 0;
    /// The property document: one JSON object with the keys "Port", "LogLocation", "HostName",
    /// "ClientAccessMode", "ServiceNames" (names separated by single spaces),
    /// "RESTPersonalAccessToken", "TokenExpirationDate", "Certificate",
    /// "CertificateExpirationDate", "BaseUrl" and "Status".
    virtual std::string getPropertiesJson() = 0;
    /// Applies the four settings of an earlier successful start, before a restart.
    virtual void restoreSettings(std::int32_t port, const std::u16string& logLocation,
                                 const std::string& hostName, std::int32_t accessMode) = 0;
    /// Rescans the function services (the folders under the settings folder's services folder).
    /// Not used by the module.
    virtual void refreshServices() = 0;
    /// Issues a new personal access token valid for `days` days.
    virtual void changeToken(std::uint32_t days) = 0;
    /// Replaces the TLS certificate: with the given key and certificate files, or, when both
    /// paths are empty, with a generated self-signed one that also covers `ipAddresses`.
    virtual void changeCertificate(const std::u16string& privateKeyPath,
                                   const std::u16string& certificatePath,
                                   const std::vector<std::string>& ipAddresses) = 0;
    virtual void startConnector() = 0;
    virtual void stopConnector() = 0;
    /// Restores the default settings and issues a fresh token. The connector must be stopped.
    virtual void resetConnector() = 0;
    /// Called by the service host before an update flip: the client calls every callback given
    /// to registerVshUpdateCallback. Not used by the module.
    virtual void notifyVshUpdate() = 0;
    /// Folder of the access log (one line per request). Not used by the module.
    virtual std::u16string getAccessLogLocation() = 0;
    /// Keeps `callback`; the client calls it, on a thread of its own, when the service host
    /// has flipped to an update.
    virtual void registerVshUpdateCallback(std::function<void()> callback) = 0;
};

}  // namespace rest::kv::connectorclient
