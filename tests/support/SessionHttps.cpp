#include "SessionHttps.hpp"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
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

namespace korvan::session::test {

namespace beast = boost::beast;
namespace net = boost::asio;

std::optional<Reply> httpsRequest(const Request& request, std::string* error) {
    net::io_context io;
    auto guard = net::make_work_guard(io);
    std::thread runner([&io] { io.run(); });
    std::optional<Reply> reply;
    try {
        net::ssl::context tls(net::ssl::context::tls_client);
        tls.set_verify_mode(net::ssl::verify_peer);
        tls.load_verify_file(request.fTrusted.string());
        beast::ssl_stream<beast::tcp_stream> stream(io, tls);
        stream.set_verify_callback(net::ssl::host_name_verification("localhost"));
        SSL_set_tlsext_host_name(stream.native_handle(), "localhost");

        auto& tcp = beast::get_lowest_layer(stream);
        tcp.expires_after(request.fTimeout);
        tcp.async_connect(
               net::ip::tcp::endpoint(net::ip::make_address(request.fAddress), request.fPort),
               net::use_future)
            .get();
        tcp.expires_after(request.fTimeout);
        stream.async_handshake(net::ssl::stream_base::client, net::use_future).get();

        http::request<http::string_body> message(request.fMethod, request.fTarget, 11);
        message.set(http::field::host, "localhost");
        if (!request.fToken.empty()) {
            message.set(http::field::authorization, "Bearer " + request.fToken);
        }
        if (!request.fBody.empty()) {
            message.set(http::field::content_type, "application/json");
            message.body() = request.fBody;
        }
        message.prepare_payload();
        tcp.expires_after(request.fTimeout);
        http::async_write(stream, message, net::use_future).get();
        beast::flat_buffer buffer;
        http::response<http::string_body> response;
        tcp.expires_after(request.fTimeout);
        http::async_read(stream, buffer, response, net::use_future).get();
        reply = Reply{response.result_int(), response.body()};
        tcp.expires_after(request.fTimeout);
        try {
            stream.async_shutdown(net::use_future).get();
        } catch (const std::exception&) {
            // the server may close first; the reply is what counts
        }
    } catch (const std::exception& e) {
        if (error) *error = e.what();
    }
    guard.reset();
    io.stop();
    runner.join();
    return reply;
}

/// A port that was free on 127.0.0.1 a moment ago (bound with port 0, then released).
bool tcpConnects(const std::string& address, std::uint16_t port,
                 std::chrono::milliseconds timeout) {
    net::io_context io;
    beast::tcp_stream stream(io);
    stream.expires_after(timeout);
    bool connected = false;
    stream.async_connect(net::ip::tcp::endpoint(net::ip::make_address(address), port),
                         [&](beast::error_code ec) { connected = !ec; });
    io.run();
    return connected;
}

std::uint16_t freeLoopbackPort() {
    net::io_context io;
    net::ip::tcp::acceptor acceptor(io,
                                    net::ip::tcp::endpoint(net::ip::make_address("127.0.0.1"), 0));
    return acceptor.local_endpoint().port();
}

/// The IPv4 addresses of interfaces that are up and not loopback, as text.
std::vector<std::string> nonLoopbackIpv4Addresses() {
    std::vector<std::string> addresses;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return addresses;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        if ((entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) continue;
        const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
        if ((ntohl(address->sin_addr.s_addr) >> 24) == 127) continue;  // loopback range
        char text[INET_ADDRSTRLEN] = {};
        if (::inet_ntop(AF_INET, &address->sin_addr, text, sizeof text) != nullptr) {
            addresses.emplace_back(text);
        }
    }
    ::freeifaddrs(list);
    return addresses;
}

}  // namespace korvan::session::test
