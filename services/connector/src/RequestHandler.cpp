#include "korvan/services/connector/RequestHandler.hpp"

#include "DocsPage.hpp"
#include "OpenApi.hpp"

#include <cmath>
#include <optional>
#include <variant>
#include <vector>

#include <boost/beast/http/field.hpp>
#include <boost/beast/http/verb.hpp>

#include "DuplicateKeys.hpp"
#include "foundation/json/Parser.hpp"
#include "korvan/services/connector/JsonValues.hpp"

namespace korvan::services::connector {
namespace {

using foundation::json::Array;
using foundation::json::Value;

struct Reply {
    http::status fStatus;
    Value fBody;
    const char* fAllow = nullptr;                          // for 405
    const char* fAuthenticate = nullptr;                   // for 401
    std::optional<detail::PageFile> fFile = std::nullopt;  // a file of the page, not fBody
};

Reply error(http::status status, std::string_view id, std::string_view message) {
    return {status, errorBody(id, message)};
}

Reply methodNotAllowed(const char* allow) {
    Reply r = error(http::status::method_not_allowed, errorid::kMethodNotAllowed,
                    std::string("Allowed: ") + allow);
    r.fAllow = allow;
    return r;
}

std::vector<std::string_view> segments(std::string_view path) {
    std::vector<std::string_view> parts;
    while (!path.empty()) {
        const auto slash = path.find('/');
        parts.push_back(path.substr(0, slash));
        if (slash == std::string_view::npos) break;
        path.remove_prefix(slash + 1);
    }
    return parts;
}

// A name taken from the request target, as an error message quotes it: bytes outside printable
// ASCII become '?', so the answer stays valid JSON (UTF-8) and carries no control characters.
std::string printableQuoted(std::string_view name) {
    std::string out = "\"";
    for (const char c : name) out += c >= 0x20 && c < 0x7f ? c : '?';
    return out + "\"";
}

Reply unknownService(std::string_view service) {
    return error(http::status::not_found, errorid::kUnknownService,
                 "No function service " + printableQuoted(service));
}

Value namesOf(const std::vector<std::string>& names) {
    Array list;
    for (const auto& n : names) list.push_back(Value(n));
    return Value(std::move(list));
}

// {"name", "inputs", "outputs", "summary", "description"} of one function.
Value functionEntry(std::string_view name, const FunctionMetadata& meta) {
    Value entry;
    entry.set("name", Value(name));
    entry.set("inputs", namesOf(meta.fInputs));
    entry.set("outputs", namesOf(meta.fOutputs));
    entry.set("summary", Value(meta.fSummary));
    entry.set("description", Value(meta.fDescription));
    return entry;
}

Value serviceEntry(const std::string& name, const std::vector<std::string>& functions) {
    Value entry;
    entry.set("name", Value(name));
    entry.set("functions", namesOf(functions));
    return entry;
}

std::optional<Reply> checkAuthorization(const Request& request, const RequestContext& context) {
    const auto header = request.find(http::field::authorization);
    std::string_view token;
    if (header != request.end()) token = bearerToken(header->value());
    if (token.empty()) {
        Reply r = error(http::status::unauthorized, errorid::kMissingToken,
                        "The request needs the header \"Authorization: Bearer <token>\"");
        r.fAuthenticate = "Bearer";
        return r;
    }
    switch (context.fCheckToken(token)) {
        case AccessToken::Check::Accepted:
            return std::nullopt;
        case AccessToken::Check::Expired: {
            Reply r = error(http::status::unauthorized, errorid::kTokenExpired,
                            "The personal access token has expired");
            r.fAuthenticate = "Bearer error=\"invalid_token\"";
            return r;
        }
        default: {
            Reply r = error(http::status::unauthorized, errorid::kInvalidToken,
                            "The personal access token is not valid");
            r.fAuthenticate = "Bearer error=\"invalid_token\"";
            return r;
        }
    }
}

// The call a POST asks for, or the refusal of its body.
std::variant<Reply, FunctionCall> prepareCall(const Request& request,
                                              korvan::host::Function function,
                                              std::string_view service, std::string_view name) {
    Value body;
    std::optional<std::string> rewritten;
    try {
        body = foundation::json::parse(request.body());
    } catch (const foundation::json::ParserException& e) {
        // Python's json writes NaN and infinities as bare words.
        rewritten = withNonFiniteEnvelopes(request.body());
        if (!rewritten) return error(http::status::bad_request, errorid::kInvalidJson, e.what());
        try {
            body = foundation::json::parse(*rewritten);
        } catch (const foundation::json::ParserException&) {
            return error(http::status::bad_request, errorid::kInvalidJson, e.what());
        }
    }
    if (auto key = detail::duplicateKey(rewritten ? *rewritten : request.body()))
        return error(http::status::bad_request, errorid::kInvalidJson,
                     "The key " + printableQuoted(*key) + " appears twice in one object");
    if (!body.isObject())
        return error(http::status::bad_request, errorid::kInvalidRequest,
                     "The body must be a JSON object {\"args\": [...], \"nargout\": N}");
    // Moved out, not copied: a large matrix argument is a million values.
    Value args = Value(Array{});
    if (auto it = body.asObject().find("args"); it != body.asObject().end())
        args = std::move(it->second);
    // An array passes arguments by position, an object by the function's input names (the
    // worker binds them).
    if (!args.isArray() && !args.isObject())
        return error(http::status::bad_request, errorid::kInvalidRequest,
                     "\"args\" must be an array (by position) or an object (by name)");
    int nargout = 1;
    const Value& n = body["nargout"];
    if (!n.isUndefined()) {
        const double d = n.isNumber() ? n.asNumber() : -1.0;
        if (!(d >= 0 && d <= kMaxNargout && d == std::floor(d)))
            return error(
                http::status::bad_request, errorid::kInvalidRequest,
                "\"nargout\" must be a whole number from 0 to " + std::to_string(kMaxNargout));
        nargout = static_cast<int>(d);
    }
    return FunctionCall{std::move(function), std::move(args), nargout, std::string(service),
                        std::string(name)};
}

// Marks a request whose header passed every check: only its body is left to read.
struct BodyNeeded {};

// With `headerOnly`, a call that passes the checks its header allows ends in BodyNeeded
// instead of reading its body.
std::variant<Reply, FunctionCall, BodyNeeded> route(const Request& request,
                                                    const RequestContext& context,
                                                    bool headerOnly) {
    const std::string_view path = targetPath(request.target());
    if (path.substr(0, kApiPrefix.size()) != kApiPrefix ||
        (path.size() > kApiPrefix.size() && path[kApiPrefix.size()] != '/'))
        return error(http::status::not_found, errorid::kNotFound, "No such resource");
    const auto parts = segments(path.substr(std::min(path.size(), kApiPrefix.size() + 1)));
    const auto method = request.method();
    const bool isGet = method == http::verb::get;

    if (parts.size() == 1 && parts[0] == "health") {
        if (!isGet) return methodNotAllowed("GET");
        Value body;
        body.set("status", Value("ok"));
        return Reply{http::status::ok, std::move(body)};
    }
    // The page to try functions loads before the person has entered the token.
    if (!parts.empty() && parts[0] == "docs" && parts.size() <= 2) {
        if (!isGet) return methodNotAllowed("GET");
        auto file =
            detail::readPageFile(context.fDocsFolder, parts.size() == 1 ? "index.html" : parts[1]);
        if (!file)
            return error(http::status::not_found, errorid::kNotFound,
                         parts.size() == 1 ? "The page to try functions is not installed with "
                                             "this connector"
                                           : "No such file of the page");
        Reply r{http::status::ok, Value()};
        r.fFile = std::move(*file);
        return r;
    }
    if (auto refused = checkAuthorization(request, context)) return std::move(*refused);

    if (parts.size() == 1 && parts[0] == "openapi.json") {
        if (!isGet) return methodNotAllowed("GET");
        return Reply{http::status::ok, detail::openApiDocument(context.fCatalog)};
    }
    if (parts.empty() || parts[0] != "services" || parts.size() > 3)
        return error(http::status::not_found, errorid::kNotFound, "No such resource");
    if (parts.size() == 1) {
        if (!isGet) return methodNotAllowed("GET");
        Array services;
        for (const auto& name : context.fCatalog.serviceNames()) {
            Value entry = serviceEntry(
                name, context.fCatalog.functionNames(name).value_or(std::vector<std::string>{}));
            if (auto workers = context.fInvoker.describe(name))
                entry.set("workers", std::move(*workers));
            services.push_back(std::move(entry));
        }
        Value body;
        body.set("services", Value(std::move(services)));
        return Reply{http::status::ok, std::move(body)};
    }
    const std::string_view service = parts[1];
    if (parts.size() == 3) {
        // A call: the function is looked up directly; the service's listing is needed only
        // to tell an unknown service from an unknown function.
        auto function = context.fCatalog.findFunction(service, parts[2]);
        if (!function) {
            if (!context.fCatalog.functionNames(service)) return unknownService(service);
            return error(http::status::not_found, errorid::kUnknownFunction,
                         "No function " + printableQuoted(parts[2]) + " in service " +
                             printableQuoted(service));
        }
        if (isGet) {
            Value entry = functionEntry(
                parts[2],
                context.fCatalog.describeFunction(service, parts[2]).value_or(FunctionMetadata{}));
            entry.set("service", Value(service));
            return Reply{http::status::ok, std::move(entry)};
        }
        if (method != http::verb::post) return methodNotAllowed("GET, POST");
        if (headerOnly) return BodyNeeded{};
        auto prepared = prepareCall(request, std::move(*function), service, parts[2]);
        if (auto* reply = std::get_if<Reply>(&prepared)) return std::move(*reply);
        return std::move(std::get<FunctionCall>(prepared));
    }
    const auto functions = context.fCatalog.functionNames(service);
    if (!functions) return unknownService(service);
    if (!isGet) return methodNotAllowed("GET");
    // The service's functions with what each takes and gives.
    Value entry = serviceEntry(std::string(service), *functions);
    Array described;
    for (const auto& name : *functions)
        described.push_back(functionEntry(
            name, context.fCatalog.describeFunction(service, name).value_or(FunctionMetadata{})));
    entry.set("functionDetails", Value(std::move(described)));
    return Reply{http::status::ok, std::move(entry)};
}

}  // namespace

Value errorBody(std::string_view identifier, std::string_view message) {
    Value inner;
    inner.set("identifier", Value(identifier));
    inner.set("message", Value(message));
    Value body;
    body.set("error", std::move(inner));
    return body;
}

Response jsonTextResponse(http::status status, std::string body, unsigned version, bool keepAlive) {
    Response response(status, version);
    response.set(http::field::content_type, "application/json");
    response.set(http::field::cache_control, "no-store");
    response.keep_alive(keepAlive);
    response.body() = std::move(body);
    response.prepare_payload();
    return response;
}

Response jsonResponse(http::status status, const Value& body, unsigned version, bool keepAlive) {
    return jsonTextResponse(status, writeJson(body), version, keepAlive);
}

namespace {

Response answer(const Request& request, const Reply& reply) {
    if (reply.fFile)
        return detail::pageResponse(*reply.fFile, request.version(), request.keep_alive());
    Response response =
        jsonResponse(reply.fStatus, reply.fBody, request.version(), request.keep_alive());
    if (reply.fAllow) response.set(http::field::allow, reply.fAllow);
    if (reply.fAuthenticate) response.set(http::field::www_authenticate, reply.fAuthenticate);
    return response;
}

}  // namespace

std::variant<Response, FunctionCall> routeRequest(const Request& request,
                                                  const RequestContext& context) {
    std::variant<Reply, FunctionCall, BodyNeeded> routed;
    try {
        routed = route(request, context, false);
    } catch (const std::exception& e) {
        // A catalogue that fails unexpectedly: reported, never a dropped connection.
        routed = error(http::status::internal_server_error, errorid::kFunctionError, e.what());
    }
    if (auto* call = std::get_if<FunctionCall>(&routed)) return std::move(*call);
    return answer(request, std::get<Reply>(routed));
}

std::optional<Response> answerFromHeader(const Request& header, const RequestContext& context) {
    std::variant<Reply, FunctionCall, BodyNeeded> routed;
    try {
        routed = route(header, context, true);
    } catch (const std::exception& e) {
        routed = error(http::status::internal_server_error, errorid::kFunctionError, e.what());
    }
    if (auto* reply = std::get_if<Reply>(&routed)) return answer(header, *reply);
    return std::nullopt;
}

Response callResponse(const Request& request, CallOutcome outcome) {
    if (!outcome.fBodyText.empty())
        return jsonTextResponse(static_cast<http::status>(outcome.fStatus),
                                std::move(outcome.fBodyText), request.version(),
                                request.keep_alive());
    return answer(request,
                  Reply{static_cast<http::status>(outcome.fStatus), std::move(outcome.fBody)});
}

namespace {

bool sameName(std::string_view a, std::string_view b) noexcept {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
        if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

}  // namespace

bool hostAllowed(std::string_view host, const std::vector<std::string>& hostNames) noexcept {
    // Split off ":port" (after the closing bracket of an IPv6 literal); the port must be digits.
    std::string_view name = host;
    const auto colon = host.rfind(':');
    const auto bracket = host.rfind(']');
    if (colon != std::string_view::npos && (bracket == std::string_view::npos || colon > bracket)) {
        const std::string_view port = host.substr(colon + 1);
        if (port.empty() || port.size() > 5 ||
            port.find_first_not_of("0123456789") != std::string_view::npos)
            return false;
        name = host.substr(0, colon);
    }
    if (name.empty()) return false;
    for (std::string_view known : {"localhost", "127.0.0.1", "[::1]"})
        if (sameName(name, known)) return true;
    for (const auto& known : hostNames)
        if (!known.empty() && sameName(name, known)) return true;
    return false;
}

Response hostNotAllowed(const Request& request) {
    return jsonResponse(http::status::misdirected_request,
                        errorBody(errorid::kHostNotAllowed,
                                  "This connector answers only requests addressed to localhost "
                                  "or its configured host name"),
                        request.version(), false);
}

std::string_view targetPath(std::string_view target) noexcept {
    return target.substr(0, target.find_first_of("?#"));
}

}  // namespace korvan::services::connector
