#include "korvan/services/ServiceSide.hpp"

#include <stdexcept>
#include <string>
#include <utility>

#include "foundation/cppmicroservices/Framework.hpp"

namespace korvan::services {

ServiceSide::ServiceSide(ServiceSideOptions options) : fOptions(std::move(options)) {
    if (!fOptions.fContext)
        fOptions.fContext = foundation::cppmicroservices::getFramework().GetBundleContext();
}

ServiceSide::~ServiceSide() {
    stop();
}

void ServiceSide::startHost() {
    if (!fOptions.fSettings || !fOptions.fCatalog || !fOptions.fInvoker)
        throw std::invalid_argument("the service side needs settings, a catalogue and invokers");
    servicehost::ServiceHostOptions host;
    host.fContext = fOptions.fContext;
    host.fSettings = fOptions.fSettings;
    host.fFactory = [settings = fOptions.fSettings, catalog = fOptions.fCatalog,
                     invoker = fOptions.fInvoker, tuning = fOptions.fTuning,
                     wrap = fOptions.fWrap]() -> std::shared_ptr<servicehost::HostedService> {
        auto connector =
            std::make_shared<servicehost::HostedConnector>(settings, catalog, invoker(), tuning);
        if (wrap) return wrap(std::move(connector));
        return connector;
    };
    auto started = std::make_shared<servicehost::ServiceHost>(std::move(host));
    started->start();
    fHost = std::move(started);
}

void ServiceSide::openClient() {
    fClientBundle = std::make_unique<client::ConnectorClientBundle>(fOptions.fContext);
}

void ServiceSide::closeClient() noexcept {
    fClientBundle.reset();
}

void ServiceSide::stop(const std::function<void(const std::string&)>& onProblem) noexcept {
    closeClient();
    if (!fHost) return;
    try {
        fHost->stop();
    } catch (const std::exception& e) {
        if (onProblem) onProblem(e.what());
    }
    fHost.reset();
}

}  // namespace korvan::services
