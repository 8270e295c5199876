#include "korvan/services/connector/Certificate.hpp"

#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <memory>
#include <stdexcept>

#include <boost/asio/ip/address.hpp>

#include "korvan/services/connector/Dates.hpp"

namespace korvan::services::connector {
namespace {

namespace fs = std::filesystem;

struct Free {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
    void operator()(X509* p) const { X509_free(p); }
    void operator()(BIO* p) const { BIO_free(p); }
    void operator()(X509_EXTENSION* p) const { X509_EXTENSION_free(p); }
    void operator()(GENERAL_NAMES* p) const { GENERAL_NAMES_free(p); }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

std::string opensslError() {
    const unsigned long code = ERR_get_error();
    ERR_clear_error();
    if (code == 0) return "unknown error";
    char text[256];
    ERR_error_string_n(code, text, sizeof text);
    return text;
}

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + " (" + opensslError() + ")");
}

// Writes `text` to `path` through a temporary file of the given mode, then renames it.
void writeFileAtomically(const fs::path& path, const std::string& text, mode_t mode) {
    const fs::path temporary = path.string() + ".tmp";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (fd < 0) throw std::runtime_error("Cannot write " + temporary.string());
    bool ok = ::fchmod(fd, mode) == 0;  // an existing file keeps its old mode otherwise
    for (std::size_t done = 0; ok && done < text.size();) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n <= 0)
            ok = false;
        else
            done += static_cast<std::size_t>(n);
    }
    ok = (::fsync(fd) == 0) && ok;
    ok = (::close(fd) == 0) && ok;
    if (!ok || ::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        throw std::runtime_error("Cannot write " + path.string());
    }
}

std::string pemOf(Owned<BIO>& bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<std::size_t>(size));
}

Owned<X509> readCertificate(const fs::path& path) {
    Owned<BIO> bio(BIO_new_file(path.c_str(), "r"));
    if (!bio) fail("Cannot read the certificate file " + path.string());
    Owned<X509> cert(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    if (!cert) fail("The certificate file " + path.string() + " holds no PEM certificate");
    return cert;
}

Owned<EVP_PKEY> readKey(const fs::path& path) {
    Owned<BIO> bio(BIO_new_file(path.c_str(), "r"));
    if (!bio) fail("Cannot read the private key file " + path.string());
    Owned<EVP_PKEY> key(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
    if (!key) fail("The private key file " + path.string() + " holds no PEM private key");
    return key;
}

void addExtension(X509* cert, int nid, const std::string& value) {
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
    Owned<X509_EXTENSION> ext(X509V3_EXT_conf_nid(nullptr, &ctx, nid, value.c_str()));
    if (!ext || X509_add_ext(cert, ext.get(), -1) != 1) fail("Cannot add the extension " + value);
}

std::string subjectAltNames(const std::vector<std::string>& addresses) {
    std::string names = "DNS:localhost,IP:127.0.0.1";
    for (const auto& text : addresses) {
        if (text.empty() || text.find_first_of(", \t\n") != std::string::npos)
            throw std::invalid_argument("Not an address for a certificate: \"" + text + "\"");
        boost::system::error_code ec;
        boost::asio::ip::make_address(text, ec);
        names += (ec ? ",DNS:" : ",IP:") + text;
    }
    return names;
}

}  // namespace

CertificateFiles generateCertificate(const fs::path& folder,
                                     const std::vector<std::string>& addresses) {
    const std::string altNames = subjectAltNames(addresses);
    // The folder holds the private key: the folders made here are the owner's only (0700);
    // folders that already exist keep their mode.
    fs::path partial;
    for (const auto& part : folder) {
        partial /= part;
        if (::mkdir(partial.c_str(), 0700) != 0 && errno != EEXIST)
            throw std::runtime_error("Cannot create the folder " + folder.string());
    }

    Owned<EVP_PKEY> key(EVP_EC_gen("P-256"));
    if (!key) fail("Cannot generate a private key");
    Owned<X509> cert(X509_new());
    if (!cert || X509_set_version(cert.get(), X509_VERSION_3) != 1)
        fail("Cannot make a certificate");
    unsigned char serial[16];
    if (RAND_bytes(serial, sizeof serial) != 1) fail("Cannot make a serial number");
    serial[0] &= 0x7f;  // positive
    BIGNUM* bn = BN_bin2bn(serial, sizeof serial, nullptr);
    const bool serialSet = bn && BN_to_ASN1_INTEGER(bn, X509_get_serialNumber(cert.get()));
    BN_free(bn);
    if (!serialSet) fail("Cannot set the serial number");
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -60);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 60L * 60 * 24 * kGeneratedCertificateDays);
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("localhost"), -1, -1, 0);
    X509_set_issuer_name(cert.get(), name);
    if (X509_set_pubkey(cert.get(), key.get()) != 1) fail("Cannot set the public key");
    addExtension(cert.get(), NID_subject_alt_name, altNames);
    addExtension(cert.get(), NID_ext_key_usage, "serverAuth");
    // A server's certificate, not an authority: it signs handshakes (ECDHE) and nothing else.
    addExtension(cert.get(), NID_basic_constraints, "critical,CA:FALSE");
    addExtension(cert.get(), NID_key_usage, "critical,digitalSignature");
    if (X509_sign(cert.get(), key.get(), EVP_sha256()) <= 0) fail("Cannot sign the certificate");

    Owned<BIO> keyPem(BIO_new(BIO_s_mem()));
    Owned<BIO> certPem(BIO_new(BIO_s_mem()));
    if (!keyPem || !certPem ||
        PEM_write_bio_PrivateKey(keyPem.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) !=
            1 ||
        PEM_write_bio_X509(certPem.get(), cert.get()) != 1)
        fail("Cannot encode the certificate");

    CertificateFiles files{folder / kGeneratedKeyFile, folder / kGeneratedCertificateFile};
    std::string keyText = pemOf(keyPem);
    writeFileAtomically(files.fPrivateKey, keyText, 0600);
    OPENSSL_cleanse(keyText.data(), keyText.size());
    writeFileAtomically(files.fCertificate, pemOf(certPem), 0644);
    return files;
}

