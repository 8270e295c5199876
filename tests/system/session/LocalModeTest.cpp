// Local mode over real HTTPS: a hosted connector in local mode answers on loopback and cannot
// be reached on the machine's other IPv4 addresses.
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "Invokers.hpp"
#include "SessionHttps.hpp"
#include "TempFolder.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::test {
namespace {

using namespace std::chrono_literals;
namespace connector = korvan::services::connector;

std::string textResult(const std::string& json) {
    return std::string(boost::json::parse(json).as_string());
}

TEST(LocalModeTest, NotReachableOnANonLoopbackAddress) {
    const auto addresses = nonLoopbackIpv4Addresses();
    if (addresses.empty()) {
        GTEST_SKIP() << "this machine has no IPv4 address besides loopback";
    }
    korvan::test::TempFolder folder;
    korvan::host::InterpreterThread interpreter;
    auto settings = std::make_shared<korvan::services::settings::SettingsStore>(folder.path());
    korvan::services::servicehost::HostedConnector hosted(
        settings, std::make_shared<connector::HostFunctionCatalog>(),
        std::make_shared<korvan::test::InterpreterInvoker>(interpreter.getXVM(), 5s));

    const std::uint16_t port = freeLoopbackPort();
    hosted.invoke("setPort", R"({"port":)" + std::to_string(port) + "}");
    ASSERT_EQ(hosted.invoke("getClientAccessMode", "{}"), "0");
    hosted.invoke("startConnector", "{}");

    Request request;
    request.fPort = port;
    request.fTarget = "/v1/health";
    request.fTrusted = textResult(hosted.invoke("getCertificate", "{}"));
    request.fTimeout = 3s;

    // The same request on loopback is answered, so a refusal below is the binding's doing.
    std::string error;
    const auto loopback = httpsRequest(request, &error);
    ASSERT_TRUE(loopback.has_value()) << error;
    EXPECT_EQ(loopback->fStatus, 200u);

    for (const auto& address : addresses) {
        SCOPED_TRACE(address);
        request.fAddress = address;
        error.clear();
        EXPECT_FALSE(httpsRequest(request, &error).has_value());
        EXPECT_FALSE(error.empty());
    }
    hosted.invoke("stopConnector", "{}");
    hosted.shutdown();
}

}  // namespace
}  // namespace korvan::test
