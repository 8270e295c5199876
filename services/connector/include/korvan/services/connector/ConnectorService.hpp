// The REST function connector service: an HTTPS server (TLS 1.2 or newer) that lets callers
// with the personal access token list the function services and call their functions, which
// run in function workers (WorkerInvoker). See docs/services/connector-service.md.
//
//   ConnectorService service(config, catalog, std::make_shared<WorkerInvoker>(options));
//   service.start();                    // throws std::runtime_error saying why it could not
//   service.baseUrl();                  // "https://localhost:9920/v1"
//   service.personalAccessToken();      // 64 hex characters, valid 30 days from first use
//   service.stop();
//
// Owns: its settings, the current token, the certificate file paths and, while running, the
// server (listener, I/O threads). Shares: the catalogue and the invoker.
//
// Threads: every operation may be called from any thread. fLifecycleLock serialises start,
// stop and setConfig (held across a start or stop, which may take up to the stop time-out);
// fLock guards the members marked below and is held only briefly, never while calling out.
// The server's threads read the token through checkToken() (under fLock).
//
// State on failure: a failed start leaves the service not running with its settings as they
// were (a certificate generated on the way stays, for the next start).
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "korvan/services/connector/AccessLog.hpp"
#include "korvan/services/connector/AccessToken.hpp"
#include "korvan/services/connector/Certificate.hpp"
#include "korvan/services/connector/Export.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"

namespace korvan::services::connector {

namespace detail {
class HttpsServer;
}

enum class ClientAccessMode : std::int32_t { Local = 0, Remote = 1 };
enum class Status : std::int32_t { NotRunning = 0, Running = 1 };

inline constexpr std::uint16_t kDefaultPort = 9920;

struct Config {
    /// 0 picks a free port at start (tests); port() then tells which.
    std::uint16_t fPort = kDefaultPort;
    /// Host name in BaseUrl; empty means "localhost". Does not change what is bound.
    std::string fHostName;
    /// Local binds 127.0.0.1 only; Remote binds all IPv4 interfaces.
    ClientAccessMode fAccessMode = ClientAccessMode::Local;
    /// Folder of access.log; empty: no access log.
    std::filesystem::path fLogLocation;
    /// Folder where a generated certificate and key are written.
    std::filesystem::path fCertificateFolder;
    /// Largest body of an authorised request; a large matrix argument must fit (a 1000x1000
    /// double matrix is about 20 MB of JSON).
    std::size_t fBodyLimit = 64 * 1024 * 1024;
    /// Time-out of each network step (handshake, read, write).
    std::chrono::milliseconds fIoTimeout{30000};
    /// How long stop() lets requests in flight finish.
    std::chrono::milliseconds fStopTimeout{5000};
    unsigned fIoThreads = 2;
    /// Open connections at most; beyond it a new connection is closed at once, unread. The
    /// default fits a workstation's usual limit of 1,024 descriptors with room for the
    /// function workers and log files.
    std::size_t fMaxConnections = 512;
    /// Remote mode: open connections from one client address at most (0: no limit).
    std::size_t fMaxConnectionsPerAddress = 64;
    /// The files of the page to try functions (GET /v1/docs): index.html, docs.js, docs.css
    /// and the OpenAPI UI's swagger-ui-bundle.js and swagger-ui.css. Empty: no page.
    std::filesystem::path fDocsFolder;
    /// Where the lines about failed calls go (the connector log; see AccessLog.hpp); empty:
    /// only access.log has them.
    FailureSink fFailureLog;
    /// server.json, read at each start over these values (ServerSettings.hpp); empty: none.
    std::filesystem::path fServerSettingsFile;
};

class KORVAN_CONNECTOR_SERVICE_EXPORT ConnectorService {
  public:
    ConnectorService(Config config, std::shared_ptr<const FunctionServiceCatalog> catalog,
                     std::shared_ptr<FunctionInvoker> invoker);
    ~ConnectorService();  // stops
    ConnectorService(const ConnectorService&) = delete;
    ConnectorService& operator=(const ConnectorService&) = delete;

    /// Starts listening; a second start while running does nothing. Issues a token and
    /// generates a certificate first when there is none yet, and opens the invoker (the
    /// function workers). Throws std::runtime_error with the reason (port in use, permission,
    /// bad certificate, log folder, worker settings, workers that do not start).
    void start();
    /// Closes the listener at once, lets requests in flight finish (Config::fStopTimeout),
    /// then closes the invoker (every function worker ends).
    void stop();
    Status status() const;

    Config config() const;
    /// Replaces the settings; std::logic_error while running.
    void setConfig(Config config);

    /// The bound port while running (the configured one otherwise).
    std::uint16_t port() const;
    /// "https://<HostName or localhost>:<port>/v1".
    std::string baseUrl() const;
    std::vector<std::string> serviceNames() const;

    /// The token; a 30-day token is issued on first use.
    std::string personalAccessToken();
    /// "dd-MMM-yyyy"; issues the token on first use like personalAccessToken().
    std::string tokenExpirationDate();
    AccessToken token();
    /// Issues a new token valid `days` days (1..365, else std::invalid_argument); the old one
    /// stops working at once, also while running.
    void changeToken(std::uint32_t days);
    /// Puts back a token kept in saved settings.
    void restoreToken(AccessToken token);
    /// The server's token check (constant time; expired tokens refused).
    AccessToken::Check checkToken(std::string_view presented) const;

    /// Both paths empty: generates a new key and certificate for localhost, 127.0.0.1 and
    /// `addresses`. Otherwise adopts the user's files after checking that they belong
    /// together (std::runtime_error if not). Used from the next start on.
    void changeCertificate(const std::filesystem::path& privateKey,
                           const std::filesystem::path& certificate,
                           const std::vector<std::string>& addresses);
    /// The certificate file's path; generates a certificate on first use.
    std::filesystem::path certificate();
    /// "dd-MMM-yyyy" of the certificate; generates one on first use.
    std::string certificateExpirationDate();
    CertificateFiles certificateFiles();

  private:
    CertificateFiles ensureCertificate();  // takes fLock itself
    AccessToken ensureToken();             // takes fLock itself

    // Constant after construction.
    const std::shared_ptr<const FunctionServiceCatalog> fCatalog;
    const std::shared_ptr<FunctionInvoker> fInvoker;

    std::mutex fLifecycleLock;  // serialises start, stop and setConfig; taken before fLock
    std::unique_ptr<AccessLog> fAccessLog;         // guarded by fLifecycleLock
    std::unique_ptr<detail::HttpsServer> fServer;  // guarded by fLifecycleLock

    mutable std::mutex fLock;
    Config fConfig;                       // guarded by fLock
    AccessToken fToken;                   // guarded by fLock
    CertificateFiles fCertificate;        // guarded by fLock; empty paths until first use
    Status fStatus = Status::NotRunning;  // guarded by fLock
    std::uint16_t fBoundPort = 0;         // guarded by fLock
};

}  // namespace korvan::services::connector
