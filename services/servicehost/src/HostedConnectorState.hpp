// The hosted connector's state and operations behind HostedConnector::invoke: the settings
// binding (the store is written first, then the ConnectorService is told), the token and
// certificate issued on first use and persisted, start, stop and reset with their log lines.
//
// Owns: the ConnectorService (replaced whole by reset, so a dropped certificate is really
// gone). Shares: the settings store and the catalogue.
// Threads: every member function expects fLock to be held by the caller (HostedConnector::
// invoke and shutdown take it for the whole operation, a start or stop included).
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "HostedConnectorLog.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::services::servicehost {

class HostedConnectorState {
  public:
    HostedConnectorState(std::shared_ptr<settings::SettingsStore> settings,
                         std::shared_ptr<connector::FunctionServiceCatalog> catalog,
                         std::shared_ptr<connector::FunctionInvoker> invoker,
                         connector::Config tuning);

    connector::ConnectorService& service() { return *fService; }
    connector::FunctionServiceCatalog& catalog() { return *fCatalog; }
    settings::ConnectorSettings settings() const { return fSettings->current(); }
    bool running() const { return fService->status() == connector::Status::Running; }

    /// The folder of the logs: the setting, or the store's default folder when it is empty.
    std::filesystem::path logFolder() const;

    /// Applies `change` to the four connector settings (port, log location, host name, access
    /// mode): nothing when they stay the same; std::logic_error while running; otherwise the
    /// store is written, then the service's configuration replaced.
    void changeSettings(const std::function<void(settings::ConnectorSettings&)>& change);

    /// The token, issued with 30 days and persisted when there is none yet.
    connector::AccessToken token();
    void changeToken(std::uint32_t days);

    /// The certificate pair, generated and persisted when there is none or its files are gone.
    connector::CertificateFiles certificate();
    /// Both paths empty: generate (for `addresses` too); both given: adopt after checking.
    void changeCertificate(const std::string& privateKey, const std::string& certificate,
                           const std::vector<std::string>& addresses);

    /// Throws what ConnectorService::start throws, unchanged, after logging it.
    void start();
    void stop(const char* why = nullptr);
    /// std::logic_error while running.
    void reset();

  private:
    connector::Config configFor(const settings::ConnectorSettings& settings) const;
    void makeService(const settings::ConnectorSettings& settings);
    /// Checks a key and certificate pair and gives it to the service; errors carry the
    /// identifiers of KORVAN:connectorService.
    void useCertificateFiles(const connector::CertificateFiles& files);
    /// One line in connector.log; the default log folder is created for it when missing.
    void log(const std::string& text) const;

    const std::shared_ptr<settings::SettingsStore> fSettings;
    const std::shared_ptr<connector::FunctionServiceCatalog> fCatalog;
    const std::shared_ptr<connector::FunctionInvoker> fInvoker;
    const connector::Config fTuning;
    /// Before fService: the service's I/O threads write failed calls here until it is gone.
    mutable HostedConnectorLog fLog;
    std::unique_ptr<connector::ConnectorService> fService;
    /// True once the service holds the persisted (or a freshly made) certificate pair.
    bool fCertificateBound = false;
};

}  // namespace korvan::services::servicehost
