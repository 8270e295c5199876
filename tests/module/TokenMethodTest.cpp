// changeToken in both call forms: the day argument's forms, its range, the running check that
// comes before any look at the argument, and the argument counts.
#include <cmath>
#include <limits>

#include "ModuleFixture.hpp"

namespace korvan::test {
namespace {

enum class Form { Dot, Function };

void invoke(Form form, const Value& object, const char* method, const std::vector<Value>& args,
            int nlhs = 0) {
    if (form == Form::Dot) {
        user::method(object, method, args, nlhs);
    } else {
        user::function(object, method, args, nlhs);
    }
}

Value daysOf(const Value& numbers) {
    return user::call("days", {numbers}).at(0);
}

struct TokenCase {
    const char* what;
    std::function<std::vector<Value>()> args;
    std::int32_t status;
    std::string error;  // "" when the client is asked for a new token
    std::string days;   // the day count sent
};

const char* const kType = "KORVAN:restFcnService:InvalidTokenDaysType";
const char* const kRange = "KORVAN:restFcnService:InvalidTokenDays";

const std::vector<TokenCase>& tokenCases() {
    // clang-format off
    static const std::vector<TokenCase> cases = {
        {"no argument: 30 days", [] { return std::vector<Value>{}; }, 0, "", "30"},
        {"1 day", [] { return std::vector<Value>{num(1)}; }, 0, "", "1"},
        {"365 days", [] { return std::vector<Value>{num(365)}; }, 0, "", "365"},
        {"duration of 7 days", [] { return std::vector<Value>{daysOf(num(7))}; }, 0, "", "7"},
        {"0", [] { return std::vector<Value>{num(0)}; }, 0, kRange, ""},
        {"366", [] { return std::vector<Value>{num(366)}; }, 0, kRange, ""},
        {"-5", [] { return std::vector<Value>{num(-5)}; }, 0, kRange, ""},
        {"too large for 32 bits", [] { return std::vector<Value>{num(1e10)}; }, 0, kRange, ""},
        {"duration of 0 days", [] { return std::vector<Value>{daysOf(num(0))}; }, 0, kRange, ""},
        {"2.5", [] { return std::vector<Value>{num(2.5)}; }, 0, kType, ""},
        {"NaN", [] { return std::vector<Value>{num(std::nan(""))}; }, 0, kType, ""},
        {"Inf", [] { return std::vector<Value>{num(std::numeric_limits<double>::infinity())}; }, 0, kType, ""},
        {"1-by-2 double", [] { return std::vector<Value>{doubles(1, 2, {7, 8})}; }, 0, kType, ""},
        {"complex", [] { return std::vector<Value>{complexNum(7, 1)}; }, 0, kType, ""},
        {"logical", [] { return std::vector<Value>{logical(true)}; }, 0, kType, ""},
        {"text", [] { return std::vector<Value>{str("7")}; }, 0, kType, ""},
        {"int32", [] { return std::vector<Value>{int32(7)}; }, 0, kType, ""},
        {"duration of 1.5 days", [] { return std::vector<Value>{daysOf(num(1.5))}; }, 0, kType, ""},
        {"1-by-2 duration", [] { return std::vector<Value>{daysOf(doubles(1, 2, {7, 8}))}; }, 0, kType, ""},
        {"running, valid", [] { return std::vector<Value>{num(7)}; }, 1, "KORVAN:restFcnService:CannotModifyConnector", ""},
        {"running, invalid argument", [] { return std::vector<Value>{str("x")}; }, 1, "KORVAN:restFcnService:CannotModifyConnector", ""},
        {"running, no argument", [] { return std::vector<Value>{}; }, 1, "KORVAN:restFcnService:CannotModifyConnector", ""},
    };
    // clang-format on
    return cases;
}

using TokenMethodTest = ModuleTest;

TEST_F(TokenMethodTest, DayArgumentFormsAndRange) {
    Value c = user::connector();
    for (Form form : {Form::Dot, Form::Function}) {
        for (const auto& k : tokenCases()) {
            SCOPED_TRACE(std::string(form == Form::Dot ? "dot form: " : "function form: ") +
                         k.what);
            client.reset();
            client.edit([&](ClientState& s) { s.fStatus = k.status; });
            const std::vector<Value> args = k.args();
            EXPECT_EQ(errorIdOf([&] { invoke(form, c, "changeToken", args); }), k.error);
            // The running check always comes first, before the argument is looked at; the
            // connector's own token operation checks again before it asks the client.
            std::vector<std::string> expected{"getStatus"};
            if (k.error.empty()) {
                expected.push_back("getStatus");
                expected.push_back("changeToken(" + k.days + ")");
            }
            EXPECT_EQ(client.trace(), expected);
        }
    }
}

TEST_F(TokenMethodTest, ArgumentCountsAreCheckedBeforeTheConnector) {
    Value c = user::connector();
    client.edit([](ClientState& s) { s.fStatus = 1; });
    for (Form form : {Form::Dot, Form::Function}) {
        EXPECT_EQ(errorIdOf([&] {
                      invoke(form, c, "changeToken", {num(7), num(8)});
                  }),
                  "KORVAN:host:TooManyInputs");
        EXPECT_EQ(errorIdOf([&] { invoke(form, c, "changeToken", {num(7)}, 1); }),
                  "KORVAN:host:TooManyOutputs");
        EXPECT_EQ(errorIdOf([&] {
                      invoke(form, c, "changeToken", {num(7), num(8)}, 1);
                  }),
                  "KORVAN:host:TooManyOutputs");
    }
    EXPECT_TRUE(client.calls().empty());
}

TEST_F(TokenMethodTest, NewTokenIsReadBackThroughTheProperty) {
    Value c = user::connector();
    user::method(c, "changeToken", {num(90)});
    EXPECT_EQ(text(user::get(c, "RESTPersonalAccessToken")), "token-90");
}

}  // namespace
}  // namespace korvan::test
