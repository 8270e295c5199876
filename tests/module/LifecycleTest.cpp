// start, stop and reset as user code calls them: the client calls, the log lines, the consent
// dialog in remote mode, and the translation of a client start failure.
#include <dlfcn.h>

#include "ModuleFixture.hpp"

namespace korvan::test {
namespace {

const std::vector<std::string> kStarted = {"getStatus", "getClientAccessMode", "startConnector",
                                           "getPropertiesJson"};
const std::vector<std::string> kRefused = {"getStatus", "getClientAccessMode"};

using LifecycleTest = ModuleTest;

TEST_F(LifecycleTest, StartingARunningConnectorOnlyAsksForTheStatus) {
    client.edit([](ClientState& s) { s.fStatus = 1; });
    Value c = user::connector();
    user::method(c, "start");
    EXPECT_EQ(client.trace(), std::vector<std::string>{"getStatus"});
    EXPECT_EQ(logLines(),
              (std::vector<std::string>{"Inside Restconnector::startConnector()",
                                        "Inside Restconnector::startConnectorHelper()",
                                        "fStatus == 1", "Connector started successfully"}));
}

TEST_F(LifecycleTest, LocalStartNeedsNoConsent) {
    ScopedDialog dialog(DialogAnswer::LogicalFalse);
    Value c = user::connector();
    user::function(c, "start");  // function form
    EXPECT_EQ(client.trace(), kStarted);
    EXPECT_EQ(dialog.calls(), 0);
    EXPECT_TRUE(containsInOrder(
        logLines(),
        {"Inside Restconnector::startConnector()", "Inside Restconnector::startConnectorHelper()",
         "fStatus == 0", "Calling invoke_startConnector()",
         "Inside Restconnector::getAllProperties()", "Connector started successfully"}));
    EXPECT_EQ(user::memberName(user::get(c, "Status")), "running");
}

TEST_F(LifecycleTest, RemoteStartGoesOnOnlyWithALogicalTrue) {
    struct Case {
        const char* what;
        std::optional<DialogAnswer> answer;  // nullopt: no dialog function at all
        bool starts;
    };
    const std::vector<Case> cases = {
        {"logical true", DialogAnswer::LogicalTrue, true},
        {"logical false", DialogAnswer::LogicalFalse, false},
        {"number 1", DialogAnswer::NumberOne, false},
        {"no output", DialogAnswer::Nothing, false},
        {"two logical trues", DialogAnswer::TwoTrues, false},
        {"dialog fails", DialogAnswer::Throws, false},
        {"no dialog function", std::nullopt, false},
    };
    Value c = user::connector();
    for (const auto& k : cases) {
        SCOPED_TRACE(k.what);
        client.reset();
        client.edit([](ClientState& s) { s.fAccessMode = 1; });
        clearLog();
        std::optional<ScopedDialog> dialog;
        if (k.answer) dialog.emplace(*k.answer);

        EXPECT_EQ(errorIdOf([&] { user::method(c, "start"); }), "");
        EXPECT_EQ(client.trace(), k.starts ? kStarted : kRefused);
        EXPECT_EQ(client.state().fStatus, k.starts ? 1 : 0);
        // The success line is written also when the user declined.
        EXPECT_TRUE(
            containsInOrder(logLines(), {"fStatus == 0", "Connector started successfully"}));
        if (dialog) {
            EXPECT_EQ(dialog->calls(), 1);
            EXPECT_EQ(dialog->threads(),
                      std::vector<std::thread::id>{harness.interpreterThreadId()});
        }
    }
}

TEST_F(LifecycleTest, ExportedConsentEntryAnswersTrueOnlyForALogicalTrue) {
    void* library = ::dlopen(ModuleHarness::modulePath().c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr) << ::dlerror();
    using Entry = bool (*)();
    auto entry = reinterpret_cast<Entry>(
        ::dlsym(library, "_ZN4rest2kv9connector3api22showAccessDialogWindowEv"));
    ASSERT_NE(entry, nullptr);
    const std::vector<std::pair<DialogAnswer, bool>> cases = {
        {DialogAnswer::LogicalTrue, true}, {DialogAnswer::LogicalFalse, false},
        {DialogAnswer::NumberOne, false},  {DialogAnswer::Nothing, false},
        {DialogAnswer::TwoTrues, false},   {DialogAnswer::Throws, false},
    };
    for (const auto& [answer, expected] : cases) {
        ScopedDialog dialog(answer);
        EXPECT_EQ(harness.run([&] { return entry(); }), expected) << static_cast<int>(answer);
        EXPECT_EQ(dialog.calls(), 1);
    }
    EXPECT_FALSE(harness.run([&] { return entry(); }));  // no dialog function
    ::dlclose(library);
    EXPECT_TRUE(client.calls().empty());
}

TEST_F(LifecycleTest, ClientStartFailureBecomesServerStartFailedWithItsText) {
    for (const std::string what : {"Address already in use: port 9920", ""}) {
        SCOPED_TRACE(what);
        client.reset();
        client.failWithStd("startConnector", what);
        clearLog();
        Value c = user::connector();
        const CaughtError caught = catchError([&] { user::method(c, "start"); });
        EXPECT_EQ(caught.fId, "KORVAN:restFcnService:ServerStartFailed");
        ASSERT_EQ(caught.fArgs.size(), 1u);
        EXPECT_EQ(argumentText(caught.fArgs[0]), what);
        EXPECT_EQ(caught.fText, "The REST function connector could not be started: " + what);
        EXPECT_EQ(client.trace(),
                  (std::vector<std::string>{"getStatus", "getClientAccessMode", "startConnector"}));
        const auto lines = logLines();
        EXPECT_TRUE(containsInOrder(lines, {"Calling invoke_startConnector()",
                                            "invoke_startConnector() threw an exception"}));
        EXPECT_FALSE(containsInOrder(lines, {"Connector started successfully"}));
    }
}

TEST_F(LifecycleTest, OtherFailuresOfStartPassThroughUnchanged) {
    Value c = user::connector();
    client.failWithForeign("startConnector", 7);
    EXPECT_EQ(errorIdOf([&] { user::method(c, "start"); }), "foreign");
    EXPECT_FALSE(containsInOrder(logLines(), {"invoke_startConnector() threw an exception"}));

    client.clearFaults();
    client.failWithStd("getStatus", "status unavailable");
    EXPECT_EQ(errorIdOf([&] { user::method(c, "start"); }), "std: status unavailable");
    client.clearFaults();
    client.failWithStd("getClientAccessMode", "mode unavailable");
    EXPECT_EQ(errorIdOf([&] { user::method(c, "start"); }), "std: mode unavailable");
    EXPECT_EQ(client.countOf("startConnector"), 1u);  // only the foreign failure reached it
}

TEST_F(LifecycleTest, StoppingAStoppedConnectorIsQuiet) {
    Value c = user::connector();
    user::method(c, "stop");
    EXPECT_EQ(client.trace(), std::vector<std::string>{"getStatus"});
    EXPECT_EQ(logLines(), std::vector<std::string>{"Inside Restconnector::stopConnector()"});
}

TEST_F(LifecycleTest, StoppingARunningConnectorRefreshesAndLogsSuccess) {
    client.edit([](ClientState& s) { s.fStatus = 1; });
    Value c = user::connector();
    user::method(c, "stop");
    EXPECT_EQ(client.trace(),
              (std::vector<std::string>{"getStatus", "stopConnector", "getPropertiesJson"}));
    EXPECT_TRUE(containsInOrder(logLines(), {"Inside Restconnector::stopConnector()",
                                             "Inside Restconnector::getAllProperties()",
                                             "Connector stopped successfully"}));
    EXPECT_EQ(user::memberName(user::get(c, "Status")), "notrunning");
}

TEST_F(LifecycleTest, ClientStopFailurePassesThroughUnchanged) {
    client.edit([](ClientState& s) { s.fStatus = 1; });
    client.failWithStd("stopConnector", "cannot stop");
    Value c = user::connector();
    EXPECT_EQ(errorIdOf([&] { user::method(c, "stop"); }), "std: cannot stop");
    EXPECT_EQ(client.trace(), (std::vector<std::string>{"getStatus", "stopConnector"}));
    EXPECT_FALSE(containsInOrder(logLines(), {"Connector stopped successfully"}));
}

TEST_F(LifecycleTest, ResetOnlyWhileStopped) {
    client.edit([](ClientState& s) {
        s.fStatus = 1;
        s.fPort = 8443;
    });
    Value c = user::connector();
    EXPECT_EQ(errorIdOf([&] { user::method(c, "reset"); }), "KORVAN:restFcnService:CannotReset");
    EXPECT_EQ(client.trace(), std::vector<std::string>{"getStatus"});
    EXPECT_EQ(client.state().fPort, 8443);

    client.edit([](ClientState& s) { s.fStatus = 0; });
    client.clearCalls();
    user::function(c, "reset");
    EXPECT_EQ(client.trace(),
              (std::vector<std::string>{"getStatus", "resetConnector", "getPropertiesJson"}));
    EXPECT_EQ(scalar(user::get(c, "Port")), 9920);
    EXPECT_EQ(text(user::get(c, "RESTPersonalAccessToken")), "token-after-reset");
}

}  // namespace
}  // namespace korvan::test
