// The real services of a stress run, in the host's framework, as a korvan process has them:
// the settings store in a temporary folder, a function service "math" exposing the host
// function "stressTestPlus" as "plus", the interpreter invoker on the harness's interpreter
// thread, the service host (its instances wrapped in CountingConnector) and the connector
// client bundle. Torn down in reverse order; the host's stop is marked as a tear-down in the
// ledger so that it does not count as a flip.
//
// Threads: built and destroyed on the test's main thread (never the interpreter thread).
#pragma once

#include <chrono>
#include <memory>

#include "CountingConnector.hpp"
#include "ModuleHarness.hpp"
#include "TempFolder.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/services/client/ConnectorClient.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::stress::test {

struct StressServices {
    korvan::services::connector::test::TempFolder fFolder;
    std::shared_ptr<FlipLedger> fLedger = std::make_shared<FlipLedger>();
    std::shared_ptr<korvan::services::settings::SettingsStore> fSettings =
        std::make_shared<korvan::services::settings::SettingsStore>(fFolder.path());
    std::shared_ptr<korvan::services::connector::HostFunctionCatalog> fCatalog =
        std::make_shared<korvan::services::connector::HostFunctionCatalog>();
    std::shared_ptr<korvan::services::connector::InterpreterInvoker> fInvoker =
        std::make_shared<korvan::services::connector::InterpreterInvoker>(
            modtest::ModuleHarness::instance().vm(), std::chrono::seconds(10));
    std::shared_ptr<korvan::services::servicehost::ServiceHost> fHost;
    std::unique_ptr<korvan::services::client::ConnectorClientBundle> fClientBundle;

    StressServices() {
        namespace servicehost = korvan::services::servicehost;
        korvan::host::registerFunction("stressTestPlus",
                                       [](int, kxArray** plhs, int nrhs, const kxArray** prhs) {
                                           double sum = 0;
                                           for (int i = 0; i < nrhs; ++i)
                                               sum += kxGetScalar(prhs[i]);
                                           plhs[0] = kxCreateDoubleScalar(sum);
                                       });
        fCatalog->expose("math", "plus", "stressTestPlus");
        auto context = foundation::cppmicroservices::getFramework().GetBundleContext();
        servicehost::ServiceHostOptions options;
        options.fContext = context;
        options.fSettings = fSettings;
        options.fFactory = [settings = fSettings, catalog = fCatalog, invoker = fInvoker,
                            ledger = fLedger]() -> std::shared_ptr<servicehost::HostedService> {
            return std::make_shared<CountingConnector>(
                std::make_shared<servicehost::HostedConnector>(settings, catalog, invoker), ledger);
        };
        fHost = std::make_shared<servicehost::ServiceHost>(std::move(options));
        fHost->start();
        fClientBundle = std::make_unique<korvan::services::client::ConnectorClientBundle>(context);
    }

    ~StressServices() {
        fLedger->fTearingDown = true;
        fHost->stop();
        fClientBundle.reset();
        fHost.reset();
        korvan::host::unregisterFunction("stressTestPlus");
    }

    /// The registered instance, or null while the host is down.
    std::shared_ptr<CountingConnector> current() const {
        return std::static_pointer_cast<CountingConnector>(fHost->current());
    }
};

}  // namespace korvan::stress::test
