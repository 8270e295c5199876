// Fuzzes the REST interface as a pure function. The input is the raw bytes of an HTTP/1.1
// request: Beast's request parser reads it as a session does (same body limit rule), and a
// parsed request is routed and answered (respondNow). The catalogue has one service "demo" with one
// function "echo", a plain C++ function that hands its inputs back as its outputs, so a call runs
// the whole argument path (JSON body, argument decoding into host arrays, results back to JSON)
// without running any host code. The token is fixed and valid for a day from a fixed instant.
//
// Checks on every parsed request:
//  - the answer is a JSON object (application/json) with a status the interface uses;
//  - an error answer carries {"error":{"identifier":<text>,"message":<text>}};
//  - nothing but GET /v1/health answers 200 unless the request carries the token;
//  - an accepted echo call gives back as many results as it asked for.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <boost/beast/core/error.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>

#include "Invokers.hpp"
#include "foundation/json/Parser.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/services/connector/AccessToken.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "kx/kxArray.hpp"

namespace {

using namespace korvan::services::connector;
namespace json = foundation::json;

constexpr std::size_t kBodyLimit = 64 * 1024;
const std::string kToken(64, 'a');
const AccessToken::Clock::time_point kNow{std::chrono::hours(24 * 20000)};

[[noreturn]] void fail(const char* what, std::string_view input) {
    std::fprintf(stderr, "http fuzzer: %s\ninput: %.*s\n", what, static_cast<int>(input.size()),
                 input.data());
    std::abort();
}

/// Runs calls on the calling thread (a double not owned by a shared_ptr answers in place): the
/// fuzzer has no interpreter, and the echo function needs none.
struct DirectInvoker final : korvan::test::BlockingInvoker {
    CallOutcome invoke(korvan::host::Function function, json::Value args, int nargout) override {
        return runFunctionCall(function, args, nargout);
    }
};

struct Fixture {
    HostFunctionCatalog fCatalog;
    DirectInvoker fInvoker;
    AccessToken fToken{kToken, kNow + std::chrono::hours(24)};

    Fixture() {
        korvan::host::registerFunction(
            "fuzzEcho", [](int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) {
                for (int i = 0; i < nlhs && i < nrhs; ++i) plhs[i] = kxDuplicateArray(prhs[i]);
            });
        fCatalog.expose("demo", "echo", "fuzzEcho");
    }

    RequestContext context() {
        return {fCatalog, fInvoker, [this](std::string_view t) { return fToken.check(t, kNow); }};
    }
};

bool knownStatus(unsigned status) {
    for (unsigned s : {200u, 400u, 401u, 404u, 405u, 413u, 500u, 503u})
        if (status == s) return true;
    return false;
}

void checkResponse(const Request& request, const Response& response, std::string_view input) {
    const unsigned status = response.result_int();
    if (!knownStatus(status)) fail("status outside the interface", input);
    if (response[http::field::content_type] != "application/json")
        fail("answer is not application/json", input);
    json::Value body;
    try {
        body = json::parse(response.body());
    } catch (const json::ParserException&) {
        fail("answer is not JSON", input);
    }
    if (!body.isObject()) fail("answer is not a JSON object", input);
    if (status != 200) {
        const json::Value& error = body["error"];
        if (!error.isObject() || !error["identifier"].isString() || !error["message"].isString())
            fail("error answer without identifier and message", input);
        return;
    }
    const std::string_view path = targetPath(request.target());
    const bool health = path == "/v1/health" && request.method() == http::verb::get;
    const auto authorization = request.find(http::field::authorization);
    const bool carriesToken = authorization != request.end() &&
                              authorization->value().find(kToken) != std::string_view::npos;
    if (!health && !carriesToken) fail("200 without the token", input);
    if (request.method() == http::verb::post) {
        // The only function: as many results as asked for (nargout, 1 when absent).
        const json::Value sent = json::parse(request.body());
        const json::Value& n = sent["nargout"];
        const std::size_t expected = n.isUndefined() ? 1 : static_cast<std::size_t>(n.asNumber());
        const json::Value& results = body["results"];
        if (!results.isArray() || results.size() != expected)
            fail("echo call answered with another number of results", input);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Fixture fixture;
    const std::string_view input(reinterpret_cast<const char*>(data), size);

    http::request_parser<http::string_body> parser;
    parser.eager(true);
    parser.body_limit(kBodyLimit);
    boost::beast::error_code ec;
    std::size_t used = 0;
    while (used < input.size() && !parser.is_done()) {
        const std::size_t n = parser.put(boost::asio::buffer(input.substr(used)), ec);
        if (ec == http::error::need_more) ec = {};
        if (ec || n == 0) break;
        used += n;
    }
    if (!ec && parser.got_some() && !parser.is_done()) parser.put_eof(ec);
    if (ec || !parser.is_done()) return 0;

    const Request& request = parser.get();
    const Response response = korvan::test::respondNow(request, fixture.context());
    checkResponse(request, response, input);
    return 0;
}
