#include "AttackClient.hpp"
#include "HttpsTestClient.hpp"

#include <openssl/ssl.h>

#include <sstream>
#include <thread>
#include <utility>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/json/parse.hpp>

namespace korvan::test {

namespace beast = boost::beast;
namespace net = boost::asio;

struct Connection::Impl {
    explicit Impl(TlsOptions options)
        : fOptions(std::move(options)),
          fTls(net::ssl::context::tls_client),
          fStream(fIo, prepared()) {
        if (!fOptions.fTrusted.empty())
            fStream.set_verify_callback(net::ssl::host_name_verification(fOptions.fHostName));
        if (!fOptions.fHostName.empty())
            SSL_set_tlsext_host_name(fStream.native_handle(), fOptions.fHostName.c_str());
        fRunner = std::thread([this] { fIo.run(); });
    }
    ~Impl() {
        beast::error_code ignored;
        beast::get_lowest_layer(fStream).socket().close(ignored);
        fGuard.reset();
        fIo.stop();
        fRunner.join();
    }

    const std::string& error() const { return fError; }

    bool connect(std::uint16_t port) {
        return step([&] {
            tcp()
                .async_connect(
                    net::ip::tcp::endpoint(net::ip::make_address(fOptions.fAddress), port),
                    net::use_future)
                .get();
        });
    }

    bool handshake() {
        const bool done = step(
            [&] { fStream.async_handshake(net::ssl::stream_base::client, net::use_future).get(); });
        fSecure = done;
        return done;
    }

    /// Writes `bytes` as they are, over TLS once the handshake is done.
    bool send(std::string_view bytes) {
        return step([&] {
            if (fSecure)
                net::async_write(fStream, net::buffer(bytes), net::use_future).get();
            else
                net::async_write(tcp(), net::buffer(bytes), net::use_future).get();
        });
    }

    /// One response read with Beast's parser (TLS only).
    std::optional<http::response<http::string_body>> readResponse() {
        std::optional<http::response<http::string_body>> result;
        step([&] {
            http::response_parser<http::string_body> parser;
            parser.body_limit(256 * 1024 * 1024);
            http::async_read(fStream, fBuffer, parser, net::use_future).get();
            result = parser.release();
        });
        return result;
    }

    bool shutdown() {
        return step([&] { fStream.async_shutdown(net::use_future).get(); });
    }

    /// Reads until the server ends the connection or `limit` passes. True when it ended it
    /// (end of stream, TLS close, reset); `received` gets what came before.
    bool closedWithin(std::chrono::milliseconds limit, std::string* received) {
        tcp().expires_after(limit);
        std::string bytes(static_cast<const char*>(fBuffer.data().data()), fBuffer.size());
        fBuffer.clear();
        bool closed = false;
        for (;;) {
            char chunk[4096];
            try {
                const std::size_t n =
                    fSecure ? fStream.async_read_some(net::buffer(chunk), net::use_future).get()
                            : tcp().async_read_some(net::buffer(chunk), net::use_future).get();
                bytes.append(chunk, n);
            } catch (const boost::system::system_error& e) {
                closed = e.code() != beast::error::timeout;
                fError = e.what();
                break;
            }
        }
        if (received) *received = std::move(bytes);
        return closed;
    }

    net::ssl::context& prepared() {
        if (fOptions.fMinVersion)
            SSL_CTX_set_min_proto_version(fTls.native_handle(), fOptions.fMinVersion);
        if (fOptions.fMaxVersion)
            SSL_CTX_set_max_proto_version(fTls.native_handle(), fOptions.fMaxVersion);
        // Old protocols are refused by this library's own client at its default security
        // level; level 0 lets the client offer them, so a refusal seen is the server's.
        if (fOptions.fMaxVersion && fOptions.fMaxVersion < TLS1_2_VERSION)
            SSL_CTX_set_security_level(fTls.native_handle(), 0);
        if (!fOptions.fTls12Suites.empty())
            SSL_CTX_set_cipher_list(fTls.native_handle(), fOptions.fTls12Suites.c_str());
        if (!fOptions.fTrusted.empty()) {
            fTls.set_verify_mode(net::ssl::verify_peer);
            fTls.load_verify_file(fOptions.fTrusted.string());
        } else {
            fTls.set_verify_mode(net::ssl::verify_none);
        }
        return fTls;
    }
    beast::tcp_stream& tcp() { return beast::get_lowest_layer(fStream); }

    template <class Step>
    bool step(Step&& run) {
        tcp().expires_after(fOptions.fTimeout);
        try {
            run();
            return true;
        } catch (const std::exception& e) {
            fError = e.what();
            return false;
        }
    }

    const TlsOptions fOptions;
    net::io_context fIo;
    net::executor_work_guard<net::io_context::executor_type> fGuard = net::make_work_guard(fIo);
    net::ssl::context fTls;
    beast::ssl_stream<beast::tcp_stream> fStream;
    beast::flat_buffer fBuffer;
    bool fSecure = false;
    std::string fError;
    std::thread fRunner;  // started last, joined first
};

Connection::Connection(TlsOptions options) : fImpl(std::make_unique<Impl>(std::move(options))) {}
Connection::~Connection() = default;
const std::string& Connection::error() const {
    return fImpl->error();
}
bool Connection::connect(std::uint16_t port) {
    return fImpl->connect(port);
}
bool Connection::handshake() {
    return fImpl->handshake();
}
std::string Connection::cipher() const {
    const char* name = SSL_get_cipher_name(fImpl->fStream.native_handle());
    return name && std::string_view(name) != "(NONE)" ? name : "";
}
bool Connection::send(std::string_view bytes) {
    return fImpl->send(bytes);
}
std::optional<http::response<http::string_body>> Connection::readResponse() {
    return fImpl->readResponse();
}
bool Connection::shutdown() {
    return fImpl->shutdown();
}
bool Connection::closedWithin(std::chrono::milliseconds limit, std::string* received) {
    return fImpl->closedWithin(limit, received);
}

std::string identifierOf(const std::string& body) {
    boost::system::error_code ec;
    const auto value = boost::json::parse(body, ec);
    if (ec || !value.is_object()) return {};
    const auto* error = value.as_object().if_contains("error");
    if (!error || !error->is_object()) return {};
    const auto* id = error->as_object().if_contains("identifier");
    return id && id->is_string() ? std::string(id->as_string()) : std::string();
}

Reply exchange(std::uint16_t port, const std::string& text, TlsOptions options) {
    Reply reply;
    Connection c(std::move(options));
    if (!c.connect(port) || !c.handshake() || !c.send(text)) {
        reply.fError = c.error();
        return reply;
    }
    auto response = c.readResponse();
    if (!response) {
        reply.fError = c.error();
        return reply;
    }
    reply.fAnswered = true;
    reply.fStatus = response->result_int();
    reply.fBody = response->body();
    reply.fIdentifier = identifierOf(reply.fBody);
    reply.fHeaders = response->base();
    return reply;
}

}  // namespace korvan::test

namespace korvan::test {

std::optional<http::response<http::string_body>> httpsRequest(
    std::uint16_t port, http::request<http::string_body> request, const ClientOptions& options,
    std::string* error) {
    korvan::test::Connection c(options);
    request.set(http::field::host, options.fHostName);
    request.prepare_payload();
    std::ostringstream text;
    text << request;
    std::optional<http::response<http::string_body>> response;
    if (c.connect(port) && c.handshake() && c.send(text.str())) response = c.readResponse();
    if (!response && error) *error = c.error();
    // The server may close first; the response is what counts.
    if (response) c.shutdown();
    return response;
}

}  // namespace korvan::test
