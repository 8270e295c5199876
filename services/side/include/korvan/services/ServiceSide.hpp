// The service side of a session in one object: a service host whose hosted connectors serve
// the function catalogue through invokers made for each connector instance, and the connector
// client bundle the module reaches them through.
//
//   ServiceSide side(options);
//   side.startHost();   // publishes the connector and update-flip services
//   side.openClient();  // the client bundle tracks the published connector
//   ...
//   side.stop();        // (or the destructor) client bundle closed, then the host stopped
//
// The order is the product's: the host is published before the client looks for it, and the
// client goes before the host, so nothing calls a connector that is being taken down. The two
// start steps are separate because the korvan command goes on without a host (the client
// then says the service is missing).
//
// Ownership: ServiceSide owns the service host and the client bundle; the settings store,
// catalogue and invokers are shared with whoever else holds them. Threads: construct, start
// and stop on one thread (the interpreter thread in the korvan command); host() may be read
// from any thread between start and stop.
#pragma once

#include <functional>
#include <memory>

#include <cppmicroservices/BundleContext.h>

#include "korvan/services/client/ConnectorClient.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::services {

struct ServiceSideOptions {
    /// The connector's settings; required by startHost().
    std::shared_ptr<settings::SettingsStore> fSettings;
    /// What the connectors serve; required by startHost().
    std::shared_ptr<connector::FunctionServiceCatalog> fCatalog;
    /// Makes the invoker of one connector instance; called for each (a flip makes a new one,
    /// whose calls must not depend on the old one's). Required by startHost().
    std::function<std::shared_ptr<connector::FunctionInvoker>()> fInvoker;
    /// Server tuning of every connector instance.
    connector::Config fTuning;
    /// Wraps each connector instance before the host publishes it (tests count instances);
    /// empty: the instance as it is.
    std::function<std::shared_ptr<servicehost::HostedService>(
        std::shared_ptr<servicehost::HostedConnector>)>
        fWrap;
    /// The registry to publish in and track from; empty: the host framework's.
    cppmicroservices::BundleContext fContext;
};

class ServiceSide {
  public:
    explicit ServiceSide(ServiceSideOptions options);
    ~ServiceSide();
    ServiceSide(const ServiceSide&) = delete;
    ServiceSide& operator=(const ServiceSide&) = delete;

    /// Starts the service host; throws std::runtime_error (or the host's error) saying why it
    /// cannot, and then there is no host.
    void startHost();
    /// Opens the connector client bundle; throws saying why it cannot.
    void openClient();
    /// Closes the client bundle (a person's client going away while the host stays).
    void closeClient() noexcept;
    /// Closes the client bundle, then stops the host (it unpublishes its services and stops
    /// the connector's HTTPS server). Idempotent; never throws: a host that fails to stop is
    /// reported to `onProblem` when given.
    void stop(const std::function<void(const std::string&)>& onProblem = {}) noexcept;

    /// The running service host, or null (not started, failed, or stopped).
    const std::shared_ptr<servicehost::ServiceHost>& host() const noexcept { return fHost; }

  private:
    ServiceSideOptions fOptions;
    std::shared_ptr<servicehost::ServiceHost> fHost;
    std::unique_ptr<client::ConnectorClientBundle> fClientBundle;
};

}  // namespace korvan::services
