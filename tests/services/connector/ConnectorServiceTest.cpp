// The service's settings and accessors without a listener: first-use token and certificate,
// BaseUrl, refused changes.
#include <gtest/gtest.h>

#include "Invokers.hpp"
#include "TempFolder.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/Dates.hpp"

namespace {

using namespace korvan::services::connector;
using korvan::test::TempFolder;

struct NoInvoker : korvan::test::BlockingInvoker {
    CallOutcome invoke(korvan::host::Function, foundation::json::Value, int) override {
        return {503, {}};
    }
};

ConnectorService makeService(Config config) {
    return ConnectorService(std::move(config), std::make_shared<HostFunctionCatalog>(),
                            std::make_shared<NoInvoker>());
}

TEST(ConnectorServiceTest, BaseUrlFromHostNameAndPort) {
    Config config;
    EXPECT_EQ(makeService(config).baseUrl(), "https://localhost:9920/v1");
    config.fHostName = "connector.example";
    config.fPort = 8443;
    EXPECT_EQ(makeService(config).baseUrl(), "https://connector.example:8443/v1");
}

TEST(ConnectorServiceTest, TokenIssuedOnFirstUseForThirtyDays) {
    auto service = makeService(Config{});
    const auto before = std::chrono::system_clock::now();
    const std::string token = service.personalAccessToken();
    EXPECT_EQ(token.size(), 64u);
    EXPECT_EQ(service.personalAccessToken(), token);  // not reissued
    const auto days30 = std::chrono::hours(24) * 30;
    const std::string date = service.tokenExpirationDate();
    EXPECT_TRUE(date == formatExpiryDate(before + days30) ||
                date == formatExpiryDate(std::chrono::system_clock::now() + days30))
        << date;
    EXPECT_EQ(service.checkToken(token), AccessToken::Check::Accepted);

    service.changeToken(2);
    EXPECT_NE(service.personalAccessToken(), token);
    EXPECT_EQ(service.checkToken(token), AccessToken::Check::Wrong);
    EXPECT_THROW(service.changeToken(0), std::invalid_argument);
    EXPECT_THROW(service.changeToken(366), std::invalid_argument);

    const auto past = std::chrono::system_clock::now() - std::chrono::hours(1);
    service.restoreToken(AccessToken(std::string(64, 'a'), past));
    EXPECT_EQ(service.checkToken(std::string(64, 'a')), AccessToken::Check::Expired);
}

TEST(ConnectorServiceTest, CertificateGeneratedOnFirstUseAndUserPairsChecked) {
    TempFolder folder, other;
    Config config;
    config.fCertificateFolder = folder.path();
    auto service = makeService(config);
    const auto generated = service.certificate();
    EXPECT_EQ(generated, folder.path() / kGeneratedCertificateFile);
    EXPECT_FALSE(service.certificateExpirationDate().empty());

    const auto mine = generateCertificate(other.path(), {});
    EXPECT_THROW(service.changeCertificate(mine.fPrivateKey, generated, {}), std::runtime_error);
    EXPECT_EQ(service.certificate(), generated);  // unchanged after a refusal
    service.changeCertificate(mine.fPrivateKey, mine.fCertificate, {});
    EXPECT_EQ(service.certificate(), mine.fCertificate);

    auto noFolder = makeService(Config{});
    EXPECT_THROW(noFolder.certificate(), std::runtime_error);
    EXPECT_THROW(noFolder.start(), std::runtime_error);
    EXPECT_EQ(noFolder.status(), Status::NotRunning);
}

}  // namespace
