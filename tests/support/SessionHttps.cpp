#include "SessionHttps.hpp"

#include "HttpsTestClient.hpp"

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

namespace korvan::test {

namespace beast = boost::beast;
namespace net = boost::asio;

std::optional<Reply> httpsRequest(const Request& request, std::string* error) {
    http::request<http::string_body> message(request.fMethod, request.fTarget, 11);
    if (!request.fToken.empty()) {
        message.set(http::field::authorization, "Bearer " + request.fToken);
    }
    if (!request.fBody.empty()) {
        message.set(http::field::content_type, "application/json");
        message.body() = request.fBody;
    }
    korvan::test::ClientOptions options;
    options.fAddress = request.fAddress;
    options.fTrusted = request.fTrusted;
    options.fTimeout = request.fTimeout;
    auto response = korvan::test::httpsRequest(request.fPort, std::move(message), options, error);
    if (!response) return std::nullopt;
    Reply reply;
    reply.fAnswered = true;
    reply.fStatus = response->result_int();
    reply.fBody = response->body();
    return reply;
}

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

}  // namespace korvan::test
