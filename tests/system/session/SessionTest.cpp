// A person's session with the connector, through the connector module and the real services:
// the module loaded by the host's module loader and driven as user code; the connector client
// bundle, the service host with hosted connectors on a settings store in a temporary folder, a
// function service "math" exposing the host function "sessionTestPlus" as "plus", and calls
// over real HTTPS on loopback from a client that verifies the generated certificate.
//
// The module keeps process-wide state, so this executable holds one session, in order.
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ModuleHarness.hpp"
#include "SessionHttps.hpp"
#include "SessionServices.hpp"
#include "TempFolder.hpp"
#include "UserActions.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/host/Warnings.hpp"
#include "korvan/services/client/ConnectorClient.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::session::test {
namespace {

using namespace std::chrono_literals;
using modtest::ModuleHarness;
using modtest::Value;
using modtest::waitUntil;
namespace user = modtest::user;
namespace servicehost = korvan::services::servicehost;
namespace connector = korvan::services::connector;

// The warnings issued during the session, with the thread that issued each.
class WarningRecorder {
  public:
    WarningRecorder() {
        fPrevious = korvan::host::setWarningSink([this](const std::string& line) {
            std::lock_guard lock(fMutex);
            fLines.push_back(line);
            fThreads.push_back(std::this_thread::get_id());
        });
    }
    ~WarningRecorder() { korvan::host::setWarningSink(fPrevious); }

    std::vector<std::thread::id> threads() const {
        std::lock_guard lock(fMutex);
        return fThreads;
    }

