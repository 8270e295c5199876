// The tests' HTTPS requests of a well-behaved client: one request over its own verified TLS
// connection (the certificate trusted, the host name checked), every step bounded by a time-out.
// Built on the attack client's Connection (AttackClient.hpp): one TLS client for all tests.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>

#include "AttackClient.hpp"

namespace korvan::test {

namespace http = boost::beast::http;
using ClientOptions = korvan::test::TlsOptions;

/// Sends `request` to fAddress:port over a new TLS connection (Host set, payload prepared)
/// and reads one response; nothing when any step failed (`error` says why).
std::optional<http::response<http::string_body>> httpsRequest(
    std::uint16_t port, http::request<http::string_body> request, const ClientOptions& options,
    std::string* error = nullptr);

}  // namespace korvan::test
