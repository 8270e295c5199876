// The connector's REST interface as pure functions from request to response: no sockets, no
// threads of its own. The HTTPS sessions call them; tests call them directly.
//
// Routes (under the fixed API prefix kApiPrefix, so BaseUrl is https://<host>:<port>/v1):
//   GET  /v1/health                        no token; {"status":"ok"}
//   GET  /v1/openapi.json                  the OpenAPI 3.1 document (OpenApi.hpp)
//   GET  /v1/docs, /v1/docs/<file>         no token; the page to try functions (DocsPage.hpp)
//   GET  /v1/services                      {"services":[{"name":..,"functions":[..],
//                                           "workers":{..}},..]} ("workers" when calls run
//                                           in function workers: their settings)
//   GET  /v1/services/<service>            {"name":..,"functions":[..],"functionDetails":[..]}
//   GET  /v1/services/<service>/<function> its metadata: inputs, outputs, summary, description
//   POST /v1/services/<service>/<function> body {"args":[..],"nargout":N} -> {"results":[..]}
// Every route but health needs "Authorization: Bearer <token>"; the query part of a URL is
// never read, so a token there is not accepted. Errors are
// {"error":{"identifier":"...","message":"..."}} with the statuses listed in ErrorIds below.
//
// Threads: routeRequest may run on several threads at once; it only reads `context` and never
// waits. The HTTPS server routes, then starts the call with FunctionInvoker::start and answers
// with callResponse when it settles.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/status.hpp>
#include <boost/beast/http/string_body.hpp>

#include "korvan/services/connector/AccessToken.hpp"
#include "korvan/services/connector/Export.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"

namespace korvan::services::connector {

namespace http = boost::beast::http;
using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;

/// The header of every answer that names its request (the same identifier is in the access
/// log, and in the connector log when the request failed).
inline constexpr const char* kRequestIdField = "X-Request-Id";

inline constexpr std::string_view kApiPrefix = "/v1";

/// Identifiers of the errors the service itself reports.
namespace errorid {
inline constexpr const char* kBadRequest = "KORVAN:connector:BadRequest";              // 400
inline constexpr const char* kInvalidJson = "KORVAN:connector:InvalidJson";            // 400
inline constexpr const char* kInvalidRequest = "KORVAN:connector:InvalidRequest";      // 400
inline constexpr const char* kInvalidArguments = "KORVAN:connector:InvalidArguments";  // 400
inline constexpr const char* kMissingToken = "KORVAN:connector:MissingToken";          // 401
inline constexpr const char* kInvalidToken = "KORVAN:connector:InvalidToken";          // 401
inline constexpr const char* kTokenExpired = "KORVAN:connector:TokenExpired";          // 401
inline constexpr const char* kNotFound = "KORVAN:connector:NotFound";                  // 404
inline constexpr const char* kUnknownService = "KORVAN:connector:UnknownService";      // 404
inline constexpr const char* kUnknownFunction = "KORVAN:connector:UnknownFunction";    // 404
inline constexpr const char* kMethodNotAllowed = "KORVAN:connector:MethodNotAllowed";  // 405
inline constexpr const char* kBodyTooLarge = "KORVAN:connector:BodyTooLarge";          // 413
inline constexpr const char* kHostNotAllowed = "KORVAN:connector:HostNotAllowed";      // 421
inline constexpr const char* kHeaderTooLarge = "KORVAN:connector:HeaderTooLarge";      // 431
inline constexpr const char* kFunctionError = "KORVAN:connector:FunctionError";        // 500
inline constexpr const char* kInvalidResult = "KORVAN:connector:InvalidResult";        // 500
inline constexpr const char* kWorkerCrashed = "KORVAN:connector:WorkerCrashed";        // 500
inline constexpr const char* kOutOfMemory = "KORVAN:connector:OutOfMemory";            // 500
inline constexpr const char* kQueueFull = "KORVAN:connector:QueueFull";                // 503
inline constexpr const char* kTimedOut = "KORVAN:connector:TimedOut";                  // 503
inline constexpr const char* kUnavailable = "KORVAN:connector:Unavailable";            // 503
}  // namespace errorid

/// What a request may use. The references must outlive every request routed with it.
struct RequestContext {
    const FunctionServiceCatalog& fCatalog;
    FunctionInvoker& fInvoker;
    /// Checks a presented token (AccessToken::check against the current token).
    std::function<AccessToken::Check(std::string_view)> fCheckToken;
    /// Where the page to try functions is (Config::fDocsFolder); empty: no page.
    std::filesystem::path fDocsFolder = {};
};

/// {"error":{"identifier":..,"message":..}}.
KORVAN_CONNECTOR_SERVICE_EXPORT foundation::json::Value errorBody(std::string_view identifier,
                                                                  std::string_view message);

/// A response whose body is the JSON text `body`, as it stands.
Response jsonTextResponse(http::status status, std::string body, unsigned version, bool keepAlive);

/// A JSON response with the request's HTTP version and keep-alive choice.
Response jsonResponse(http::status status, const foundation::json::Value& body, unsigned version,
                      bool keepAlive);

/// What a request needs: its answer, found at once (health, listings, every refusal), or the
/// function call whose outcome is the answer (a POST naming a function, with a valid body).
KORVAN_CONNECTOR_SERVICE_EXPORT std::variant<Response, FunctionCall> routeRequest(
    const Request& request, const RequestContext& context);

/// The answer to a request from its header alone (its body not read): every refusal (route,
/// method, token) and every answer that needs no body; nothing for a call whose header passed
/// every check, whose body is then read and handed to routeRequest.
std::optional<Response> answerFromHeader(const Request& header, const RequestContext& context);

/// The answer to `request` from the outcome of its call.
KORVAN_CONNECTOR_SERVICE_EXPORT Response callResponse(const Request& request, CallOutcome outcome);

/// Whether a Host header value names this machine the way a local-mode connector may be
/// addressed: localhost, 127.0.0.1, [::1] or one of `hostNames` (the configured HostName),
/// each with or without a port; names compare without regard to case. Anything else, an empty
/// Host included, is refused: a web page whose own name was made to resolve to 127.0.0.1
/// (DNS rebinding) sends its own name here.
bool hostAllowed(std::string_view host, const std::vector<std::string>& hostNames) noexcept;

/// The 421 answer (kHostNotAllowed) to a request whose Host is not allowed; closes the
/// connection.
Response hostNotAllowed(const Request& request);

/// The path of a request target without its query ("/v1/a?x=1" -> "/v1/a"); what the access
/// log records.
KORVAN_CONNECTOR_SERVICE_EXPORT std::string_view targetPath(std::string_view target) noexcept;

}  // namespace korvan::services::connector
