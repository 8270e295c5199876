// changeCertificate: its three argument forms (none, an address list, two name-value pairs),
// the checks of each form, and the running check that comes only after the arguments passed.
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "ModuleFixture.hpp"

namespace korvan::test {
namespace {

namespace fs = std::filesystem;

const char* const kPair = "KORVAN:restFcnService:InvalidNameValuePair";

class CertificateMethodTest : public ModuleTest {
  protected:
    static void SetUpTestSuite() {
        fFolder = fs::temp_directory_path() / ("modtest-cert-" + std::to_string(::getpid()));
        fs::create_directories(fFolder);
        for (const char* name : {"key.pem", "cert.pem", "a.pem", "b.pem"}) {
            std::ofstream(fFolder / name) << "-----BEGIN TEST-----\n";
        }
    }
    static void TearDownTestSuite() { fs::remove_all(fFolder); }
    static std::string file(const char* name) { return (fFolder / name).string(); }

    /// The arguments of the one changeCertificate call, or nothing when there was none.
    std::vector<std::string> sent() const {
        const auto calls = client.callsOf("changeCertificate");
        return calls.empty() ? std::vector<std::string>{} : calls.back().fArgs;
    }

    static fs::path fFolder;
};

fs::path CertificateMethodTest::fFolder;

struct CertificateCase {
    const char* what;
    std::function<std::vector<Value>()> args;
    std::string error;              // "" when the client is asked
    std::vector<std::string> sent;  // key path, certificate path, addresses joined by ","
    std::vector<std::string> errorArgs = {};
};

TEST_F(CertificateMethodTest, ArgumentFormsAndTheirChecks) {
    const std::string key = file("key.pem"), cert = file("cert.pem");
    const std::string a = file("a.pem"), b = file("b.pem");
    const std::string nowhere = (fFolder / "missing.pem").string();
    using V = std::vector<Value>;
    const std::string badList = "KORVAN:restFcnService:InvalidIPAddresses";
    const std::string keys = "KORVAN:restFcnService:KeysException";
    const std::string badFile = "KORVAN:restFcnService:InvalidFileLocation";
    // clang-format off
    const std::vector<CertificateCase> cases = {
        // what, arguments, error, arguments sent, error arguments
        {"no arguments", [] { return V{}; }, "", {"", "", ""}},
        {"address row", [] { return V{strings(1, 2, {"192.0.2.10", "192.0.2.11"})}; }, "", {"", "", "192.0.2.10,192.0.2.11"}},
        {"address column", [] { return V{strings(2, 1, {"192.0.2.10", "host.example"})}; }, "", {"", "", "192.0.2.10,host.example"}},
        {"addresses are not validated", [] { return V{strings(1, 1, {"not an address"})}; }, "", {"", "", "not an address"}},
        {"address as char vector", [] { return V{chars("192.0.2.10")}; }, badList, {}},
        {"2-by-2 addresses", [] { return V{strings(2, 2, {"a", "b", "c", "d"})}; }, badList, {}},
        {"address as number", [] { return V{num(1)}; }, badList, {}},
        {"missing address", [] { return V{strings(1, 2, {"192.0.2.10", std::nullopt})}; }, "KORVAN:string:MissingNotSupported", {}},
        {"one name and value", [=] { return V{str("privatekey"), str(key)}; }, keys, {}},
        {"a pair and a name", [=] { return V{str("privatekey"), str(key), str("certificate")}; }, keys, {}},
        {"certificate first, any case", [=] { return V{str("Certificate"), str(cert), chars("PRIVATEKEY"), str(key)}; }, "", {key, cert, ""}},
        {"private key first", [=] { return V{str("privatekey"), str(key), str("certificate"), str(cert)}; }, "", {key, cert, ""}},
        {"two certificate pairs", [=] { return V{str("certificate"), str(a), str("certificate"), str(b)}; }, "", {b, a, ""}},
        {"two private key pairs", [=] { return V{str("PrivateKey"), str(a), str("privatekey"), str(b)}; }, "", {a, b, ""}},
        {"name is a number", [=] { return V{num(1), str(key), str("certificate"), str(cert)}; }, kPair, {}},
        {"name is missing", [=] { return V{missingString(), str(key), str("certificate"), str(cert)}; }, kPair, {}},
        {"value is a number", [=] { return V{str("privatekey"), num(1), str("certificate"), str(cert)}; }, kPair, {}},
        {"unknown name", [=] { return V{str("key"), str(key), str("certificate"), str(cert)}; }, "KORVAN:restFcnService:InvalidKeyName", {}},
        {"missing file", [=] { return V{str("privatekey"), str(nowhere), str("certificate"), str(cert)}; }, badFile, {}, {"u:" + nowhere}},
        {"first pair is checked whole before the second", [=] { return V{str("privatekey"), str(nowhere), str("bogus"), num(1)}; }, badFile, {}, {"u:" + nowhere}},
        {"second pair's value", [=] { return V{str("privatekey"), str(key), str("certificate"), num(3)}; }, kPair, {}},
    };
    // clang-format on
    Value c = user::connector();
    for (const auto& k : cases) {
        SCOPED_TRACE(k.what);
        client.reset();
        const V args = k.args();
        const CaughtError caught = catchError([&] { user::method(c, "changeCertificate", args); });
        EXPECT_EQ(caught.fId, k.error);
        std::vector<std::string> errorArgs;
        for (const auto& arg : caught.fArgs) errorArgs.push_back(argumentText(arg));
        EXPECT_EQ(errorArgs, k.errorArgs);
        EXPECT_EQ(sent(), k.sent);
        // The running check happens only once every argument passed.
        EXPECT_EQ(client.countOf("getStatus"), k.error.empty() ? 1u : 0u);
        EXPECT_EQ(client.calls().size(), k.error.empty() ? 2u : 0u);
    }
}

TEST_F(CertificateMethodTest, RunningConnectorIsRefusedOnlyAfterTheArguments) {
    client.edit([](ClientState& s) { s.fStatus = 1; });
    Value c = user::connector();
    const std::string nowhere = (fFolder / "missing.pem").string();
    EXPECT_EQ(errorIdOf([&] {
                  user::function(
                      c, "changeCertificate",
                      {str("privatekey"), str(nowhere), str("certificate"), str(file("cert.pem"))});
              }),
              "KORVAN:restFcnService:InvalidFileLocation");
    EXPECT_TRUE(client.calls().empty());
    for (const std::vector<Value>& args :
         {std::vector<Value>{}, std::vector<Value>{strings(1, 1, {"192.0.2.1"})},
          std::vector<Value>{str("privatekey"), str(file("key.pem")), str("certificate"),
                             str(file("cert.pem"))}}) {
        client.clearCalls();
        EXPECT_EQ(errorIdOf([&] { user::function(c, "changeCertificate", args); }),
                  "KORVAN:restFcnService:CannotModifyConnector")
            << args.size();
        EXPECT_EQ(client.trace(), std::vector<std::string>{"getStatus"});
    }
}

TEST_F(CertificateMethodTest, ArgumentCountsAreCheckedFirst) {
    Value c = user::connector();
    const std::vector<Value> six = {str("a"), str("b"), str("c"), str("d"), str("e")};
    EXPECT_EQ(errorIdOf([&] { user::method(c, "changeCertificate", six); }),
              "KORVAN:host:TooManyInputs");
    EXPECT_EQ(errorIdOf([&] { user::method(c, "changeCertificate", {}, 1); }),
              "KORVAN:host:TooManyOutputs");
    EXPECT_TRUE(client.calls().empty());
}

TEST_F(CertificateMethodTest, NewCertificateIsReadBackThroughTheProperty) {
    Value c = user::connector();
    user::method(
        c, "changeCertificate",
        {str("privatekey"), str(file("key.pem")), str("certificate"), str(file("cert.pem"))});
    EXPECT_EQ(text(user::get(c, "Certificate")), file("cert.pem"));
}

}  // namespace
}  // namespace korvan::test
