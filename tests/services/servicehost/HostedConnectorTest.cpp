// The hosted connector through Invokable::invoke without network traffic: the operations and
// their JSON, refused arguments, persistence across instances, a corrupt settings file, reset,
// token and certificate changes, the connector log and shutdown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/serialize.hpp>

#include "HostedTestSupport.hpp"
#include "foundation/core/except/IException.hpp"
#include "korvan/services/connector/Certificate.hpp"

namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using namespace korvan::services;
using namespace korvan::test;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

// The identifier of the catalogue error `f` throws ("" when it throws none).
template <class F>
std::string errorIdOf(F&& f) {
    try {
        f();
    } catch (const foundation::core::except::IMsgIDException& e) {
        return e.GetID();
    } catch (...) {
    }
    return "";
}

class HostedConnectorTest : public ::testing::Test, public HostedFixture {};

struct Step {
    const char* fOperation;
    const char* fArguments;
    const char* fResult;  // JSON; "*" for "whatever the default folder is"
};

TEST_F(HostedConnectorTest, OperationsTable) {
    auto c = makeConnector();
    const std::string logs = json::serialize(json::value(fStore->defaultLogFolder().string()));
    // clang-format off
    const Step steps[] = {
        {"getPort", "{}", "9920"},
        {"getHostname", "{}", R"("")"},
        {"getClientAccessMode", "{}", "0"},
        {"getStatus", "{}", "0"},
        {"getServiceNames", "{}", R"(["math","stats"])"},
        {"getBaseUrl", "{}", R"("https://localhost:9920/v1")"},
        {"getLogLocation", "{}", "*"},
        {"getAccessLogLocation", "{}", "*"},
        {"setPort", R"({"port": 8443})", "null"},
        {"getPort", "", "8443"},
        {"setPort", R"({"port": 8443.0})", "null"},
        {"setHostname", R"({"hostName": "box.example"})", "null"},
        {"getHostname", "{}", R"("box.example")"},
        {"getBaseUrl", "{}", R"("https://box.example:8443/v1")"},
        {"setAccessMode", R"({"accessMode": 1})", "null"},
        {"getClientAccessMode", "{}", "1"},
        {"restoreSettings", R"({"port": 9000, "logLocation": "", "hostName": "", "accessMode": 0})", "null"},
        {"getPort", "{}", "9000"},
        {"getHostname", "{}", R"("")"},
        {"getClientAccessMode", "{}", "0"},
        {"getLogLocation", "{}", "*"},
        {"refreshServices", "{}", "null"},
        {"stopConnector", "{}", "null"},
        {"changeToken", R"({"days": 365})", "null"},
    };
    // clang-format on
    for (const Step& step : steps) {
        SCOPED_TRACE(std::string(step.fOperation) + " " + step.fArguments);
        const std::string expected = std::string(step.fResult) == "*" ? logs : step.fResult;
        EXPECT_EQ(call(*c, step.fOperation, step.fArguments), json::parse(expected));
    }
    const ConnectorSettings stored = SettingsStore(prefs()).current();
    EXPECT_EQ(stored.fPort, 9000);
    EXPECT_EQ(stored.fHostName, "");
    EXPECT_EQ(stored.fAccessMode, 0);
}

TEST_F(HostedConnectorTest, PropertyDocument) {
    auto c = makeConnector();
    const json::object doc = call(*c, "getPropertiesJson").as_object();
    EXPECT_EQ(doc.size(), 11u);
    EXPECT_EQ(doc.at("Port"), json::value(9920));
    EXPECT_EQ(doc.at("LogLocation").as_string(), fStore->defaultLogFolder().string());
    EXPECT_EQ(doc.at("HostName").as_string(), "");
    EXPECT_EQ(doc.at("ClientAccessMode"), json::value(0));
    EXPECT_EQ(doc.at("ServiceNames").as_string(), "math stats");
    const std::string token(doc.at("RESTPersonalAccessToken").as_string());
    EXPECT_THAT(token, MatchesRegex("[0-9a-f]{64}"));
    EXPECT_THAT(std::string(doc.at("TokenExpirationDate").as_string()),
                MatchesRegex("[0-9]{2}-[A-Z][a-z]{2}-[0-9]{4}"));
    const fs::path certificate(std::string(doc.at("Certificate").as_string()));
    EXPECT_TRUE(fs::is_regular_file(certificate));
    EXPECT_EQ(certificate.parent_path(), fStore->certificateFolder());
    EXPECT_EQ(doc.at("CertificateExpirationDate").as_string(),
              connector::certificateExpirationDate(certificate));
    EXPECT_EQ(doc.at("BaseUrl").as_string(), "https://localhost:9920/v1");
    EXPECT_EQ(doc.at("Status"), json::value(0));

    // The single getters agree with the document; the first use persisted token and pair.
    EXPECT_EQ(callText(*c, "getPersonalAccessToken"), token);
    EXPECT_EQ(callText(*c, "getCertificate"), certificate.string());
    const ConnectorSettings stored = SettingsStore(prefs()).current();
    EXPECT_EQ(stored.fToken, token);
    EXPECT_EQ(stored.fCertificate, certificate.string());
    EXPECT_EQ(stored.fPrivateKey, (fStore->certificateFolder() / "connector-key.pem").string());
    // Thirty days, give or take the time of day.
    const auto days = (stored.fTokenExpiry - std::time(nullptr)) / 86400.0;
    EXPECT_GT(days, 29.9);
    EXPECT_LT(days, 30.1);
}

struct Refusal {
    const char* fOperation;
    const char* fArguments;
    const char* fMessage;
};

TEST_F(HostedConnectorTest, MalformedArgumentsAndUnknownOperationsAreRefused) {
    auto c = makeConnector();
    call(*c, "getPropertiesJson");  // token and certificate exist before the refusals
    const ConnectorSettings before = fStore->current();
    // clang-format off
    const Refusal refusals[] = {
        {"frobnicate", "{}", "no operation \"frobnicate\""},
        {"", "{}", "no operation"},
        {"getport", "{}", "no operation \"getport\""},
        {"setPort", "{", "not JSON"},
        {"setPort", "[8080]", "must be a JSON object"},
        {"setPort", "8080", "must be a JSON object"},
        {"setPort", "{}", "\"port\""},
        {"setPort", R"({"port": "8080"})", "\"port\""},
        {"setPort", R"({"port": 65536})", "0 to 65535"},
        {"setPort", R"({"port": -1})", "0 to 65535"},
        {"setPort", R"({"port": 80.5})", "whole number"},
        {"setPort", R"({"port": null})", "\"port\""},
        {"setAccessMode", R"({"accessMode": 2})", "0 to 1"},
        {"setAccessMode", R"({"accessMode": "remote"})", "\"accessMode\""},
        {"setHostname", R"({"hostName": 5})", "\"hostName\""},
        {"setLogLocation", R"({"location": "/tmp"})", "\"logLocation\""},
        {"restoreSettings", R"({"port": 9000, "logLocation": "", "hostName": ""})", "\"accessMode\""},
        {"restoreSettings", R"({"port": 70000, "logLocation": "", "hostName": "", "accessMode": 0})", "\"port\""},
        {"changeToken", "{}", "\"days\""},
        {"changeToken", R"({"days": 0})", "1 to 365"},
        {"changeToken", R"({"days": 366})", "1 to 365"},
        {"changeToken", R"({"days": 2.5})", "1 to 365"},
        {"changeCertificate", R"({"addresses": "10.0.0.1"})", "\"addresses\""},
        {"changeCertificate", R"({"addresses": [1]})", "\"addresses\""},
        {"changeCertificate", R"({"privateKey": "/k.pem"})", "both"},
        {"changeCertificate", R"({"certificate": 3})", "\"certificate\""},
    };
    // clang-format on
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(std::string(r.fOperation) + " " + r.fArguments);
        try {
            c->invoke(r.fOperation, r.fArguments);
            ADD_FAILURE() << "accepted";
        } catch (const std::invalid_argument& e) {
            EXPECT_THAT(e.what(), HasSubstr(r.fMessage));
        }
    }
    EXPECT_EQ(fStore->current(), before);
    EXPECT_EQ(SettingsStore(prefs()).current(), before);
}

TEST_F(HostedConnectorTest, SettingsPersistAcrossInstances) {
    const fs::path logs = fFolder.path() / "my logs";
    fs::create_directories(logs);
    std::string token, expiry, certificate, certificateExpiry;
    {
        auto first = makeConnector();
        call(*first, "setPort", R"({"port": 8443})");
        call(*first, "setHostname", R"({"hostName": "box.example"})");
        call(*first, "setAccessMode", R"({"accessMode": 1})");
        call(*first, "setLogLocation",
             json::serialize(json::object{{"logLocation", logs.string()}}));
        call(*first, "changeToken", R"({"days": 7})");
        token = callText(*first, "getPersonalAccessToken");
        expiry = callText(*first, "getTokenExpirationDate");
        certificate = callText(*first, "getCertificate");
        certificateExpiry = callText(*first, "getCertificateExpirationDate");
        first->shutdown();
    }
    auto second = makeConnector();
    EXPECT_EQ(call(*second, "getPort"), json::value(8443));
    EXPECT_EQ(callText(*second, "getHostname"), "box.example");
    EXPECT_EQ(call(*second, "getClientAccessMode"), json::value(1));
    EXPECT_EQ(callText(*second, "getLogLocation"), logs.string());
    EXPECT_EQ(callText(*second, "getPersonalAccessToken"), token);
    EXPECT_EQ(callText(*second, "getTokenExpirationDate"), expiry);
    EXPECT_EQ(callText(*second, "getCertificate"), certificate);
    EXPECT_EQ(callText(*second, "getCertificateExpirationDate"), certificateExpiry);
    // Nothing was written by merely reading.
    EXPECT_TRUE(fStore->loadProblem().empty());
}

TEST_F(HostedConnectorTest, ACertificateWhoseFilesAreGoneIsGeneratedAgainAndPersisted) {
    std::string first;
    {
        auto c = makeConnector();
        first = callText(*c, "getCertificate");
    }
    fs::remove_all(fStore->certificateFolder());
    auto c = makeConnector();
    const std::string again = callText(*c, "getCertificate");
    EXPECT_TRUE(fs::is_regular_file(again));
    EXPECT_EQ(SettingsStore(prefs()).current().fCertificate, again);
    // Also when they disappear while the instance lives.
    fs::remove_all(fStore->certificateFolder());
    EXPECT_TRUE(fs::is_regular_file(callText(*c, "getCertificate")));
}

TEST_F(HostedConnectorTest, ResetRestoresDefaultsKeepsTheHourAndIssuesAFreshToken) {
    auto c = makeConnector();
    call(*c, "setPort", R"({"port": 8443})");
    call(*c, "setHostname", R"({"hostName": "box.example"})");
    call(*c, "setAccessMode", R"({"accessMode": 1})");
    call(*c, "changeToken", R"({"days": 3})");
    const std::string oldToken = callText(*c, "getPersonalAccessToken");
    fStore->update([](ConnectorSettings& s) { s.fRestartHour = 5; });
    const auto other = connector::generateCertificate(fFolder.path() / "mine", {});
    call(*c, "changeCertificate",
         json::serialize(json::object{{"privateKey", other.fPrivateKey.string()},
                                      {"certificate", other.fCertificate.string()}}));

    call(*c, "resetConnector");
    const ConnectorSettings after = SettingsStore(prefs()).current();
    EXPECT_EQ(after.fPort, 9920);
    EXPECT_EQ(after.fHostName, "");
    EXPECT_EQ(after.fAccessMode, 0);
    EXPECT_EQ(after.fLogLocation, "");
    EXPECT_EQ(after.fRestartHour, 5);
    EXPECT_EQ(after.fCertificate, "");
    EXPECT_NE(after.fToken, oldToken);
    EXPECT_EQ(callText(*c, "getPersonalAccessToken"), after.fToken);
    EXPECT_EQ(call(*c, "getPort"), json::value(9920));
    EXPECT_EQ(call(*c, "getClientAccessMode"), json::value(0));
    const auto days = (after.fTokenExpiry - std::time(nullptr)) / 86400.0;
    EXPECT_GT(days, 29.9);
    // The certificate comes fresh from the settings folder on the next use.
    const std::string certificate = callText(*c, "getCertificate");
    EXPECT_EQ(fs::path(certificate).parent_path(), fStore->certificateFolder());
    EXPECT_EQ(SettingsStore(prefs()).current().fCertificate, certificate);

    const std::string log = connectorLog();
    EXPECT_THAT(log, HasSubstr("reset"));
    EXPECT_THAT(log, HasSubstr("token changed"));
    EXPECT_THAT(log, HasSubstr("certificate changed"));
    EXPECT_THAT(log, Not(HasSubstr(oldToken)));
    EXPECT_THAT(log, Not(HasSubstr(after.fToken)));
}

TEST_F(HostedConnectorTest, CustomCertificateFilesMatchingAndNot) {
    auto c = makeConnector();
    const std::string generated = callText(*c, "getCertificate");
    const auto a = connector::generateCertificate(fFolder.path() / "a", {});
    const auto b = connector::generateCertificate(fFolder.path() / "b", {});

    // A key that is not the certificate's key: refused, nothing changes.
    const ConnectorSettings before = fStore->current();
    EXPECT_EQ(errorIdOf([&] {
                  c->invoke("changeCertificate", json::serialize(json::object{
                                                     {"privateKey", b.fPrivateKey.string()},
                                                     {"certificate", a.fCertificate.string()}}));
              }),
              "KORVAN:connectorService:CertificateKeyMismatch");
    EXPECT_EQ(callText(*c, "getCertificate"), generated);
    EXPECT_EQ(SettingsStore(prefs()).current(), before);

    // A pair that belongs together is adopted and persisted.
    call(*c, "changeCertificate",
         json::serialize(json::object{{"privateKey", a.fPrivateKey.string()},
                                      {"certificate", a.fCertificate.string()},
                                      {"addresses", json::array{}}}));
    EXPECT_EQ(callText(*c, "getCertificate"), a.fCertificate.string());
    EXPECT_EQ(SettingsStore(prefs()).current().fPrivateKey, a.fPrivateKey.string());
    auto second = makeConnector();
    EXPECT_EQ(callText(*second, "getCertificate"), a.fCertificate.string());

    // Generated again, with an address.
    call(*c, "changeCertificate", R"({"addresses": ["10.1.2.3"]})");
    const std::string fresh = callText(*c, "getCertificate");
    EXPECT_EQ(fresh, generated);  // same file name in the settings folder, new content
    EXPECT_THAT(connector::certificateSubjectAltNames(fresh), ::testing::Contains("IP:10.1.2.3"));
}

// The person's own certificate that was moved away: no start, and no certificate made in its
// place (clients that trust it would meet another); in this process and in the next.
TEST_F(HostedConnectorTest, AnOwnCertificateThatIsGoneStopsTheStartInsteadOfBeingReplaced) {
    auto c = makeConnector();
    const auto own = connector::generateCertificate(fFolder.path() / "own", {});
    call(*c, "changeCertificate",
         json::serialize(json::object{{"privateKey", own.fPrivateKey.string()},
                                      {"certificate", own.fCertificate.string()},
                                      {"addresses", json::array{}}}));
    fs::rename(own.fCertificate, fFolder.path() / "moved.pem");
    auto next = makeConnector();
    for (servicehost::HostedConnector* connector : {c.get(), next.get()}) {
        EXPECT_EQ(errorIdOf([&] { connector->invoke("startConnector", "{}"); }),
                  "KORVAN:connectorService:CertificateFileMissing");
        EXPECT_EQ(call(*connector, "getStatus"), json::value(0));
        EXPECT_EQ(SettingsStore(prefs()).current().fCertificate, own.fCertificate.string());
    }
    EXPECT_FALSE(
        fs::exists(prefs() / "rest" / "certificate" / connector::kGeneratedCertificateFile));
}

TEST_F(HostedConnectorTest, CertificatesAreMadeForAddressesAndHostNamesOnly) {
    auto c = makeConnector();
    const struct {
        const char* fAddress;
        const char* fName;  // its subject alternative name; nullptr: refused
    } cases[] = {
        {"host.example.org", "DNS:host.example.org"},
        {"my-box", "DNS:my-box"},
        {"10.0.0.5", "IP:10.0.0.5"},
        {"foo.pem", nullptr},
        {"server.KEY", nullptr},
        {"bad name", nullptr},
        {"-lead.example", nullptr},
        {"a..b", nullptr},
        {"", nullptr},
        {"./cert.crt", nullptr},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.fAddress);
        const std::string before = callText(*c, "getCertificate");
        const std::string id = errorIdOf([&] {
            c->invoke("changeCertificate",
                      json::serialize(json::object{{"addresses", json::array{k.fAddress}}}));
        });
        if (!k.fName) {
            EXPECT_EQ(id, "KORVAN:connectorService:NotAnAddress");
            continue;
        }
        EXPECT_EQ(id, "");
        EXPECT_THAT(connector::certificateSubjectAltNames(callText(*c, "getCertificate")),
                    ::testing::Contains(k.fName));
        EXPECT_EQ(callText(*c, "getCertificate"), before);  // same file, new content
    }
}

