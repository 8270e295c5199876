#include "BenchSession.hpp"

#include <stdexcept>

#include "Invokers.hpp"
#include "SessionHttps.hpp"
#include "TempFolder.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/host/ModuleLoader.hpp"
#include "korvan/host/UserCode.hpp"
#include "korvan/services/ServiceSide.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/settings/SettingsStore.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::bench {

namespace servicehost = korvan::services::servicehost;
namespace connector = korvan::services::connector;
using namespace std::chrono_literals;

struct BenchSession::Services {
    korvan::test::TempFolder fFolder;
    std::shared_ptr<services::settings::SettingsStore> fSettings =
        std::make_shared<services::settings::SettingsStore>(fFolder.path());
    std::shared_ptr<connector::HostFunctionCatalog> fCatalog =
        std::make_shared<connector::HostFunctionCatalog>();
    std::unique_ptr<services::ServiceSide> fSide;

    explicit Services(const std::shared_ptr<xvm::XVM>& vm) {
        korvan::host::registerFunction("benchPlus",
                                       [](int, kxArray** plhs, int nrhs, const kxArray** prhs) {
                                           double sum = 0;
                                           for (int i = 0; i < nrhs; ++i)
                                               sum += kxGetScalar(prhs[i]);
                                           plhs[0] = kxCreateDoubleScalar(sum);
                                       });
        fCatalog->expose("math", "plus", "benchPlus");
        services::ServiceSideOptions options;
        options.fSettings = fSettings;
        options.fCatalog = fCatalog;
        options.fInvoker = [vm] {
            return std::make_shared<korvan::test::InterpreterInvoker>(vm, 10s);
        };
        fSide = std::make_unique<services::ServiceSide>(std::move(options));
        fSide->startHost();
        fSide->openClient();
    }
    ~Services() {
        fSide.reset();
        korvan::host::unregisterFunction("benchPlus");
    }
};

namespace {

std::string textOf(const kx::ArrayPtr& value) {
    const auto& element = kxGetStringElement(value.get(), 0);
    return element ? kx::utf16ToUtf8(*element) : std::string();
}

}  // namespace

BenchSession& BenchSession::instance() {
    // Never destroyed: the module's static objects may use the interpreter at process exit.
    static BenchSession* const session = new BenchSession();
    return *session;
}

BenchSession::BenchSession() : fThread(std::make_unique<korvan::host::InterpreterThread>()) {
    fServices = std::make_unique<Services>(vm());
    const std::uint16_t port = korvan::test::freeLoopbackPort();
    run([this, port] {
        korvan::host::loadModule(KORVAN_MODULE_PATH,
                                 {{"restFunctionConnector", "restFunctionConnectorBuiltinFcn"}});
        korvan::host::UserCode user;
        fConnector = std::move(user.call("restFunctionConnector").at(0));
        kx::ArrayPtr portValue(kxCreateDoubleScalar(port));
        user.setProperty(fConnector.get(), "Port", portValue.get());
        user.callMethod(fConnector.get(), "start", {}, 0);
        fEndpoint.fPort = port;
        const std::string baseUrl = textOf(user.getProperty(fConnector.get(), "BaseURL"));
        const std::string prefix = "https://localhost:" + std::to_string(port);
        if (baseUrl.rfind(prefix, 0) != 0) {
            throw std::runtime_error("unexpected BaseURL " + baseUrl);
        }
        fEndpoint.fApiPath = baseUrl.substr(prefix.size());
        fEndpoint.fToken = textOf(user.getProperty(fConnector.get(), "RESTPersonalAccessToken"));
        fEndpoint.fCertificate = textOf(user.getProperty(fConnector.get(), "Certificate"));
    });
    if (!healthAnswers(fEndpoint)) {
        throw std::runtime_error("the connector does not answer on its port");
    }
}

services::servicehost::ServiceHost& BenchSession::host() {
    return *fServices->fSide->host();
}

void BenchSession::shutdown() {
    run([this] {
        korvan::host::UserCode user;
        user.callMethod(fConnector.get(), "stop", {}, 0);
        fConnector = kx::ArrayPtr();
    });
    fServices.reset();
    run([] {});  // work the module posted while the services went away
    fThread->stop();
}

bool healthAnswers(const Endpoint& endpoint) {
    korvan::test::Request request;
    request.fPort = endpoint.fPort;
    request.fTarget = endpoint.fApiPath + "/health";
    request.fTrusted = endpoint.fCertificate;
    request.fTimeout = 2s;
    const auto reply = korvan::test::httpsRequest(request);
    return reply && reply->fStatus == 200;
}

}  // namespace korvan::bench
