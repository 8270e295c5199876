// The REST function connector service as the service host hosts it: a ConnectorService bound
// to the persistent settings, reachable through Invokable::invoke with the operations of
// rest/kv/connectorservice/Operations.hpp.
//
// A new instance reads the settings store (port, log location, host name, access mode, token,
// certificate paths) and starts not running; every setter, token and certificate change writes
// the store at once, so a fresh instance after an update flip, or after a restart of the
// process, has the same settings. resetConnector restores the defaults (the restart hour is
// kept: it belongs to the service host) and issues a fresh token.
//
// Owns: the ConnectorService. Shares: the settings store, the catalogue, the invoker.
// Threads: invoke() from any thread (the connector client calls it on the interpreter thread);
// fLock serialises operations that read and write the settings, and is held while the
// ConnectorService starts or stops.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/Export.hpp"
#include "korvan/services/servicehost/HostedService.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::services::servicehost {

class KORVAN_SERVICEHOST_EXPORT HostedConnector final : public HostedService {
  public:
    /// `tuning` supplies what the settings do not hold (threads, time-outs, body limit); its
    /// port, host name, access mode, log and certificate folders are taken from the store.
    HostedConnector(std::shared_ptr<settings::SettingsStore> settings,
                    std::shared_ptr<connector::FunctionServiceCatalog> catalog,
                    std::shared_ptr<connector::FunctionInvoker> invoker,
                    connector::Config tuning = {});
    ~HostedConnector() override;

    std::string invoke(const std::string& operation, const std::string& arguments) override;
    void shutdown() override;

  private:
    struct Impl;
    std::unique_ptr<Impl> fImpl;
};

}  // namespace korvan::services::servicehost
