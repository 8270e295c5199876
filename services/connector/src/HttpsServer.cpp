#include "HttpsServer.hpp"

#include <openssl/ssl.h>

#include <future>
#include <stdexcept>

#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>

#include "Session.hpp"

namespace korvan::services::connector::detail {

namespace {
constexpr const char* kTls12Suites =
    "ECDHE-ECDSA-AES128-GCM-SHA256:ECDHE-ECDSA-CHACHA20-POLY1305:ECDHE-ECDSA-AES256-GCM-SHA384:"
    "ECDHE-RSA-AES128-GCM-SHA256:ECDHE-RSA-CHACHA20-POLY1305:ECDHE-RSA-AES256-GCM-SHA384";
}  // namespace

namespace net = boost::asio;
using net::ip::tcp;

HttpsServer::HttpsServer(ServerOptions options, RequestContext context, AccessLog& log)
    : fOptions(std::move(options)),
      fTls(net::ssl::context::tls_server),
      fIo(static_cast<int>(fOptions.fIoThreads)),
      fWork(boost::asio::make_work_guard(fIo)),
      fShared(std::make_shared<ServerShared>(
          std::move(context), log, fOptions.fBodyLimit, fOptions.fIoTimeout, fOptions.fCheckHost,
          fOptions.fHostNames, fOptions.fMaxConnections, fOptions.fMaxPerAddress, fIo)),
      fAcceptStrand(net::make_strand(fIo)),
      fAcceptor(fAcceptStrand),
      fAcceptBackoff(fAcceptStrand) {}

HttpsServer::~HttpsServer() {
    stop();
}

void HttpsServer::start() {
    try {
        checkCertificateFiles(fOptions.fCertificate);
    } catch (const std::exception& e) {
        throw std::runtime_error(std::string("Bad certificate: ") + e.what());
    }
    // TLS 1.2 or newer only.
    fTls.set_options(net::ssl::context::default_workarounds | net::ssl::context::no_sslv2 |
                     net::ssl::context::no_sslv3 | net::ssl::context::no_tlsv1 |
                     net::ssl::context::no_tlsv1_1 | net::ssl::context::single_dh_use);
    SSL_CTX_set_min_proto_version(fTls.native_handle(), TLS1_2_VERSION);
    // TLS 1.2: only AEAD suites with forward secrecy (ECDHE), for EC keys (the generated
    // certificate) and RSA keys (a person's own), chosen in this order by the server, not by the
    // client. TLS 1.3 offers nothing else anyway.
    if (SSL_CTX_set_cipher_list(fTls.native_handle(), kTls12Suites) != 1)
        throw std::runtime_error("The TLS library accepts none of the connector's TLS 1.2 suites");
    SSL_CTX_set_options(fTls.native_handle(), SSL_OP_CIPHER_SERVER_PREFERENCE);
    // An idle connection gives its read and write buffers (about 34 KiB) back, so that many
    // kept-alive connections cost little memory.
    SSL_CTX_set_mode(fTls.native_handle(), SSL_MODE_RELEASE_BUFFERS);
    // Read what the socket has in one go instead of a record header and then its body: one
    // recv per request instead of two.
    SSL_CTX_set_read_ahead(fTls.native_handle(), 1);
    boost::system::error_code ec;
    fTls.use_certificate_chain_file(fOptions.fCertificate.fCertificate.string(), ec);
    if (!ec)
        fTls.use_private_key_file(fOptions.fCertificate.fPrivateKey.string(),
                                  net::ssl::context::pem, ec);
    if (ec) throw std::runtime_error("Bad certificate: " + ec.message());

    const tcp::endpoint endpoint(fOptions.fAddress, fOptions.fPort);
    const std::string where =
        fOptions.fAddress.to_string() + " port " + std::to_string(fOptions.fPort);
    if (fAcceptor.open(endpoint.protocol(), ec); ec)
        throw std::runtime_error("Cannot open a socket: " + ec.message());
    fAcceptor.set_option(net::socket_base::reuse_address(true), ec);
    if (fAcceptor.bind(endpoint, ec); ec) {
        fAcceptor.close();
        if (ec == net::error::address_in_use)
            throw std::runtime_error("Cannot listen on " + where + ": the port is in use");
        if (ec == net::error::access_denied)
            throw std::runtime_error("Cannot listen on " + where + ": permission denied");
        throw std::runtime_error("Cannot listen on " + where + ": " + ec.message());
    }
    if (fAcceptor.listen(net::socket_base::max_listen_connections, ec); ec) {
        fAcceptor.close();
        throw std::runtime_error("Cannot listen on " + where + ": " + ec.message());
    }
    fBoundPort = fAcceptor.local_endpoint().port();

    net::post(fAcceptStrand, [this] { doAccept(); });
    for (unsigned i = 0; i < std::max(1u, fOptions.fIoThreads); ++i)
        fThreads.emplace_back([this] { fIo.run(); });
}

void HttpsServer::doAccept() {
    fAcceptor.async_accept(net::make_strand(fIo),
                           boost::beast::bind_front_handler(&HttpsServer::onAccept, this));
}

void HttpsServer::onAccept(boost::system::error_code ec, tcp::socket socket) {
    if (!fAcceptor.is_open()) return;  // closed by stop()
    if (ec == net::error::no_descriptors ||
        ec == boost::system::errc::too_many_files_open_in_system || ec == net::error::no_memory ||
        ec == net::error::no_buffer_space) {
        // Out of descriptors: the waiting connection stays in the backlog and accepting again at
        // once would fail at once, in a loop. Try again shortly; sessions ending free some.
        fAcceptBackoff.expires_after(kAcceptBackoff);
        fAcceptBackoff.async_wait([this](boost::system::error_code waitEc) {
            if (!waitEc && fAcceptor.is_open()) doAccept();
        });
        return;
    }
    if (!ec) {
        boost::system::error_code peerEc;
        const auto peer = socket.remote_endpoint(peerEc);
        const std::string address = peerEc ? std::string("-") : peer.address().to_string();
        if (fShared->admit(address))
            std::make_shared<Session>(std::move(socket), fTls, fShared, address)->run();
        else
            socket.close(peerEc);  // over a cap: closed at once, nothing read
    }
    // A failed accept (a peer that left) does not end the listener.
    doAccept();
}

void HttpsServer::stop() {
    if (fStopped) return;
    fStopped = true;
    if (!fThreads.empty()) {
        // 1. No new connections, at once.
        auto closed = std::make_shared<std::promise<void>>();
        auto closedFuture = closed->get_future();
        net::post(fAcceptStrand, [this, closed] {
            boost::system::error_code ignored;
            fAcceptor.close(ignored);
            fAcceptBackoff.cancel();
            closed->set_value();
        });
        closedFuture.wait_for(fOptions.fStopTimeout);
        // 2. Requests in flight get until the stop time-out to be answered.
        {
            std::unique_lock lock(fShared->fInFlightLock);
            fShared->fInFlightDone.wait_for(lock, fOptions.fStopTimeout,
                                            [this] { return fShared->fInFlight == 0; });
        }
    }
    // 3. Every connection ends. Calls still queued for the interpreter or running there settle
    //    into nothing: their answers are no longer handed to the I/O threads.
    fShared->closeIo();
    fWork.reset();
    fIo.stop();
    for (auto& t : fThreads) t.join();
    fThreads.clear();
    boost::system::error_code ignored;
    fAcceptor.close(ignored);
}

}  // namespace korvan::services::connector::detail
