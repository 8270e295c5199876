// The update flip: the connector service goes away and comes back. A connector that was running
// is started again, on the interpreter thread, with the settings of its last successful start;
// one that was stopped is not. Each case ends with the service published and nothing pending.
#include <algorithm>
#include <filesystem>

#include "ModuleFixture.hpp"
#include "korvan/host/Warnings.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::test {
namespace {

[[maybe_unused]] ::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new PublishedEnvironment);

class FlipTest : public ModuleTest {
  protected:
    std::size_t count(const std::string& line) const {
        const auto lines = logLines();
        return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
    }

    /// Withdraws the connector service and waits until the module has handled it.
    void serviceGoes() {
        const std::size_t before = count("Inside restconnector::onRemoved()");
        harness.services().withdrawService();
        ASSERT_TRUE(waitUntil([&] { return count("Inside restconnector::onRemoved()") > before; }));
    }

    /// Publishes the connector service and waits until the update callback was handed over
    /// again (the first work the module posts for it), then until the queue is empty.
    void serviceComes(std::size_t expectedStarts = 0) {
        const std::size_t registrations = client.countOf("registerVshUpdateCallback");
        harness.services().publishService();
        ASSERT_TRUE(
            waitUntil([&] { return client.countOf("registerVshUpdateCallback") > registrations; }));
        ASSERT_TRUE(waitUntil([&] { return client.countOf("startConnector") >= expectedStarts; }));
        harness.drainInterpreter();
    }

    /// A user start with the current settings (local mode, so no consent needed).
    void userStart(const Value& c) {
        user::method(c, "start");
        ASSERT_EQ(client.state().fStatus, 1);
    }
};

TEST_F(FlipTest, StoppedConnectorIsNotStartedWhenTheServiceReturns) {
    Value c = user::connector();
    serviceGoes();
    EXPECT_EQ(count("fIsVshDown == true"), 0u);
    client.clearCalls();
    serviceComes();
    EXPECT_EQ(client.trace(), std::vector<std::string>{"registerVshUpdateCallback"});
    EXPECT_EQ(client.calls()[0].fThread, harness.interpreterThreadId());
    EXPECT_EQ(count("In Restconnector::onAdded()"), 1u);
    EXPECT_EQ(count("Starting connector from restconnector::onAdded()"), 0u);
}

TEST_F(FlipTest, RunningConnectorRestartsWithItsLastAppliedSettings) {
    const std::string folder = std::filesystem::temp_directory_path().string();
    ScopedDialog dialog(DialogAnswer::LogicalTrue);
    client.edit([&](ClientState& s) {
        s.fPort = 8443;
        s.fLogLocation = kx::utf8ToUtf16(folder);
        s.fHostName = "127.0.0.1";
        s.fAccessMode = 1;
    });
    Value c = user::connector();
    userStart(c);
    ASSERT_EQ(dialog.calls(), 1);

    // Meanwhile the connector's own settings move on; the restart must not pick them up.
    client.edit([](ClientState& s) {
        s.fPort = 7777;
        s.fHostName = "localhost";
    });
    serviceGoes();
    // onRemoved logs its entry before it looks at the status: wait for the second line too.
    EXPECT_TRUE(waitUntil([&] { return count("fIsVshDown == true") == 1u; }));
    client.edit([](ClientState& s) { s.fStatus = 0; });  // the service took the connector down
    // The refresh after the restart reads this document, which becomes the applied settings.
    ClientState reported = client.state();
    reported.fPort = 7001;
    reported.fStatus = 1;
    client.scriptDocument(FakeConnectorClient::documentOf(reported));
    client.clearCalls();
    clearLog();

    serviceComes(1);
    EXPECT_EQ(client.trace(),
              (std::vector<std::string>{"registerVshUpdateCallback", "getStatus",
                                        "restoreSettings(8443," + folder + ",127.0.0.1,1)",
                                        "startConnector", "getPropertiesJson"}));
    for (const auto& call : client.calls()) {
        EXPECT_EQ(call.fThread, harness.interpreterThreadId()) << call.fName;
    }
    EXPECT_EQ(dialog.calls(), 1);  // no consent is asked on the restore path
    EXPECT_TRUE(containsInOrder(
        logLines(),
        {"In Restconnector::onAdded()", "Starting connector from restconnector::onAdded()",
         "Inside Restconnector::startConnectorHelper()", "Calling invoke_startConnector()"}));
    EXPECT_EQ(user::memberName(user::get(c, "Status")), "running");

    // The restart counts as a successful start: what it read back is applied now.
    client.scriptDocument(std::nullopt);
    serviceGoes();
    client.edit([](ClientState& s) { s.fStatus = 0; });
    client.clearCalls();
    serviceComes(1);
    EXPECT_EQ(client.callsOf("restoreSettings").at(0).fArgs.at(0), "7001");
    user::method(c, "stop");
}

