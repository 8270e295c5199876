#include "korvan/services/connector/ConnectorService.hpp"

#include "korvan/services/connector/ServerSettings.hpp"

#include <algorithm>
#include <stdexcept>

#include <boost/asio/ip/address_v4.hpp>

#include "AvailableCores.hpp"
#include "HttpsServer.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace korvan::services::connector {

ConnectorService::ConnectorService(Config config,
                                   std::shared_ptr<const FunctionServiceCatalog> catalog,
                                   std::shared_ptr<FunctionInvoker> invoker)
    : fCatalog(std::move(catalog)), fInvoker(std::move(invoker)), fConfig(std::move(config)) {
    if (!fCatalog || !fInvoker)
        throw std::invalid_argument("The connector service needs a catalogue and an invoker");
}

ConnectorService::~ConnectorService() {
    stop();
}

void ConnectorService::start() {
    std::lock_guard lifecycle(fLifecycleLock);
    if (fServer) return;
    ensureToken();
    const CertificateFiles files = ensureCertificate();
    // The settings file is read at each start, so an edit applies from the next start.
    const Config config = readServerSettings(this->config().fServerSettingsFile, this->config());

    detail::ServerOptions options;
    options.fAddress = config.fAccessMode == ClientAccessMode::Remote
                           ? boost::asio::ip::address(boost::asio::ip::address_v4::any())
                           : boost::asio::ip::address(boost::asio::ip::address_v4::loopback());
    options.fPort = config.fPort;
    options.fCertificate = files;
    options.fBodyLimit = config.fBodyLimit;
    options.fIoTimeout = config.fIoTimeout;
    options.fStopTimeout = config.fStopTimeout;
    // More I/O threads than cores only makes them take turns.
    options.fIoThreads = std::clamp(config.fIoThreads, 1u, detail::availableCores());
    // Local mode refuses requests addressed to other names (DNS rebinding from a web page).
    options.fCheckHost = config.fAccessMode == ClientAccessMode::Local;
    options.fMaxConnections = std::max<std::size_t>(1, config.fMaxConnections);
    // On loopback every client has the same address: the per-address cap is for remote mode.
    options.fMaxPerAddress = options.fCheckHost ? 0 : config.fMaxConnectionsPerAddress;
    if (!config.fHostName.empty()) options.fHostNames.push_back(config.fHostName);

    auto log = std::make_unique<AccessLog>(config.fLogLocation, config.fFailureLog);
    RequestContext context{*fCatalog, *fInvoker,
                           [this](std::string_view token) { return checkToken(token); },
                           config.fDocsFolder};
    auto server = std::make_unique<detail::HttpsServer>(options, std::move(context), *log);
    // Calls must be servable before the first request can come in.
    fInvoker->open(server->io(), config.fLogLocation);
    try {
        server->start();  // throws with the reason
    } catch (...) {
        server->stop();
        fInvoker->close();
        throw;
    }

    std::lock_guard lock(fLock);
    fBoundPort = server->port();
    fStatus = Status::Running;
    fAccessLog = std::move(log);
    fServer = std::move(server);
}

void ConnectorService::stop() {
    std::lock_guard lifecycle(fLifecycleLock);
    if (!fServer) return;
    fServer->stop();    // requests in flight answered (or the stop time-out passed)
    fInvoker->close();  // then the calls' runners end
    fServer.reset();
    fAccessLog.reset();
    std::lock_guard lock(fLock);
    fStatus = Status::NotRunning;
    fBoundPort = 0;
}

Status ConnectorService::status() const {
    std::lock_guard lock(fLock);
    return fStatus;
}

Config ConnectorService::config() const {
    std::lock_guard lock(fLock);
    return fConfig;
}

void ConnectorService::setConfig(Config config) {
    std::lock_guard lifecycle(fLifecycleLock);
    if (fServer) throw std::logic_error("The connector's settings cannot change while it runs");
    std::lock_guard lock(fLock);
    fConfig = std::move(config);
}

std::uint16_t ConnectorService::port() const {
    std::lock_guard lock(fLock);
    return fStatus == Status::Running ? fBoundPort : fConfig.fPort;
}

std::string ConnectorService::baseUrl() const {
    const std::uint16_t p = port();
    std::lock_guard lock(fLock);
    const std::string host = fConfig.fHostName.empty() ? "localhost" : fConfig.fHostName;
    return "https://" + host + ":" + std::to_string(p) + std::string(kApiPrefix);
}

std::vector<std::string> ConnectorService::serviceNames() const {
    return fCatalog->serviceNames();
}

AccessToken ConnectorService::ensureToken() {
    std::lock_guard lock(fLock);
    if (fToken.empty()) fToken = AccessToken::issue(AccessToken::kDefaultDays);
    return fToken;
}

std::string ConnectorService::personalAccessToken() {
    return ensureToken().value();
}
std::string ConnectorService::tokenExpirationDate() {
    return ensureToken().expirationDate();
}
AccessToken ConnectorService::token() {
    return ensureToken();
}

void ConnectorService::changeToken(std::uint32_t days) {
    AccessToken token = AccessToken::issue(days);
    std::lock_guard lock(fLock);
    fToken = std::move(token);
}

void ConnectorService::restoreToken(AccessToken token) {
    std::lock_guard lock(fLock);
    fToken = std::move(token);
}

AccessToken::Check ConnectorService::checkToken(std::string_view presented) const {
    std::lock_guard lock(fLock);
    return fToken.check(presented);
}

CertificateFiles ConnectorService::ensureCertificate() {
    std::filesystem::path folder;
    {
        std::lock_guard lock(fLock);
        if (!fCertificate.fCertificate.empty()) return fCertificate;
        folder = fConfig.fCertificateFolder;
    }
    if (folder.empty())
        throw std::runtime_error(
            "Bad certificate: no certificate and no folder to generate one in");
    CertificateFiles files = generateCertificate(folder, {});
    std::lock_guard lock(fLock);
    if (fCertificate.fCertificate.empty()) fCertificate = files;
    return fCertificate;
}

void ConnectorService::changeCertificate(const std::filesystem::path& privateKey,
                                         const std::filesystem::path& certificate,
                                         const std::vector<std::string>& addresses) {
    CertificateFiles files;
    if (privateKey.empty() && certificate.empty()) {
        const auto folder = config().fCertificateFolder;
        if (folder.empty()) throw std::runtime_error("No folder to generate a certificate in");
        files = generateCertificate(folder, addresses);
    } else {
        files = CertificateFiles{privateKey, certificate};
        checkCertificateFiles(files);
    }
    std::lock_guard lock(fLock);
    fCertificate = std::move(files);
}

std::filesystem::path ConnectorService::certificate() {
    return ensureCertificate().fCertificate;
}

std::string ConnectorService::certificateExpirationDate() {
    return connector::certificateExpirationDate(ensureCertificate().fCertificate);
}

CertificateFiles ConnectorService::certificateFiles() {
    return ensureCertificate();
}

}  // namespace korvan::services::connector
