// FixedDocumentClient: a connector client for bench_module_internals that answers at once from
// constants: a realistic property document of a running connector (a 64-character token, a
// certificate path, two service names, ...) and the same values from its getters. Setters,
// start, stop and the other commands do nothing. It isolates the module's own cost from the
// connector client's and the connector service's.
//
// Threads: any; the object is immutable.
#pragma once

#include "rest/kv/connectorclient/RestFcnConnectorClient.hpp"

namespace korvan::bench {

class FixedDocumentClient final : public rest::kv::connectorclient::RestFcnConnectorClient {
  public:
    /// The property document getPropertiesJson answers (418 bytes).
    static const std::string& document();

    std::uint16_t getPort() override { return 9920; }
    void setPort(std::uint16_t) override {}
    std::u16string getLogLocation() override;
    void setLogLocation(const std::u16string&) override {}
    std::string getHostname() override { return "localhost"; }
    void setHostname(const std::string&) override {}
    std::int32_t getClientAccessMode() override { return 0; }
    void setAccessMode(std::int32_t) override {}
    std::vector<std::string> getServiceNames() override { return {"demo", "math"}; }
    std::string getPersonalAccessToken() override;
    std::string getTokenExpirationDate() override { return "22-Dec-2026"; }
    std::u16string getCertificate() override;
    std::u16string getCertificateExpirationDate() override { return u"22-Nov-2027"; }
    std::string getBaseUrl() override { return "https://localhost:9920/v1"; }
    std::int32_t getStatus() override { return 1; }
    std::string getPropertiesJson() override { return document(); }
    void restoreSettings(std::int32_t, const std::u16string&, const std::string&,
                         std::int32_t) override {}
    void refreshServices() override {}
    void changeToken(std::uint32_t) override {}
    void changeCertificate(const std::u16string&, const std::u16string&,
                           const std::vector<std::string>&) override {}
    void startConnector() override {}
    void stopConnector() override {}
    void resetConnector() override {}
    void notifyVshUpdate() override {}
    std::u16string getAccessLogLocation() override;
    void registerVshUpdateCallback(std::function<void()>) override {}
};

}  // namespace korvan::bench