TEST_F(FlipTest, AppliedPortIsTheDocumentsPortTruncated) {
    Value c = user::connector();
    for (const auto& [raw, applied] : std::vector<std::pair<std::string, std::string>>{
             {"65535.9", "65535"}, {"-0.9", "0"}, {"8080", "8080"}}) {
        SCOPED_TRACE(raw);
        client.reset();
        ClientState running = client.state();
        running.fStatus = 1;
        std::string document = FakeConnectorClient::documentOf(running);
        document.replace(document.find("\"Port\":9920"), 11, "\"Port\":" + raw);
        client.scriptDocument(document);
        userStart(c);
        serviceGoes();
        client.edit([](ClientState& s) { s.fStatus = 0; });
        client.clearCalls();
        serviceComes(1);
        const auto restores = client.callsOf("restoreSettings");
        ASSERT_EQ(restores.size(), 1u);
        EXPECT_EQ(restores[0].fArgs.at(0), applied);
        client.scriptDocument(std::nullopt);
        user::method(c, "stop");
    }
}

TEST_F(FlipTest, FailedRestartIsSilentAndNotTriedAgain) {
    Value c = user::connector();
    userStart(c);
    serviceGoes();
    client.edit([](ClientState& s) { s.fStatus = 0; });
    client.failWithStd("startConnector", "Address already in use");
    client.clearCalls();
    serviceComes(1);
    EXPECT_EQ(client.countOf("startConnector"), 1u);
    EXPECT_EQ(client.state().fStatus, 0);
    EXPECT_EQ(count("invoke_startConnector() threw an exception"), 1u);
    EXPECT_EQ(korvan::host::lastWarning().identifier, "");

    // The flag was cleared when the restart was posted, and the connector reads as stopped:
    // another disappearance does not arm a restart.
    client.clearFaults();
    clearLog();
    serviceGoes();
    EXPECT_EQ(count("fIsVshDown == true"), 0u);
    client.clearCalls();
    serviceComes();
    EXPECT_EQ(client.trace(), std::vector<std::string>{"registerVshUpdateCallback"});
    EXPECT_EQ(user::memberName(user::get(c, "Status")), "notrunning");
}

TEST_F(FlipTest, UserCanStillWorkWhileTheServiceIsAway) {
    Value c = user::connector();
    userStart(c);
    serviceGoes();
    // Only the connector service went away; its client stays and the user may stop the
    // connector meanwhile, after which no restart is due.
    client.clearCalls();
    user::method(c, "stop");
    EXPECT_EQ(client.trace(),
              (std::vector<std::string>{"getStatus", "stopConnector", "getPropertiesJson"}));
    client.clearCalls();
    serviceComes(1);
    // The flag was armed, so the restart runs, but it finds the settings of the last start.
    EXPECT_EQ(client.countOf("restoreSettings"), 1u);
    user::method(c, "stop");
}

TEST_F(FlipTest, CallbackHandedOverAgainWorksFromTheClientsThread) {
    Value c = user::connector();
    client.forgetUpdateCallback();
    serviceGoes();
    serviceComes();
    ASSERT_TRUE(client.hasUpdateCallback());
    flip.setHour(4);
    korvan::host::clearLastWarning();
    const auto callbackThread = client.fireUpdateCallback();
    ASSERT_TRUE(callbackThread.has_value());
    harness.drainInterpreter();
    EXPECT_EQ(korvan::host::lastWarning().identifier,
              "KORVAN:restFcnService:ConnectorRestartWarning");
    ASSERT_EQ(flip.calls().size(), 1u);
    EXPECT_EQ(flip.calls()[0].fThread, harness.interpreterThreadId());
    EXPECT_NE(flip.calls()[0].fThread, *callbackThread);
}

}  // namespace
}  // namespace korvan::test
