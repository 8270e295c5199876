// The preferred restart hour (kept by the update-flip service) and the restart warning that the
// connector client's update callback triggers.
#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

#include "ModuleFixture.hpp"
#include "korvan/host/Warnings.hpp"

namespace korvan::test {
namespace {

const char* const kInvalid = "KORVAN:restFcnService:InvalidPreferredRestartHour";
const char* const kRunning = "KORVAN:restFcnService:CannotModifyConnector";

struct HourCase {
    const char* what;
    std::function<Value()> value;
    std::int32_t current;  // the service's hour before the call (negative: none)
    std::int32_t status;
    bool refuse;  // the service refuses setting and clearing
    std::string error;
    std::vector<std::string> flipCalls;
    std::vector<std::string> clientCalls;
    std::vector<std::string> errorArgs = {};
};

std::vector<std::string> flipTrace(const FakeUpdateFlipClient& flip) {
    std::vector<std::string> lines;
    for (const auto& call : flip.calls()) {
        lines.push_back(call.fName == "setPreferredRestartHour"
                            ? call.fName + "(" + std::to_string(call.fHour) + ")"
                            : call.fName);
    }
    return lines;
}

const std::string kGet = "getPreferredRestartHour";
const std::string kClear = "clearPreferredRestartHour";

using RestartHourTest = ModuleTest;

TEST_F(RestartHourTest, ReadingGivesTheHourOrAnEmptyDouble) {
    Value c = user::connector();
    for (std::int32_t hour : {-1, -7, 0, 5, 23}) {
        flip.reset();
        flip.setHour(hour);
        Value read = user::get(c, "PreferredRestartHour");
        EXPECT_EQ(className(read), "double") << hour;
        if (hour < 0) {
            EXPECT_EQ(dims(read), (std::vector<std::size_t>{0, 0})) << hour;
        } else {
            EXPECT_TRUE(kxIsRealDoubleScalar(read.get())) << hour;
            EXPECT_EQ(scalar(read), hour);
        }
        EXPECT_EQ(flipTrace(flip), std::vector<std::string>{kGet});
    }
}

TEST_F(RestartHourTest, SettingChecksValueThenCurrentHourThenRunningState) {
    const double nan = std::nan("");
    const double inf = std::numeric_limits<double>::infinity();
    const std::string set0 = "setPreferredRestartHour(0)", set7 = "setPreferredRestartHour(7)";
    const std::string refused = "KORVAN:restFcnService:CannotSetRestartHour";
    const std::string refusedDefault = "KORVAN:restFcnService:CannotSetRestartHourDefault";
    // clang-format off
    const std::vector<HourCase> cases = {
        // what, value, current hour, status, refuse, error, flip calls, client calls, error args
        {"hour 0", [] { return num(0); }, -1, 0, false, "", {kGet, set0}, {"getStatus"}},
        {"hour 23", [] { return num(23); }, 4, 0, false, "", {kGet, "setPreferredRestartHour(23)"}, {"getStatus"}},
        {"same hour while running", [] { return num(5); }, 5, 1, false, "", {kGet}, {}},
        {"other hour while running", [] { return num(7); }, 5, 1, false, kRunning, {kGet}, {"getStatus"}},
        {"-1", [] { return num(-1); }, 5, 0, false, kInvalid, {kGet}, {}},
        {"24", [] { return num(24); }, 5, 0, false, kInvalid, {kGet}, {}},
        {"7.5", [] { return num(7.5); }, 5, 0, false, kInvalid, {kGet}, {}},
        {"NaN", [=] { return num(nan); }, 5, 0, false, kInvalid, {kGet}, {}},
        {"Inf", [=] { return num(inf); }, 5, 0, false, kInvalid, {kGet}, {}},
        {"invalid while running", [] { return num(24); }, 5, 1, false, kInvalid, {kGet}, {}},
        {"int32 5", [] { return int32(5); }, 4, 0, false, kInvalid, {}, {}},
        {"1-by-2 double", [] { return doubles(1, 2, {5, 6}); }, 4, 0, false, kInvalid, {}, {}},
        {"complex scalar", [] { return complexNum(5, 1); }, 4, 0, false, kInvalid, {}, {}},
        {"text", [] { return str("5"); }, 4, 0, false, kInvalid, {}, {}},
        {"refused, hour 5 in effect", [] { return num(7); }, 5, 0, true, refused, {kGet, set7}, {"getStatus"}, {"5"}},
        {"refused, hour 0 in effect", [] { return num(7); }, 0, 0, true, refusedDefault, {kGet, set7}, {"getStatus"}},
        {"refused, no hour", [] { return num(7); }, -1, 0, true, refusedDefault, {kGet, set7}, {"getStatus"}},
        {"[] with no hour", [] { return emptyDouble(); }, -1, 1, false, "", {kGet}, {}},
        {"[] clears", [] { return emptyDouble(); }, 4, 0, false, "", {kGet, kClear}, {"getStatus"}},
        {"1-by-0 clears", [] { return doubles(1, 0); }, 4, 0, false, "", {kGet, kClear}, {"getStatus"}},
        {"[] while running", [] { return emptyDouble(); }, 4, 1, false, kRunning, {kGet}, {"getStatus"}},
        {"clear refused", [] { return emptyDouble(); }, 4, 0, true, refused, {kGet, kClear}, {"getStatus"}, {"4"}},
        {"clear refused, hour 0", [] { return emptyDouble(); }, 0, 0, true, refused, {kGet, kClear}, {"getStatus"}, {"0"}},
    };
    // clang-format on
    Value c = user::connector();
    for (const auto& k : cases) {
        SCOPED_TRACE(k.what);
        client.reset();
        client.edit([&](ClientState& s) { s.fStatus = k.status; });
        flip.reset();
        flip.setHour(k.current);
        flip.refuseSet(k.refuse);
        flip.refuseClear(k.refuse);
        Value value = k.value();
        clearLog();

        const CaughtError caught = catchError([&] { user::set(c, "PreferredRestartHour", value); });
        EXPECT_EQ(caught.fId, k.error);
        std::vector<std::string> args;
        for (const auto& a : caught.fArgs) args.push_back(argumentText(a));
        EXPECT_EQ(args, k.errorArgs);
        EXPECT_EQ(flipTrace(flip), k.flipCalls);
        EXPECT_EQ(client.trace(), k.clientCalls);

        const bool changed = k.error.empty() && k.flipCalls.size() == 2;
        const auto lines = logLines();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.front(), "Inside Restconnector::setPreferredRestartHour()");
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "Preferred Restart Hour set successfully"),
                  changed ? 1 : 0);
    }
}

