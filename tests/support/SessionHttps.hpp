// What a person's own program does against the running connector: one HTTPS request per
// connection to a given address and port, verifying the server's certificate against the
// connector's certificate file and the host name "localhost". Every step is bounded by a
// time-out, so a server that does not answer fails the request instead of hanging the test.
// Also: a free loopback port, and the machine's non-loopback IPv4 addresses.
// Compiled once in the korvan_test_support library, so that the TLS client's templates are not
// instantiated again in every test that uses it.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <boost/beast/http/verb.hpp>

#include "AttackClient.hpp"

namespace korvan::test {

namespace http = boost::beast::http;

struct Request {
    std::string fAddress = "127.0.0.1";
    std::uint16_t fPort = 0;
    http::verb fMethod = http::verb::get;
    std::string fTarget;             // e.g. "/v1/health"
    std::string fBody;               // sent as application/json when not empty
    std::string fToken;              // sent as a bearer token when not empty
    std::filesystem::path fTrusted;  // the certificate file to trust
    std::chrono::milliseconds fTimeout{5000};
};

/// One request over its own TLS connection (the reply's status and body are set); nothing when
/// any step failed (`error` says why).
std::optional<Reply> httpsRequest(const Request& request, std::string* error = nullptr);

/// True when a TCP connection to address:port is accepted within `timeout`.
bool tcpConnects(const std::string& address, std::uint16_t port, std::chrono::milliseconds timeout);

/// A loopback port that was free a moment ago.
std::uint16_t freeLoopbackPort();

/// The machine's IPv4 addresses that are up and not loopback, as text.
std::vector<std::string> nonLoopbackIpv4Addresses();

}  // namespace korvan::test
