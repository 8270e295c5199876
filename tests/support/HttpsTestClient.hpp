// A small HTTPS client for the tests: verifies the server's certificate against a given file
// and the host name "localhost", sends one request per connection, and bounds every step with a
// time-out (a step that does not finish in time fails the request, it never hangs the test).
// Compiled once in the korvan_test_support library (see SessionHttps.hpp).
#pragma once

#include <openssl/tls1.h>  // the TLS version numbers of the options

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

namespace korvan::services::connector::test {

namespace http = boost::beast::http;

struct ClientOptions {
    std::string fAddress = "127.0.0.1";  // where to connect
    std::filesystem::path fTrusted;      // certificate file to trust; empty: trust nothing
    std::string fHostName = "localhost";
    int fMaxTlsVersion = 0;  // e.g. TLS1_1_VERSION to try an old protocol; 0: no limit
    std::chrono::milliseconds fTimeout{10000};
};

/// Sends `request` to fAddress:port over a new TLS connection (Host set, payload prepared)
/// and reads one response; nothing when any step failed (`error` says why).
std::optional<http::response<http::string_body>> httpsRequest(
    std::uint16_t port, http::request<http::string_body> request, const ClientOptions& options,
    std::string* error = nullptr);

}  // namespace korvan::services::connector::test
