#include "HostedConnectorState.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include <boost/asio/ip/address.hpp>

#include "korvan/host/Errors.hpp"
#include "korvan/services/connector/Certificate.hpp"

namespace korvan::services::servicehost {

namespace fs = std::filesystem;
using connector::AccessToken;
using connector::CertificateFiles;
using settings::ConnectorSettings;

namespace {

std::int64_t toSeconds(AccessToken::Clock::time_point when) {
    return std::chrono::duration_cast<std::chrono::seconds>(when.time_since_epoch()).count();
}

AccessToken::Clock::time_point fromSeconds(std::int64_t seconds) {
    return AccessToken::Clock::time_point(std::chrono::seconds(seconds));
}

bool filesExist(const CertificateFiles& files) {
    std::error_code ec;
    return fs::is_regular_file(files.fPrivateKey, ec) &&
           fs::is_regular_file(files.fCertificate, ec);
}

/// Creates the default log folder and its missing parents for the owner only, as the settings
/// store does with the settings folder (the logs sit beside the token's file).
void makePrivateFolders(const fs::path& folder) {
    fs::path partial;
    for (const auto& part : folder) {
        partial /= part;
        ::mkdir(partial.c_str(), 0700);  // an existing one is fine; a real failure shows later
    }
}

constexpr const char* kComponent = "KORVAN:connectorService";

// A host name (labels of letters, digits and hyphens, as DNS has them) or an IPv4/IPv6 address;
// a name ending in what a certificate or key file is called ("foo.pem") is taken for the file
// name it is, not made into a certificate for a host of that name.
bool isAddressOrHostName(const std::string& text) {
    boost::system::error_code ec;
    boost::asio::ip::make_address(text, ec);
    if (!ec) return true;
    if (text.empty() || text.size() > 253) return false;
    std::size_t start = 0;
    std::string last;
    while (start <= text.size()) {
        const std::size_t dot = std::min(text.find('.', start), text.size());
        const std::string label = text.substr(start, dot - start);
        if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-')
            return false;
        for (char ch : label)
            if (!std::isalnum(static_cast<unsigned char>(ch)) && ch != '-') return false;
        last = label;
        start = dot + 1;
    }
    for (auto& ch : last) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    for (const char* fileKind : {"pem", "crt", "cer", "der", "key", "p12", "pfx", "csr"})
        if (last == fileKind) return false;
    return true;
}

bool isGenerated(const CertificateFiles& files, const fs::path& folder) {
    return files.fCertificate == folder / connector::kGeneratedCertificateFile;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string out;
    for (const auto& text : texts) out += ", " + text;
    return out;
}

}  // namespace

HostedConnectorState::HostedConnectorState(
    std::shared_ptr<settings::SettingsStore> settings,
    std::shared_ptr<connector::FunctionServiceCatalog> catalog,
    std::shared_ptr<connector::FunctionInvoker> invoker, connector::Config tuning)
    : fSettings(std::move(settings)),
      fCatalog(std::move(catalog)),
      fInvoker(std::move(invoker)),
      fTuning(std::move(tuning)) {
    if (!fSettings || !fCatalog || !fInvoker)
        throw std::invalid_argument(
            "The hosted connector needs a settings store, a catalogue and an invoker");
    if (!fSettings->loadProblem().empty()) log(fSettings->loadProblem());
    makeService(fSettings->current());
}

fs::path HostedConnectorState::logFolder() const {
    const ConnectorSettings s = fSettings->current();
    return s.fLogLocation.empty() ? fSettings->defaultLogFolder() : fs::path(s.fLogLocation);
}

connector::Config HostedConnectorState::configFor(const ConnectorSettings& s) const {
    connector::Config config = fTuning;
    config.fPort = s.fPort;
    config.fHostName = s.fHostName;
    config.fAccessMode = static_cast<connector::ClientAccessMode>(s.fAccessMode);
    config.fLogLocation =
        s.fLogLocation.empty() ? fSettings->defaultLogFolder() : fs::path(s.fLogLocation);
    config.fCertificateFolder = fSettings->certificateFolder();
    // The service lives inside this object (fService), so `this` outlives its calls.
    config.fFailureLog = [this](const std::string& line) { log(line); };
    return config;
}

void HostedConnectorState::makeService(const ConnectorSettings& s) {
    fService = std::make_unique<connector::ConnectorService>(configFor(s), fCatalog, fInvoker);
    fCertificateBound = false;
    if (!s.fToken.empty())
        fService->restoreToken(AccessToken(s.fToken, fromSeconds(s.fTokenExpiry)));
    if (s.fPrivateKey.empty() && s.fCertificate.empty()) return;
    const CertificateFiles saved{s.fPrivateKey, s.fCertificate};
    try {
        fService->changeCertificate(s.fPrivateKey, s.fCertificate, {});
        fCertificateBound = true;
    } catch (const std::exception& e) {
        if (isGenerated(saved, fSettings->certificateFolder())) {
            log(std::string("saved certificate cannot be used (") + e.what() +
                "); a new one will be generated");
            return;
        }
        // The person's own files: a start fails until they are back or replaced, so that no
        // client that trusts them meets another certificate.
        fCertificateBound = true;
        log(std::string("saved certificate cannot be used: ") + e.what());
    }
}

void HostedConnectorState::log(const std::string& text) const {
    const fs::path folder = logFolder();
    if (folder == fSettings->defaultLogFolder()) makePrivateFolders(folder);
    fLog.write(folder, text);
}

void HostedConnectorState::changeSettings(const std::function<void(ConnectorSettings&)>& change) {
    const ConnectorSettings before = fSettings->current();
    ConnectorSettings after = before;
    change(after);
    if (after == before) return;
    if (running())
        throw std::logic_error(
            "The connector's settings cannot change while it runs; stop it first");
    fSettings->update([&after](ConnectorSettings& s) {
        s.fPort = after.fPort;
        s.fLogLocation = after.fLogLocation;
        s.fHostName = after.fHostName;
        s.fAccessMode = after.fAccessMode;
    });
    fService->setConfig(configFor(fSettings->current()));
}

AccessToken HostedConnectorState::token() {
    const ConnectorSettings s = fSettings->current();
    if (!s.fToken.empty()) return fService->token();
    AccessToken token = AccessToken::issue(AccessToken::kDefaultDays);
    fSettings->update([&token](ConnectorSettings& next) {
        next.fToken = token.value();
        next.fTokenExpiry = toSeconds(token.expiry());
    });
    fService->restoreToken(token);
    log("token issued, valid until " + token.expirationDate());
    return token;
}

void HostedConnectorState::changeToken(std::uint32_t days) {
    AccessToken token = AccessToken::issue(days);
    fSettings->update([&token](ConnectorSettings& next) {
        next.fToken = token.value();
        next.fTokenExpiry = toSeconds(token.expiry());
    });
    fService->restoreToken(token);
    log("token changed, valid until " + token.expirationDate());
}

CertificateFiles HostedConnectorState::certificate() {
    if (fCertificateBound) {
        const ConnectorSettings saved = fSettings->current();
        const CertificateFiles files{saved.fPrivateKey, saved.fCertificate};
        if (filesExist(files)) {
            // Checked again: the files may have been replaced since they were chosen.
            useCertificateFiles(files);
            return files;
        }
        if (!isGenerated(files, fSettings->certificateFolder()))
            korvan::host::throwError(
                kComponent, "CertificateFileMissing",
                (fs::is_regular_file(files.fCertificate) ? files.fPrivateKey : files.fCertificate)
                    .string());
        log("certificate files " + files.fCertificate.string() + " are gone");
    }
    const CertificateFiles files =
        connector::generateCertificate(fSettings->certificateFolder(), {});
    fSettings->update([&files](ConnectorSettings& next) {
        next.fPrivateKey = files.fPrivateKey.string();
        next.fCertificate = files.fCertificate.string();
    });
    fService->changeCertificate(files.fPrivateKey, files.fCertificate, {});
    fCertificateBound = true;
    log("certificate generated: " + files.fCertificate.string());
    return files;
}

void HostedConnectorState::useCertificateFiles(const CertificateFiles& files) {
    try {
        connector::checkCertificateFiles(files);
        fService->changeCertificate(files.fPrivateKey, files.fCertificate, {});
    } catch (const connector::CertificateMismatch&) {
        korvan::host::throwError(kComponent, "CertificateKeyMismatch", files.fPrivateKey.string(),
                                 files.fCertificate.string());
    } catch (const foundation::core::except::IMsgIDException&) {
        throw;
    } catch (const std::exception& e) {
        korvan::host::throwError(kComponent, "CertificateUnusable", std::string(e.what()));
    }
}

void HostedConnectorState::changeCertificate(const std::string& privateKey,
                                             const std::string& certificate,
                                             const std::vector<std::string>& addresses) {
    CertificateFiles files;
    std::string what;
    if (privateKey.empty() && certificate.empty()) {
        for (const auto& address : addresses)
            if (!isAddressOrHostName(address))
                korvan::host::throwError(kComponent, "NotAnAddress", address);
        files = connector::generateCertificate(fSettings->certificateFolder(), addresses);
        what = "certificate changed: generated for localhost, 127.0.0.1" + joined(addresses) +
               ": " + files.fCertificate.string();
    } else if (privateKey.empty() || certificate.empty()) {
        throw std::invalid_argument(
            "changeCertificate needs both a private key file and a certificate file, or "
            "neither");
    } else {
        // Kept as absolute paths: a later process may run in another working folder.
        files = CertificateFiles{fs::absolute(privateKey), fs::absolute(certificate)};
        useCertificateFiles(files);
        what = "certificate changed: " + files.fCertificate.string() + " with key " +
               files.fPrivateKey.string();
    }
    fSettings->update([&files](ConnectorSettings& next) {
        next.fPrivateKey = files.fPrivateKey.string();
        next.fCertificate = files.fCertificate.string();
    });
    fService->changeCertificate(files.fPrivateKey, files.fCertificate, {});
    fCertificateBound = true;
    log(what);
}

void HostedConnectorState::start() {
    if (running()) return;
    try {
        token();
        certificate();
        const fs::path folder = logFolder();
        // The default folder is ours to make; a folder the person chose must exist already.
        if (folder == fSettings->defaultLogFolder()) makePrivateFolders(folder);
        // Look at the service folders again, so that a service added since the last start
        // is served without a restart of the process.
        fCatalog->refresh();
        fService->start();
    } catch (const std::exception& e) {
        log(std::string("start failed: ") + e.what());
        throw;
    }
    const connector::Config config = fService->config();
    log("started: " + fService->baseUrl() + ", " +
        (config.fAccessMode == connector::ClientAccessMode::Remote ? "remote" : "local") +
        " access");
}

void HostedConnectorState::stop(const char* why) {
    if (!running()) return;
    fService->stop();
    log(why ? std::string("stopped (") + why + ")" : std::string("stopped"));
}

void HostedConnectorState::reset() {
    if (running())
        throw std::logic_error("The connector cannot be reset while it runs; stop it first");
    const AccessToken token = AccessToken::issue(AccessToken::kDefaultDays);
    fSettings->update([&token](ConnectorSettings& next) {
        const std::int32_t hour = next.fRestartHour;  // the service host's, not ours
        next = ConnectorSettings{};
        next.fRestartHour = hour;
        next.fToken = token.value();
        next.fTokenExpiry = toSeconds(token.expiry());
    });
    makeService(fSettings->current());
    log("settings reset to the defaults; new token valid until " + token.expirationDate());
}

}  // namespace korvan::services::servicehost
