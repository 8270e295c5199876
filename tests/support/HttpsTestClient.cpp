#include "HttpsTestClient.hpp"

#include <openssl/ssl.h>

#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

namespace korvan::services::connector::test {

namespace beast = boost::beast;
namespace net = boost::asio;

std::optional<http::response<http::string_body>> httpsRequest(
    std::uint16_t port, http::request<http::string_body> request, const ClientOptions& options,
    std::string* error) {
    net::io_context io;
    auto guard = net::make_work_guard(io);
    std::thread runner([&io] { io.run(); });
    std::optional<http::response<http::string_body>> result;
    try {
        net::ssl::context tls(net::ssl::context::tls_client);
        if (options.fMaxTlsVersion)
            SSL_CTX_set_max_proto_version(tls.native_handle(), options.fMaxTlsVersion);
        if (options.fMaxTlsVersion && options.fMaxTlsVersion < TLS1_2_VERSION)
            SSL_CTX_set_security_level(tls.native_handle(), 0);
        tls.set_verify_mode(net::ssl::verify_peer);
        if (!options.fTrusted.empty()) tls.load_verify_file(options.fTrusted.string());
        beast::ssl_stream<beast::tcp_stream> stream(io, tls);
        stream.set_verify_callback(net::ssl::host_name_verification(options.fHostName));
        SSL_set_tlsext_host_name(stream.native_handle(), options.fHostName.c_str());

        auto& tcp = beast::get_lowest_layer(stream);
        tcp.expires_after(options.fTimeout);
        tcp.async_connect(net::ip::tcp::endpoint(net::ip::make_address(options.fAddress), port),
                          net::use_future)
            .get();
        tcp.expires_after(options.fTimeout);
        stream.async_handshake(net::ssl::stream_base::client, net::use_future).get();
        request.set(http::field::host, options.fHostName);
        request.prepare_payload();
        tcp.expires_after(options.fTimeout);
        http::async_write(stream, request, net::use_future).get();
        beast::flat_buffer buffer;
        http::response<http::string_body> response;
        tcp.expires_after(options.fTimeout);
        http::async_read(stream, buffer, response, net::use_future).get();
        result = std::move(response);
        tcp.expires_after(options.fTimeout);
        try {
            stream.async_shutdown(net::use_future).get();
        } catch (const std::exception&) {
            // the server may close first; the response is what counts
        }
    } catch (const std::exception& e) {
        if (error) *error = e.what();
    }
    guard.reset();
    io.stop();
    runner.join();
    return result;
}

}  // namespace korvan::services::connector::test
