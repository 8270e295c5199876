// The listening side of one run of the connector (internal): a TLS context, an acceptor and
// the I/O threads. ConnectorService makes one per start() and drops it at stop().
//
// Threads: start() and stop() are called by the owner (ConnectorService, under its lifecycle
// lock); port() may be called from any thread once start() returned.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>

#include "ServerShared.hpp"
#include "korvan/services/connector/Certificate.hpp"

namespace korvan::services::connector::detail {

struct ServerOptions {
    boost::asio::ip::address fAddress;
    std::uint16_t fPort = 0;
    CertificateFiles fCertificate;
    std::size_t fBodyLimit = 0;
    std::chrono::milliseconds fIoTimeout{0};
    std::chrono::milliseconds fStopTimeout{0};
    unsigned fIoThreads = 1;
    /// Local mode: requests must carry a Host that names this machine (hostAllowed).
    bool fCheckHost = false;
    std::vector<std::string> fHostNames;
    std::size_t fMaxConnections = 512;
    std::size_t fMaxPerAddress = 0;  // 0: no limit per client address
};

class HttpsServer {
  public:
    HttpsServer(ServerOptions options, RequestContext context, AccessLog& log);
    ~HttpsServer();

    /// Loads the certificate, binds and listens, starts the threads. Throws std::runtime_error
    /// saying why it could not (bad certificate, port in use, permission).
    void start();
    /// Closes the listener at once, waits up to the stop time-out for requests in flight,
    /// then ends every connection and joins all threads. Idempotent.
    void stop();

    std::uint16_t port() const noexcept { return fBoundPort; }
    /// The I/O context of the server's threads (the function workers' channels run on it).
    boost::asio::io_context& io() noexcept { return fIo; }

  private:
    static constexpr std::chrono::milliseconds kAcceptBackoff{100};

    void doAccept();
    void onAccept(boost::system::error_code ec, boost::asio::ip::tcp::socket socket);

    const ServerOptions fOptions;
    boost::asio::ssl::context fTls;
    boost::asio::io_context fIo;
    // Keeps the I/O threads running after the acceptor closed; released by stop().
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> fWork;
    std::shared_ptr<ServerShared> fShared;
    // Accepting runs on this strand; stop() closes the acceptor through it.
    boost::asio::strand<boost::asio::io_context::executor_type> fAcceptStrand;
    boost::asio::ip::tcp::acceptor fAcceptor;
    // Waits before accepting again when the process is out of descriptors (accept strand).
    boost::asio::steady_timer fAcceptBackoff;
    std::vector<std::thread> fThreads;
    std::uint16_t fBoundPort = 0;
    bool fStopped = false;
};

}  // namespace korvan::services::connector::detail
