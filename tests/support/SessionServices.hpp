// The real service side of a person's session, in the host's framework (ServiceSide, as the
// korvan command sets it up): a settings store on a temporary folder, a catalogue of host
// functions, invokers on the module harness's interpreter, a service host whose hosted
// connectors get `tuning`, and the connector client bundle. Shared by the session, stress and
// fault tests.
//
// Start it before the module's first use: the module looks for the update-flip service once.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "Invokers.hpp"
#include "ModuleHarness.hpp"
#include "TempFolder.hpp"
#include "korvan/services/ServiceSide.hpp"

namespace korvan::test {

struct SessionServices {
    using Wrap = std::function<std::shared_ptr<korvan::services::servicehost::HostedService>(
        std::shared_ptr<korvan::services::servicehost::HostedConnector>)>;

    korvan::test::TempFolder fFolder;
    std::shared_ptr<korvan::services::settings::SettingsStore> fSettings =
        std::make_shared<korvan::services::settings::SettingsStore>(fFolder.path());
    std::shared_ptr<korvan::services::connector::HostFunctionCatalog> fCatalog =
        std::make_shared<korvan::services::connector::HostFunctionCatalog>();
    korvan::services::ServiceSide fSide;
    /// The started host (the same object fSide owns; stopped with it).
    std::shared_ptr<korvan::services::servicehost::ServiceHost> fHost;

    explicit SessionServices(korvan::services::connector::Config tuning = {}, Wrap wrap = {})
        : fSide(options(std::move(tuning), std::move(wrap))) {
        fSide.startHost();
        fSide.openClient();
        fHost = fSide.host();
    }
    SessionServices(const SessionServices&) = delete;
    SessionServices& operator=(const SessionServices&) = delete;

  private:
    korvan::services::ServiceSideOptions options(korvan::services::connector::Config tuning,
                                                 Wrap wrap) {
        korvan::services::ServiceSideOptions options;
        options.fSettings = fSettings;
        options.fCatalog = fCatalog;
        options.fInvoker = [] {
            return std::make_shared<korvan::test::InterpreterInvoker>(
                korvan::test::ModuleHarness::instance().vm(), std::chrono::seconds(10));
        };
        options.fTuning = std::move(tuning);
        options.fWrap = std::move(wrap);
        return options;
    }
};

}  // namespace korvan::test
