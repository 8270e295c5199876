// The consent dialog (terminal answers, KORVAN_REST_CONSENT without a terminal) and the
// service host functions' argument checks.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "ConsentDialog.hpp"
#include "foundation/core/except/IException.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "korvan/services/settings/SettingsStore.hpp"
#include "korvan/shell/ConnectorFunctions.hpp"

namespace korvan::test {

using namespace korvan::shell;
namespace {

struct ConsentCase {
    const char* fValue;  // KORVAN_REST_CONSENT, null: not set
    bool fConsent;
};

class ConsentWithoutTerminal : public ::testing::TestWithParam<ConsentCase> {};

TEST_P(ConsentWithoutTerminal, AnswersFromTheVariableAndSaysSo) {
    std::ostringstream out;
    EXPECT_EQ(consentFromEnvironment(GetParam().fValue, out), GetParam().fConsent);
    const std::string line = out.str();
    EXPECT_EQ(line.find('\n'), line.size() - 1) << "one line: " << line;
    EXPECT_NE(line.find("KORVAN_REST_CONSENT"), std::string::npos) << line;
    EXPECT_NE(line.find(GetParam().fConsent ? "allowed" : "refused"), std::string::npos) << line;
}

INSTANTIATE_TEST_SUITE_P(Values, ConsentWithoutTerminal,
                         ::testing::Values(ConsentCase{"yes", true}, ConsentCase{"YES", true},
                                           ConsentCase{"Yes", true}, ConsentCase{" yes\n", true},
                                           ConsentCase{nullptr, false}, ConsentCase{"", false},
                                           ConsentCase{"y", false}, ConsentCase{"no", false},
                                           ConsentCase{"true", false}, ConsentCase{"1", false},
                                           ConsentCase{"yess", false},
                                           ConsentCase{"yes please", false}));

struct AnswerCase {
    const char* fInput;  // what the person types
    bool fConsent;
};

class ConsentAtTerminal : public ::testing::TestWithParam<AnswerCase> {};

TEST_P(ConsentAtTerminal, ExplainsAndAsksWithNoAsTheDefault) {
    std::istringstream in(GetParam().fInput);
    std::ostringstream out;
    EXPECT_EQ(askForConsent(in, out), GetParam().fConsent) << "input: " << GetParam().fInput;
    const std::string text = out.str();
    EXPECT_NE(text.find("Allow remote access? [y/N] "), std::string::npos);
    EXPECT_NE(text.find("token"), std::string::npos);
    EXPECT_NE(text.find("TLS"), std::string::npos);
    EXPECT_NE(text.find("ClientAccessMode.local"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Answers, ConsentAtTerminal,
                         ::testing::Values(AnswerCase{"y\n", true}, AnswerCase{"Y\n", true},
                                           AnswerCase{"yes\n", true}, AnswerCase{" Yes \n", true},
                                           AnswerCase{"\n", false}, AnswerCase{"", false},
                                           AnswerCase{"n\n", false}, AnswerCase{"no\n", false},
                                           AnswerCase{"maybe\n", false},
                                           AnswerCase{"nope\ny\n", false}));

// Calls a function of the host function table; returns the identifier of its error ("" when
// it succeeded) and leaves its first output in `result`.
std::string callHost(const std::string& name, std::vector<kx::ArrayPtr> args, int nlhs,
                     kx::ArrayPtr* result = nullptr) {
    auto fn = korvan::host::findFunction(name);
    if (!fn) return "<not registered>";
    std::vector<const kxArray*> in;
    for (const auto& a : args) in.push_back(a.get());
    kxArray* out[1] = {nullptr};
    try {
        (*fn)(nlhs, out, static_cast<int>(in.size()), in.data());
    } catch (const foundation::core::except::IMsgIDException& e) {
        return e.GetID();
    }
    kx::ArrayPtr owned(out[0]);
    if (result) *result = owned;
    return "";
}

kx::ArrayPtr text(const char* s) {
    return kx::ArrayPtr(kxCreateStringScalarFromUtf8(s));
}

TEST(ShowDialogFunction, ReturnsOneLogicalFromTheVariableWithoutATerminal) {
    if (::isatty(STDIN_FILENO) && ::isatty(STDOUT_FILENO))
        GTEST_SKIP() << "run at a terminal: the dialog would ask";
    registerConnectorFunctions(nullptr);
    kx::ArrayPtr result;
    ::setenv("KORVAN_REST_CONSENT", "Yes", 1);
    ASSERT_EQ(callHost("korvan.internal.rest.showDialog", {}, 1, &result), "");
    EXPECT_TRUE(kxIsLogicalScalarTrue(result.get()));
    ::setenv("KORVAN_REST_CONSENT", "no", 1);
    ASSERT_EQ(callHost("korvan.internal.rest.showDialog", {}, 0, &result), "");
    ASSERT_TRUE(kxIsLogicalScalar(result.get()));
    EXPECT_FALSE(kxIsLogicalScalarTrue(result.get()));
    ::unsetenv("KORVAN_REST_CONSENT");
    ASSERT_EQ(callHost("korvan.internal.rest.showDialog", {}, 1, &result), "");
    EXPECT_FALSE(kxIsLogicalScalarTrue(result.get()));
    EXPECT_EQ(callHost("korvan.internal.rest.showDialog", {text("yes")}, 1),
              "KORVAN:host:TooManyInputs");
}

struct FlipCase {
    std::vector<kx::ArrayPtr> fArgs;
    const char* fIdentifier;
};

TEST(ServiceHostFunctions, RefuseBadStepsAndAMissingHost) {
    registerConnectorFunctions(nullptr);
    const std::vector<FlipCase> cases = {
        {{text("sideways")}, "KORVAN:servicehost:InvalidFlipStep"},
        {{text("Down")}, "KORVAN:servicehost:InvalidFlipStep"},
        {{text("")}, "KORVAN:servicehost:InvalidFlipStep"},
        {{kx::ArrayPtr(kxCreateDoubleScalar(1))}, "KORVAN:servicehost:InvalidFlipStep"},
        {{kx::ArrayPtr(kxCreateStringMatrix(1, 2))}, "KORVAN:servicehost:InvalidFlipStep"},
        {{text("up"), text("down")}, "KORVAN:host:TooManyInputs"},
        // Good steps, but no service host to act on.
        {{}, "KORVAN:servicehost:NoServiceHost"},
        {{text("down")}, "KORVAN:servicehost:NoServiceHost"},
        {{kx::ArrayPtr(kxCreateCharFromUtf8("up"))}, "KORVAN:servicehost:NoServiceHost"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(callHost("korvan.internal.servicehost.flip", c.fArgs, 0), c.fIdentifier)
            << "arguments: " << c.fArgs.size();
    EXPECT_EQ(callHost("korvan.internal.servicehost.notifyUpdate", {}, 0),
              "KORVAN:servicehost:NoServiceHost");
    EXPECT_EQ(callHost("korvan.internal.servicehost.notifyUpdate", {text("x")}, 0),
              "KORVAN:host:TooManyInputs");
    EXPECT_EQ(callHost("korvan.internal.servicehost.flip", {}, 1), "KORVAN:host:TooManyOutputs");
}

TEST(ServiceHostFunctions, MessagesComeFromTheCatalogue) {
    registerConnectorFunctions(nullptr);
    auto fn = korvan::host::findFunction("korvan.internal.servicehost.flip");
    ASSERT_TRUE(fn);
    kx::ArrayPtr step = text("sideways");
    const kxArray* in[] = {step.get()};
    try {
        (*fn)(0, nullptr, 1, in);
        FAIL() << "no error";
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "The step of a flip must be \"down\" or \"up\", not \"sideways\".");
    }
}

// A hosted service that only counts its shutdowns.
class CountingService : public korvan::services::servicehost::HostedService {
  public:
    explicit CountingService(std::atomic<int>& shutdowns) : fShutdowns(shutdowns) {}
    std::string invoke(const std::string&, const std::string&) override { return "null"; }
    void shutdown() override { ++fShutdowns; }

  private:
    std::atomic<int>& fShutdowns;
};

TEST(ServiceHostFunctions, FlipWholeAndInHalvesThenForgetTheReleasedHost) {
    namespace sh = korvan::services::servicehost;
    const auto folder =
        std::filesystem::temp_directory_path() / ("korvan-flipfns-" + std::to_string(::getpid()));
    std::filesystem::remove_all(folder);
    std::atomic<int> made{0}, shutdowns{0};
    {
        sh::ServiceHostOptions options;
        options.fContext = foundation::cppmicroservices::getFramework().GetBundleContext();
        options.fSettings = std::make_shared<korvan::services::settings::SettingsStore>(folder);
        options.fFactory = [&]() -> std::shared_ptr<sh::HostedService> {
            ++made;
            return std::make_shared<CountingService>(shutdowns);
        };
        auto host = std::make_shared<sh::ServiceHost>(options);
        host->start();
        registerConnectorFunctions(host);
        ASSERT_EQ(made, 1);

        EXPECT_EQ(callHost("korvan.internal.servicehost.flip", {}, 0), "");
        EXPECT_EQ(host->flipCount(), 1u);
        EXPECT_TRUE(host->isUp());
        EXPECT_EQ(made, 2);
        EXPECT_EQ(shutdowns, 1);

        EXPECT_EQ(callHost("korvan.internal.servicehost.flip", {text("down")}, 0), "");
        EXPECT_FALSE(host->isUp());
        EXPECT_EQ(shutdowns, 2);
        // A bad step changes nothing.
        EXPECT_EQ(callHost("korvan.internal.servicehost.flip", {text("sideways")}, 0),
                  "KORVAN:servicehost:InvalidFlipStep");
        EXPECT_FALSE(host->isUp());
        EXPECT_EQ(callHost("korvan.internal.servicehost.flip",
                           {kx::ArrayPtr(kxCreateCharFromUtf8("up"))}, 0),
                  "");
        EXPECT_TRUE(host->isUp());
        EXPECT_EQ(host->flipCount(), 2u);
        EXPECT_EQ(made, 3);
        EXPECT_EQ(callHost("korvan.internal.servicehost.notifyUpdate", {}, 0), "");
        host->stop();
    }
    // The functions do not keep the host alive.
    EXPECT_EQ(callHost("korvan.internal.servicehost.flip", {}, 0),
              "KORVAN:servicehost:NoServiceHost");
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace korvan::test
