// The connector client failing in each operation the connector module calls: user code sees the
// error the module documents (ServerStartFailed with the client's text for startConnector, the
// client's own error unchanged for every other operation), the module's state stays usable (the
// same action works once the fault is gone) and nothing is left waiting on the interpreter
// thread. Faults in the operations the module calls on its own, during an update flip
// (restoreSettings, registerVshUpdateCallback), are dropped without taking the module down.
#include <algorithm>
#include <filesystem>
#include <functional>

#include "ModuleFixture.hpp"

namespace korvan::test {
namespace {

[[maybe_unused]] ::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new PublishedEnvironment);

constexpr const char* kStartFailed = "KORVAN:restFcnService:ServerStartFailed";

struct OperationCase {
    const char* fOperation;
    /// The connector's status before the action (stop needs a running connector).
    std::int32_t fStatus;
    /// What user code does that reaches fOperation.
    std::function<void(const Value&)> fAction;
    /// The identifier user code sees for a std::exception("<what>"); empty: "std: <what>".
    const char* fStdError;
};

const std::vector<OperationCase>& operationCases() {
    static const std::string logFolder = std::filesystem::temp_directory_path().string();
    // clang-format off
    static const std::vector<OperationCase> cases = {
        {"getPort", 0, [](const Value& c) { user::get(c, "Port"); }, ""},
        {"setPort", 0, [](const Value& c) { user::set(c, "Port", num(8081)); }, ""},
        {"getLogLocation", 0, [](const Value& c) { user::get(c, "LogLocation"); }, ""},
        {"setLogLocation", 0, [](const Value& c) { user::set(c, "LogLocation", str(logFolder)); }, ""},
        {"getHostname", 0, [](const Value& c) { user::get(c, "HostName"); }, ""},
        {"setHostname", 0, [](const Value& c) { user::set(c, "HostName", str("127.0.0.1")); }, ""},
        {"getClientAccessMode", 0, [](const Value& c) { user::get(c, "ClientAccessMode"); }, ""},
        {"setAccessMode", 0, [](const Value& c) { user::set(c, "ClientAccessMode", str("remote")); }, ""},
        {"getServiceNames", 0, [](const Value& c) { user::get(c, "ServiceNames"); }, ""},
        {"getPersonalAccessToken", 0, [](const Value& c) { user::get(c, "RESTPersonalAccessToken"); }, ""},
        {"getTokenExpirationDate", 0, [](const Value& c) { user::get(c, "TokenExpirationDate"); }, ""},
        {"getCertificate", 0, [](const Value& c) { user::get(c, "Certificate"); }, ""},
        {"getCertificateExpirationDate", 0, [](const Value& c) { user::get(c, "CertificateExpirationDate"); }, ""},
        {"getBaseUrl", 0, [](const Value& c) { user::get(c, "BaseURL"); }, ""},
        {"getStatus", 0, [](const Value& c) { user::get(c, "Status"); }, ""},
        {"startConnector", 0, [](const Value& c) { user::method(c, "start"); }, kStartFailed},
        // The start itself succeeds; the refresh after it fails.
        {"getPropertiesJson", 0, [](const Value& c) { user::method(c, "start"); }, ""},
        {"stopConnector", 1, [](const Value& c) { user::method(c, "stop"); }, ""},
        {"resetConnector", 0, [](const Value& c) { user::method(c, "reset"); }, ""},
        {"changeToken", 0, [](const Value& c) { user::method(c, "changeToken", {num(7)}); }, ""},
        {"changeCertificate", 0, [](const Value& c) { user::method(c, "changeCertificate"); }, ""},
    };
    // clang-format on
    return cases;
}

using ClientFaultTest = ModuleTest;

TEST_F(ClientFaultTest, EachOperationsFailureReachesUserCodeAndTheNextCallWorks) {
    Value c = user::connector();
    for (const auto& k : operationCases()) {
        for (const bool foreign : {false, true}) {
            SCOPED_TRACE(std::string(k.fOperation) + (foreign ? " (non-std fault)" : ""));
            client.reset();
            client.edit([&](ClientState& s) { s.fStatus = k.fStatus; });
            const std::string what = std::string(k.fOperation) + " failed: connection reset";
            if (foreign)
                client.failWithForeign(k.fOperation, 5);
            else
                client.failWithStd(k.fOperation, what);

            const CaughtError caught = catchError([&] { k.fAction(c); });
            EXPECT_GE(client.countOf(k.fOperation), 1u) << "the fault was not reached";
            if (foreign) {
                EXPECT_EQ(caught.fId, "foreign");
            } else if (*k.fStdError) {
                EXPECT_EQ(caught.fId, k.fStdError);
                ASSERT_EQ(caught.fArgs.size(), 1u);
                EXPECT_EQ(argumentText(caught.fArgs[0]), what);
                EXPECT_NE(caught.fText.find(what), std::string::npos) << caught.fText;
            } else {
                EXPECT_EQ(caught.fId, "std: " + what);
            }
            // Nothing the failed call posted is left hanging on the interpreter thread.
            harness.drainInterpreter();

            // The same action succeeds once the client works again.
            client.clearFaults();
            client.edit([&](ClientState& s) { s.fStatus = k.fStatus; });
            EXPECT_EQ(errorIdOf([&] { k.fAction(c); }), "");
            EXPECT_EQ(errorIdOf([&] { user::get(c, "Port"); }), "");
        }
    }
}

TEST_F(ClientFaultTest, AFailedSetterLeavesTheConnectorsValue) {
    Value c = user::connector();
    client.failWithStd("setPort", "settings file is read-only");
    EXPECT_EQ(errorIdOf([&] { user::set(c, "Port", num(8082)); }),
              "std: settings file is read-only");
    EXPECT_EQ(scalar(user::get(c, "Port")), 9920);
    client.clearFaults();
    user::set(c, "Port", num(8082));
    EXPECT_EQ(scalar(user::get(c, "Port")), 8082);
    EXPECT_EQ(client.state().fPort, 8082);
}

class FlipFaultTest : public ModuleTest {
  protected:
    std::size_t count(const std::string& line) const {
        const auto lines = logLines();
        return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), line));
    }
    void serviceGoes() {
        const std::size_t before = count("Inside restconnector::onRemoved()");
        harness.services().withdrawService();
        ASSERT_TRUE(waitUntil([&] { return count("Inside restconnector::onRemoved()") > before; }));
    }
    /// Publishes the service and waits until the module has asked for `operation` once more.
    void serviceComes(const std::string& operation) {
        const std::size_t before = client.countOf(operation);
        harness.services().publishService();
        ASSERT_TRUE(waitUntil([&] { return client.countOf(operation) > before; }));
        harness.drainInterpreter();
    }
};

