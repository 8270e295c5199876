// The real service side of a person's session, in the host's framework: a settings store on a
// temporary folder, a catalogue of host functions, an invoker on the module harness's
// interpreter, a service host whose hosted connectors get `tuning`, and the connector client
// bundle. Torn down in reverse order. Shared by the session, attack and fault tests.
//
// Start it before the module's first use: the module looks for the update-flip service once.
#pragma once

#include <chrono>
#include <memory>
#include <utility>

#include "ModuleHarness.hpp"
#include "TempFolder.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/services/client/ConnectorClient.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::session::test {

struct SessionServices {
    korvan::services::connector::test::TempFolder fFolder;
    std::shared_ptr<korvan::services::settings::SettingsStore> fSettings =
        std::make_shared<korvan::services::settings::SettingsStore>(fFolder.path());
    std::shared_ptr<korvan::services::connector::HostFunctionCatalog> fCatalog =
        std::make_shared<korvan::services::connector::HostFunctionCatalog>();
    std::shared_ptr<korvan::services::connector::InterpreterInvoker> fInvoker =
        std::make_shared<korvan::services::connector::InterpreterInvoker>(
            modtest::ModuleHarness::instance().vm(), std::chrono::seconds(10));
    std::shared_ptr<korvan::services::servicehost::ServiceHost> fHost;
    std::unique_ptr<korvan::services::client::ConnectorClientBundle> fClientBundle;

    explicit SessionServices(korvan::services::connector::Config tuning = {}) {
        namespace servicehost = korvan::services::servicehost;
        servicehost::ServiceHostOptions options;
        options.fContext = foundation::cppmicroservices::getFramework().GetBundleContext();
        options.fSettings = fSettings;
        options.fFactory = [settings = fSettings, catalog = fCatalog, invoker = fInvoker, tuning] {
            return std::make_shared<servicehost::HostedConnector>(settings, catalog, invoker,
                                                                  tuning);
        };
        fHost = std::make_shared<servicehost::ServiceHost>(std::move(options));
        fHost->start();
        openClient();
    }
    ~SessionServices() {
        fHost->stop();
        fClientBundle.reset();
        fHost.reset();
    }
    SessionServices(const SessionServices&) = delete;
    SessionServices& operator=(const SessionServices&) = delete;

    void openClient() {
        fClientBundle = std::make_unique<korvan::services::client::ConnectorClientBundle>(
            foundation::cppmicroservices::getFramework().GetBundleContext());
    }
};

}  // namespace korvan::session::test