  private:
    korvan::host::WarningSink fPrevious;
    mutable std::mutex fMutex;
    std::vector<std::string> fLines;        // guarded by fMutex
    std::vector<std::thread::id> fThreads;  // guarded by fMutex
};

// The services of the session, with a host function "plus" exposed as math/plus.
struct Services : korvan::session::test::SessionServices {
    Services() {
        korvan::host::registerFunction("sessionTestPlus",
                                       [](int, kxArray** plhs, int nrhs, const kxArray** prhs) {
                                           double sum = 0;
                                           for (int i = 0; i < nrhs; ++i)
                                               sum += kxGetScalar(prhs[i]);
                                           plhs[0] = kxCreateDoubleScalar(sum);
                                       });
        fCatalog->expose("math", "plus", "sessionTestPlus");
    }
    ~Services() { korvan::host::unregisterFunction("sessionTestPlus"); }
};

// What the person's program sees of the running connector.
struct Endpoint {
    std::uint16_t fPort = 0;
    std::string fApiPath;  // the path of BaseURL, e.g. "/v1"
    std::string fToken;
    std::string fCertificate;
};

Endpoint endpointOf(const Value& c) {
    Endpoint endpoint;
    endpoint.fPort = static_cast<std::uint16_t>(modtest::scalar(user::get(c, "Port")));
    const std::string baseUrl = modtest::text(user::get(c, "BaseURL"));
    const std::string prefix = "https://localhost:" + std::to_string(endpoint.fPort);
    EXPECT_EQ(baseUrl.rfind(prefix, 0), 0u) << baseUrl;
    endpoint.fApiPath = baseUrl.substr(prefix.size());
    endpoint.fToken = modtest::text(user::get(c, "RESTPersonalAccessToken"));
    endpoint.fCertificate = modtest::text(user::get(c, "Certificate"));
    return endpoint;
}

std::optional<Reply> callPlus(const Endpoint& endpoint, std::string* error) {
    Request request;
    request.fPort = endpoint.fPort;
    request.fMethod = http::verb::post;
    request.fTarget = endpoint.fApiPath + "/services/math/plus";
    request.fBody = R"({"args":[1,2]})";
    request.fToken = endpoint.fToken;
    request.fTrusted = endpoint.fCertificate;
    return httpsRequest(request, error);
}

bool healthAnswers(const Endpoint& endpoint) {
    Request request;
    request.fPort = endpoint.fPort;
    request.fTarget = endpoint.fApiPath + "/health";
    request.fTrusted = endpoint.fCertificate;
    request.fTimeout = 2s;
    const auto reply = httpsRequest(request);
    return reply && reply->fStatus == 200;
}

void expectSumOfThree(const Endpoint& endpoint) {
    std::string error;
    const auto reply = callPlus(endpoint, &error);
    ASSERT_TRUE(reply.has_value()) << error;
    EXPECT_EQ(reply->fStatus, 200u) << reply->fBody;
    EXPECT_EQ(boost::json::parse(reply->fBody), boost::json::parse(R"({"results":[3]})"))
        << reply->fBody;
}

std::string statusOf(const Value& c) {
    return user::memberName(user::get(c, "Status"));
}

TEST(SessionTest, APersonsSessionThroughTheModule) {
    auto& harness = ModuleHarness::instance();
    WarningRecorder warnings;
    {
        Services services;
        harness.loadModule();
        Value c = user::connector();
        EXPECT_EQ(statusOf(c), "notrunning");
        const std::string firstToken = modtest::text(user::get(c, "RESTPersonalAccessToken"));
        EXPECT_EQ(firstToken.size(), 64u);
        EXPECT_EQ(modtest::texts(user::get(c, "ServiceNames")), std::vector<std::string>{"math"});

        SCOPED_TRACE("port, start and a call");
        const std::uint16_t port = freeLoopbackPort();
        user::set(c, "Port", modtest::num(port));
        EXPECT_EQ(services.fSettings->current().fPort, port);
        user::method(c, "start");
        EXPECT_EQ(statusOf(c), "running");
        const Endpoint endpoint = endpointOf(c);
        EXPECT_EQ(endpoint.fPort, port);
        EXPECT_EQ(endpoint.fToken, firstToken);
        expectSumOfThree(endpoint);

        SCOPED_TRACE("stop, and start again");
        user::method(c, "stop");
        EXPECT_EQ(statusOf(c), "notrunning");
        std::string error;
        EXPECT_FALSE(callPlus(endpoint, &error).has_value()) << "still answering after stop";
        user::method(c, "start");
        EXPECT_EQ(statusOf(c), "running");
        expectSumOfThree(endpoint);

        SCOPED_TRACE("an update flip while running");
        const auto flipsBefore = services.fHost->flipCount();
        const auto before = services.fHost->current();
        services.fHost->flip();  // the old instance's server has stopped when this returns
        EXPECT_EQ(services.fHost->flipCount(), flipsBefore + 1);
        EXPECT_NE(services.fHost->current(), before);
        ASSERT_TRUE(waitUntil([&] { return healthAnswers(endpoint); }, 20s))
            << "the module did not restart the connector after the flip";
        harness.drainInterpreter();
        EXPECT_EQ(statusOf(c), "running");
        EXPECT_EQ(endpointOf(c).fToken, firstToken);  // the fresh instance read the settings
        expectSumOfThree(endpoint);

        SCOPED_TRACE("the restart hour and the restart warning");
        EXPECT_EQ(
            modtest::errorIdOf([&] { user::set(c, "PreferredRestartHour", modtest::num(3)); }),
            "KORVAN:restFcnService:CannotModifyConnector");
        user::method(c, "stop");
        user::set(c, "PreferredRestartHour", modtest::num(3));
        EXPECT_EQ(modtest::scalar(user::get(c, "PreferredRestartHour")), 3);
        EXPECT_EQ(services.fSettings->current().fRestartHour, 3);
        user::method(c, "start");
        korvan::host::clearLastWarning();
        services.fHost->notifyUpdate();
        ASSERT_TRUE(waitUntil([] { return !korvan::host::lastWarning().identifier.empty(); }))
            << "no restart warning after notifyUpdate";
        const auto warning = korvan::host::lastWarning();
        EXPECT_EQ(warning.identifier, "KORVAN:restFcnService:ConnectorRestartWarning");
        EXPECT_NE(warning.message.find(" 3:00"), std::string::npos) << warning.message;
        const auto threads = warnings.threads();
        ASSERT_FALSE(threads.empty());
        EXPECT_EQ(threads.back(), harness.interpreterThreadId());
        EXPECT_EQ(statusOf(c), "running");  // a notice only: nothing flipped

        SCOPED_TRACE("stop and reset");
        user::method(c, "stop");
        user::method(c, "reset");
        EXPECT_EQ(modtest::scalar(user::get(c, "Port")), 9920);
        const std::string newToken = modtest::text(user::get(c, "RESTPersonalAccessToken"));
        EXPECT_EQ(newToken.size(), 64u);
        EXPECT_NE(newToken, firstToken);
        EXPECT_EQ(services.fSettings->current().fPort, 9920);
        EXPECT_EQ(services.fSettings->current().fRestartHour, 3);  // the host's, kept
        EXPECT_EQ(statusOf(c), "notrunning");

        c.reset();
        harness.drainInterpreter();
    }
    harness.drainInterpreter();
    harness.stop();
}

}  // namespace
}  // namespace korvan::session::test