TEST_F(FlipFaultTest, AFailedRestoreAfterAFlipLeavesTheConnectorStoppedAndStartable) {
    Value c = user::connector();
    user::method(c, "start");
    ASSERT_EQ(client.state().fStatus, 1);
    serviceGoes();
    client.edit([](ClientState& s) { s.fStatus = 0; });  // the fresh service starts stopped
    client.failWithStd("restoreSettings", "settings unavailable");
    serviceComes("restoreSettings");
    EXPECT_EQ(client.countOf("startConnector"), 1u) << "started without the restored settings";
    EXPECT_EQ(user::memberName(user::get(c, "Status")), "notrunning");

    client.clearFaults();
    user::method(c, "start");
    EXPECT_EQ(user::memberName(user::get(c, "Status")), "running");
}

TEST_F(FlipFaultTest, AFailedCallbackRegistrationIsDroppedAndTheNextFlipHandsItOver) {
    Value c = user::connector();
    serviceGoes();
    client.forgetUpdateCallback();
    client.failWithStd("registerVshUpdateCallback", "client is shutting down");
    serviceComes("registerVshUpdateCallback");
    EXPECT_FALSE(client.hasUpdateCallback());
    EXPECT_EQ(errorIdOf([&] { user::get(c, "Port"); }), "");

    client.clearFaults();
    serviceGoes();
    serviceComes("registerVshUpdateCallback");
    EXPECT_TRUE(client.hasUpdateCallback());
    ASSERT_TRUE(client.fireUpdateCallback().has_value());
    harness.drainInterpreter();
}

}  // namespace
}  // namespace korvan::test