void checkCertificateFiles(const CertificateFiles& files) {
    Owned<X509> cert = readCertificate(files.fCertificate);
    Owned<EVP_PKEY> key = readKey(files.fPrivateKey);
    if (X509_check_private_key(cert.get(), key.get()) != 1) {
        ERR_clear_error();
        throw CertificateMismatch("The private key " + files.fPrivateKey.string() +
                                  " does not belong to the certificate " +
                                  files.fCertificate.string());
    }
}

std::string certificateExpirationDate(const fs::path& certificate) {
    Owned<X509> cert = readCertificate(certificate);
    std::tm notAfter{};
    if (ASN1_TIME_to_tm(X509_get0_notAfter(cert.get()), &notAfter) != 1)
        fail("The certificate " + certificate.string() + " has no readable expiry");
    return formatExpiryDate(std::chrono::system_clock::from_time_t(timegm(&notAfter)));
}

std::vector<std::string> certificateSubjectAltNames(const fs::path& certificate) {
    Owned<X509> cert = readCertificate(certificate);
    Owned<GENERAL_NAMES> names(static_cast<GENERAL_NAMES*>(
        X509_get_ext_d2i(cert.get(), NID_subject_alt_name, nullptr, nullptr)));
    std::vector<std::string> out;
    for (int i = 0; names && i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME* entry = sk_GENERAL_NAME_value(names.get(), i);
        if (entry->type == GEN_DNS) {
            const ASN1_STRING* s = entry->d.dNSName;
            out.push_back("DNS:" +
                          std::string(reinterpret_cast<const char*>(ASN1_STRING_get0_data(s)),
                                      static_cast<std::size_t>(ASN1_STRING_length(s))));
        } else if (entry->type == GEN_IPADD) {
            const ASN1_OCTET_STRING* s = entry->d.iPAddress;
            const auto* bytes = ASN1_STRING_get0_data(s);
            boost::asio::ip::address address;
            if (ASN1_STRING_length(s) == 4) {
                boost::asio::ip::address_v4::bytes_type b;
                std::copy(bytes, bytes + 4, b.begin());
                address = boost::asio::ip::address_v4(b);
            } else if (ASN1_STRING_length(s) == 16) {
                boost::asio::ip::address_v6::bytes_type b;
                std::copy(bytes, bytes + 16, b.begin());
                address = boost::asio::ip::address_v6(b);
            }
            out.push_back("IP:" + address.to_string());
        }
    }
    return out;
}

}  // namespace korvan::services::connector
