// Generated certificates (names, file modes, expiry) and the check that a user's key and
// certificate belong together.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <memory>

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "TempFolder.hpp"
#include "korvan/services/connector/Certificate.hpp"
#include "korvan/services/connector/Dates.hpp"

namespace {

using namespace korvan::services::connector;
using korvan::test::TempFolder;
using ::testing::ElementsAre;

unsigned modeOf(const std::filesystem::path& p) {
    struct stat st {};
    EXPECT_EQ(::stat(p.c_str(), &st), 0);
    return st.st_mode & 0777;
}

TEST(CertificateTest, GeneratedPairNamesLocalhostAndTheGivenAddresses) {
    TempFolder folder;
    const auto files = generateCertificate(folder.path(), {"192.168.7.9", "::1", "myhost.example"});
    EXPECT_THAT(certificateSubjectAltNames(files.fCertificate),
                ElementsAre("DNS:localhost", "IP:127.0.0.1", "IP:192.168.7.9", "IP:::1",
                            "DNS:myhost.example"));
    EXPECT_EQ(modeOf(files.fPrivateKey), 0600u);
    EXPECT_NO_THROW(checkCertificateFiles(files));
    // Last day of validity: a year from now (allow for midnight passing during the test).
    const auto now = std::chrono::system_clock::now();
    const auto date = certificateExpirationDate(files.fCertificate);
    const auto expected = std::chrono::hours(24) * kGeneratedCertificateDays;
    EXPECT_TRUE(date == formatExpiryDate(now + expected) ||
                date == formatExpiryDate(now + expected + std::chrono::minutes(2)))
        << date;
}

// A server's certificate: not an authority, its key only signs (the handshake), and both
// extensions are critical so that a client that does not know them refuses the certificate.
TEST(CertificateTest, GeneratedCertificateIsMarkedAsAServersOnly) {
    TempFolder folder;
    const auto files = generateCertificate(folder.path(), {});
    std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new_file(files.fCertificate.c_str(), "r"),
                                                  &BIO_free);
    ASSERT_TRUE(bio);
    std::unique_ptr<X509, decltype(&X509_free)> cert(
        PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr), &X509_free);
    ASSERT_TRUE(cert);
    int critical = -1;
    std::unique_ptr<BASIC_CONSTRAINTS, decltype(&BASIC_CONSTRAINTS_free)> constraints(
        static_cast<BASIC_CONSTRAINTS*>(
            X509_get_ext_d2i(cert.get(), NID_basic_constraints, &critical, nullptr)),
        &BASIC_CONSTRAINTS_free);
    ASSERT_TRUE(constraints);
    EXPECT_FALSE(constraints->ca);
    EXPECT_EQ(critical, 1);
    EXPECT_EQ(X509_get_key_usage(cert.get()), static_cast<std::uint32_t>(KU_DIGITAL_SIGNATURE));
    EXPECT_EQ(X509_get_extended_key_usage(cert.get()), static_cast<std::uint32_t>(XKU_SSL_SERVER));
    const int keyUsage = X509_get_ext_by_NID(cert.get(), NID_key_usage, -1);
    ASSERT_GE(keyUsage, 0);
    EXPECT_EQ(X509_EXTENSION_get_critical(X509_get_ext(cert.get(), keyUsage)), 1);
}

TEST(CertificateTest, RegeneratingReplacesThePairAndKeepsTheKeyPrivate) {
    TempFolder folder;
    const auto first = generateCertificate(folder.path(), {});
    ::chmod(first.fPrivateKey.c_str(), 0644);  // loosened by someone in between
    const auto second = generateCertificate(folder.path(), {"10.0.0.1"});
    EXPECT_EQ(first.fPrivateKey, second.fPrivateKey);
    EXPECT_EQ(modeOf(second.fPrivateKey), 0600u);
    EXPECT_THAT(certificateSubjectAltNames(second.fCertificate),
                ElementsAre("DNS:localhost", "IP:127.0.0.1", "IP:10.0.0.1"));
    EXPECT_NO_THROW(checkCertificateFiles(second));
}

TEST(CertificateTest, MismatchedOrUnreadableFilesAreRefused) {
    TempFolder a, b;
    const auto one = generateCertificate(a.path(), {});
    const auto two = generateCertificate(b.path(), {});
    const std::filesystem::path garbage = a.path() / "garbage.pem";
    std::ofstream(garbage) << "not a pem file\n";

    struct Case {
        CertificateFiles fFiles;
        const char* fReason;
    } cases[] = {
        {{one.fPrivateKey, two.fCertificate}, "does not belong"},
        {{two.fPrivateKey, one.fCertificate}, "does not belong"},
        {{garbage, one.fCertificate}, "holds no PEM private key"},
        {{one.fPrivateKey, garbage}, "holds no PEM certificate"},
        {{a.path() / "missing.pem", one.fCertificate}, "Cannot read the private key"},
        {{one.fPrivateKey, a.path() / "missing.pem"}, "Cannot read the certificate"},
    };
    for (const auto& c : cases) {
        try {
            checkCertificateFiles(c.fFiles);
            ADD_FAILURE() << "accepted " << c.fFiles.fPrivateKey << " " << c.fFiles.fCertificate;
        } catch (const std::runtime_error& e) {
            EXPECT_THAT(e.what(), ::testing::HasSubstr(c.fReason));
        }
    }
}

TEST(CertificateTest, AddressesThatWouldInjectNamesAreRefused) {
    TempFolder folder;
    EXPECT_THROW(generateCertificate(folder.path(), {"1.2.3.4,DNS:evil"}), std::invalid_argument);
    EXPECT_THROW(generateCertificate(folder.path(), {""}), std::invalid_argument);
}

}  // namespace