TEST_F(HostedConnectorTest, TokenChangeIsPersistedAndLoggedWithoutTheToken) {
    auto c = makeConnector();
    const std::string first = callText(*c, "getPersonalAccessToken");
    call(*c, "changeToken", R"({"days": 1})");
    const std::string second = callText(*c, "getPersonalAccessToken");
    EXPECT_NE(first, second);
    const ConnectorSettings stored = SettingsStore(prefs()).current();
    EXPECT_EQ(stored.fToken, second);
    EXPECT_LT(stored.fTokenExpiry - std::time(nullptr), 86400 + 60);
    const std::string log = connectorLog();
    EXPECT_THAT(log, HasSubstr("token issued"));
    EXPECT_THAT(log,
                HasSubstr("token changed, valid until " + callText(*c, "getTokenExpirationDate")));
    EXPECT_THAT(log, Not(HasSubstr(first)));
    EXPECT_THAT(log, Not(HasSubstr(second)));
    std::istringstream lines(log);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_THAT(line,
                    MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z .+"));
    EXPECT_EQ(count, 2);
}

TEST_F(HostedConnectorTest, AfterShutdownEveryOperationThrows) {
    auto c = makeConnector();
    c->shutdown();
    c->shutdown();  // a second one does nothing
    EXPECT_THROW(c->invoke("getPort", "{}"), std::runtime_error);
    EXPECT_THROW(c->invoke("startConnector", "{}"), std::runtime_error);
}

}  // namespace