/// Collects warnings with the thread that issued each.
class WarningRecorder {
  public:
    WarningRecorder() {
        fPrevious = korvan::host::setWarningSink([this](const std::string& line) {
            std::lock_guard lock(fMutex);
            fLines.push_back({line, std::this_thread::get_id()});
        });
    }
    ~WarningRecorder() { korvan::host::setWarningSink(fPrevious); }
    std::vector<std::pair<std::string, std::thread::id>> lines() const {
        std::lock_guard lock(fMutex);
        return fLines;
    }

  private:
    korvan::host::WarningSink fPrevious;
    mutable std::mutex fMutex;
    std::vector<std::pair<std::string, std::thread::id>> fLines;  // guarded by fMutex
};

TEST_F(RestartHourTest, UpdateCallbackPostsTheWarningOnlyForAnHourAboveZero) {
    ASSERT_TRUE(client.hasUpdateCallback());
    for (std::int32_t hour : {3, 0, -1, 23}) {
        SCOPED_TRACE(hour);
        flip.reset();
        flip.setHour(hour);
        korvan::host::clearLastWarning();
        WarningRecorder warnings;

        const auto callbackThread = client.fireUpdateCallback();
        ASSERT_TRUE(callbackThread.has_value());
        ASSERT_NE(*callbackThread, harness.interpreterThreadId());
        harness.drainInterpreter();

        // The callback only posts: the service is asked on the interpreter thread.
        const auto calls = flip.calls();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].fName, kGet);
        EXPECT_EQ(calls[0].fThread, harness.interpreterThreadId());

        const auto lines = warnings.lines();
        const auto last = korvan::host::lastWarning();
        if (hour > 0) {
            const std::string text =
                "The service host has an update ready. The REST function "
                "connector will be restarted at " +
                std::to_string(hour) + ":00, its preferred restart hour.";
            ASSERT_EQ(lines.size(), 1u);
            EXPECT_EQ(lines[0].first, "Warning: " + text + "\n");
            EXPECT_EQ(lines[0].second, harness.interpreterThreadId());
            EXPECT_EQ(last.identifier, "KORVAN:restFcnService:ConnectorRestartWarning");
            EXPECT_EQ(last.message, text);
        } else {
            EXPECT_TRUE(lines.empty());
            EXPECT_EQ(last.identifier, "");
        }
    }
    EXPECT_TRUE(client.calls().empty());
}

}  // namespace
}  // namespace korvan::test
