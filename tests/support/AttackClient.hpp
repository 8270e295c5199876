// What an attacker's client does on the wire: a TCP connection to 127.0.0.1 that may or may not
// become TLS, raw bytes written as they are (malformed requests, odd Host headers, a body
// bigger than announced, bytes trickled one at a time), the response read with Beast's parser,
// and whether the server ended the connection. Every step is bounded by a time-out; a step
// that runs out fails with "timeout", it never hangs the test.
//
// Threads: one io_context per connection, run by its own thread; the test thread waits on
// futures. Not shared between threads.
// Ownership: a Connection owns its io_context, TLS context and stream (behind Impl, compiled
// once in the korvan_test_support library).
#pragma once

#include <openssl/tls1.h>  // the TLS version numbers of the options

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

namespace korvan::test {

namespace http = boost::beast::http;
using namespace std::chrono_literals;

struct TlsOptions {
    std::filesystem::path fTrusted;  // the certificate to trust; empty: no verification
    int fMinVersion = 0;             // e.g. TLS1_VERSION; 0: the library's default
    int fMaxVersion = 0;             // e.g. TLS1_1_VERSION; 0: no limit
    std::string fTls12Suites = "";   // TLS 1.2 suites offered, in order; empty: the library's
    std::chrono::milliseconds fTimeout{5000};
    std::string fAddress = "127.0.0.1";   // where to connect
    std::string fHostName = "localhost";  // sent as SNI; checked against a trusted certificate
};

class Connection {
  public:
    explicit Connection(TlsOptions options = {});
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// The message of the last step that failed.
    const std::string& error() const;

    bool connect(std::uint16_t port);
    bool handshake();
    /// The suite the handshake settled on ("" before one).
    std::string cipher() const;
    /// Writes `bytes` as they are, over TLS once the handshake is done.
    bool send(std::string_view bytes);
    /// One response read with Beast's parser (TLS only).
    std::optional<http::response<http::string_body>> readResponse();
    /// Ends TLS as a well-behaved client does (close_notify both ways); false when the server
    /// did not answer in time. The server has finished the request's work once it answered.
    bool shutdown();
    /// Reads until the server ends the connection or `limit` passes. True when it ended it
    /// (end of stream, TLS close, reset); `received` gets what came before.
    bool closedWithin(std::chrono::milliseconds limit, std::string* received = nullptr);

  private:
    struct Impl;
    std::unique_ptr<Impl> fImpl;
};

/// Request text as a client would write it; `host` empty leaves the Host header out.
inline std::string requestText(std::string_view method, std::string_view target,
                               std::string_view host = "localhost", std::string_view token = {},
                               std::string_view body = {},
                               const std::vector<std::string>& extraHeaders = {}) {
    std::string text = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\n";
    if (!host.empty()) text += "Host: " + std::string(host) + "\r\n";
    if (!token.empty()) text += "Authorization: Bearer " + std::string(token) + "\r\n";
    for (const auto& h : extraHeaders) text += h + "\r\n";
    if (!body.empty() || method == "POST") {
        text += "Content-Type: application/json\r\n";
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    text += "Connection: close\r\n\r\n";
    text += body;
    return text;
}

/// The outcome of one request over its own TLS connection.
struct Reply {
    bool fAnswered = false;
    unsigned fStatus = 0;
    std::string fBody;
    std::string fIdentifier;  // error.identifier of a JSON error body
    http::fields fHeaders;
    std::string fError;  // the failing step's message when not answered
};

/// The "error.identifier" of a JSON error body, or "".
std::string identifierOf(const std::string& body);

/// One request over its own TLS connection.
Reply exchange(std::uint16_t port, const std::string& text, TlsOptions options = {});

}  // namespace korvan::test
