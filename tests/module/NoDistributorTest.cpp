// The module in an interpreter created without a command distributor: the test's main thread is
// that interpreter's thread and runs user code directly. The module's posts then fail silently:
// the update callback is never handed over and the restart after an update flip never runs,
// while everything the user calls keeps working.
#include <algorithm>

#include <gtest/gtest.h>

#include "ModuleHarness.hpp"
#include "ServiceRegistrations.hpp"
#include "foundation/log/Capture.hpp"
#include "kcos/Operations.hpp"
#include "korvan/host/ModuleLoader.hpp"
#include "korvan/host/UserCode.hpp"
#include "xvm/XVM.hpp"

namespace korvan::test {
namespace {

ServiceRegistrations& services() {
    static ServiceRegistrations* const registrations = new ServiceRegistrations();
    return *registrations;
}

class NoDistributorEnvironment : public ::testing::Environment {
  public:
    void SetUp() override {
        xvm::XVMOptions options;
        options.fWithDistributor = false;
        xvm::Factory::setCurrentLocalXVM(xvm::Factory::createXVM(options));
        services().publishUpdateFlip();
        services().publishClient();
        korvan::host::loadModule(ModuleHarness::modulePath(),
                                 {{"restFunctionConnector", "restFunctionConnectorBuiltinFcn"}});
    }
};

[[maybe_unused]] ::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new NoDistributorEnvironment);

TEST(NoDistributorTest, ServiceEventsCompleteWithoutRunningAnything) {
    foundation::log::ScopedCapture log(kModuleChannel);
    auto count = [&](const char* line) {
        const auto lines = log.lines();
        return std::count(lines.begin(), lines.end(), line);
    };
    FakeConnectorClient& client = *services().client();
    korvan::host::UserCode user;

    services().publishService();
    kx::ArrayPtr c = std::move(user.call("restFunctionConnector").at(0));
    ASSERT_EQ(kxGetClassName(c.get()), "korvan.engine.rest.RESTFunctionConnector");
    user.callMethod(c.get(), "start", {}, 0);
    ASSERT_EQ(client.state().fStatus, 1);

    // Gone while running: the restart is armed.
    services().withdrawService();
    ASSERT_TRUE(waitUntil([&] { return count("fIsVshDown == true") == 1; }));
    client.edit([](ClientState& s) { s.fStatus = 0; });
    client.clearCalls();

    // Back: the handler posts the registration and the restart, and both are lost. The next
    // removal is handled after that arrival, so once it is logged the arrival has finished.
    services().publishService();
    services().withdrawService();
    ASSERT_TRUE(waitUntil([&] { return count("Inside restconnector::onRemoved()") == 2; }));
    EXPECT_EQ(count("In Restconnector::onAdded()"), 2);
    EXPECT_EQ(count("Starting connector from restconnector::onAdded()"), 1);
    // The flag was cleared although nothing ran, and the connector was marked stopped.
    EXPECT_EQ(count("fIsVshDown == true"), 1);
    EXPECT_TRUE(client.calls().empty());
    EXPECT_FALSE(client.hasUpdateCallback());

    // The user is not affected and can start the connector again.
    services().publishService();
    kx::ArrayPtr status = user.getProperty(c.get(), "Status");
    EXPECT_EQ(kcos::getEnumMemberName(status.get()), "notrunning");
    user.callMethod(c.get(), "start", {}, 0);
    EXPECT_EQ(client.state().fStatus, 1);
    EXPECT_EQ(client.countOf("restoreSettings"), 0u);
    user.callMethod(c.get(), "stop", {}, 0);
}

}  // namespace
}  // namespace korvan::test
