// The TLS certificate and private key of the connector: generated in-process (a self-signed
// EC P-256 certificate for "localhost", 127.0.0.1 and any further addresses), or the user's own
// PEM files, checked to belong together.
//
// Files: the key file is created readable and writable by its owner only (0600); both files are
// written to a temporary name and renamed, so a reader never sees half a file.
//
// Errors: std::runtime_error whose text names the file and the reason; CertificateMismatch
// when both files are good but the key is not the certificate's.
// Threads: any thread; no shared state.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

struct CertificateFiles {
    std::filesystem::path fPrivateKey;
    std::filesystem::path fCertificate;
};

/// File names used for a generated pair inside its folder.
inline constexpr const char* kGeneratedKeyFile = "connector-key.pem";
inline constexpr const char* kGeneratedCertificateFile = "connector-cert.pem";
/// Lifetime of a generated certificate.
inline constexpr int kGeneratedCertificateDays = 365;

/// Generates a key and a self-signed certificate into `folder` (created when missing) whose
/// subject alternative names are DNS:localhost, IP:127.0.0.1 and each entry of `addresses`
/// (IPv4 or IPv6 text; a text that is no address is added as a DNS name). Replaces an earlier
/// pair in that folder.
KORVAN_CONNECTOR_SERVICE_EXPORT CertificateFiles
generateCertificate(const std::filesystem::path& folder, const std::vector<std::string>& addresses);

class KORVAN_CONNECTOR_SERVICE_EXPORT CertificateMismatch : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Checks that both files are readable PEM and that the key is the certificate's key
/// (CertificateMismatch when it is not).
KORVAN_CONNECTOR_SERVICE_EXPORT void checkCertificateFiles(const CertificateFiles& files);

/// The certificate's last day of validity, "dd-MMM-yyyy" (Dates.hpp).
KORVAN_CONNECTOR_SERVICE_EXPORT std::string certificateExpirationDate(
    const std::filesystem::path& certificate);

/// Subject alternative names of the certificate as "DNS:<name>" / "IP:<address>" texts.
KORVAN_CONNECTOR_SERVICE_EXPORT std::vector<std::string> certificateSubjectAltNames(
    const std::filesystem::path& certificate);

}  // namespace korvan::services::connector
