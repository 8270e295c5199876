// The REST interface as a pure function: a table of requests and the statuses, identifiers and
// bodies they get; the function call path with host functions; the invoker's 503 outcomes.
#include <gtest/gtest.h>

#include <fstream>

#include "Invokers.hpp"
#include "TempFolder.hpp"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "foundation/json/Parser.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "korvan/services/connector/JsonValues.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "xvm/Dispatch.hpp"

namespace {

using namespace korvan::services::connector;
namespace json = foundation::json;
using namespace std::chrono_literals;

// Host functions of the tests, registered once in the host's function table.
void registerTestFunctions() {
    static const bool done = [] {
        korvan::host::registerFunction("handlerTestPlus",
                                       [](int, kxArray** plhs, int nrhs, const kxArray** prhs) {
                                           double sum = 0;
                                           for (int i = 0; i < nrhs; ++i)
                                               sum += kxGetScalar(prhs[i]);
                                           plhs[0] = kxCreateDoubleScalar(sum);
                                       });
        korvan::host::registerFunction("handlerTestTwo",
                                       [](int nlhs, kxArray** plhs, int, const kxArray**) {
                                           plhs[0] = kxCreateStringScalarFromUtf8("first");
                                           if (nlhs > 1) plhs[1] = kxCreateLogicalScalar(true);
                                       });
        korvan::host::registerFunction("handlerTestBoom", [](int, kxArray**, int, const kxArray**) {
            korvan::host::throwError("KORVAN:test", "Boom", 42);
        });
        korvan::host::registerFunction(
            "handlerTestCube", [](int, kxArray** plhs, int, const kxArray**) {
                const kxSize dims[] = {2, 2, 2};
                plhs[0] = kxCreateNumericArray(3, dims, kxClassID::Double);
            });
        return true;
    }();
    (void)done;
}

struct DirectInvoker : korvan::test::BlockingInvoker {
    std::atomic<int> fCalls{0};
    CallOutcome invoke(korvan::host::Function function, json::Value args, int nargout) override {
        ++fCalls;
        return runFunctionCall(function, args, nargout);
    }
};

class RequestHandlerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        registerTestFunctions();
        fCatalog.expose("math", "plus", "handlerTestPlus");
        fCatalog.expose("math", "two", "handlerTestTwo");
        fCatalog.expose("math", "boom", "handlerTestBoom");
        fCatalog.expose("math", "cube", "handlerTestCube");
        fCatalog.expose("math", "gone", "handlerTestNoSuchHostFunction");
        fCatalog.expose("text", "plus", "handlerTestPlus");
        fToken = AccessToken::issue(30);
    }

    Response send(http::verb method, const std::string& target, const std::string& body = {},
                  const std::string& authorization = "valid") {
        Request request(method, target, 11);
        if (authorization == "valid")
            request.set(http::field::authorization, "Bearer " + fToken.value());
        else if (!authorization.empty())
            request.set(http::field::authorization, authorization);
        request.body() = body;
        request.prepare_payload();
        RequestContext context{fCatalog, fInvoker,
                               [this](std::string_view t) { return fToken.check(t, fNow); }};
        return korvan::test::respondNow(request, context);
    }

    HostFunctionCatalog fCatalog;
    DirectInvoker fInvoker;
    AccessToken fToken;
    AccessToken::Clock::time_point fNow = AccessToken::Clock::now();
};

std::string errorId(const Response& r) {
    const json::Value body = json::parse(r.body());
    if (!body["error"].isObject()) return "";
    return body["error"]["identifier"].asString();
}

// The page to try functions: its fixed files without the token, with its own security
// headers; nothing else from its folder, and nothing when it is not installed.
TEST(DocsPageTest, FixedFilesWithoutTheTokenAndNothingElse) {
    korvan::test::TempFolder folder;
    for (const char* name : {"index.html", "docs.js", "secret.txt"})
        std::ofstream(folder.path() / name) << "content of " << name;
    HostFunctionCatalog catalog;
    DirectInvoker invoker;
    auto get = [&](const std::string& target, std::filesystem::path docs) {
        Request request(http::verb::get, target, 11);
        RequestContext context{catalog, invoker,
                               [](std::string_view) { return AccessToken::Check::Wrong; },
                               std::move(docs)};
        return korvan::test::respondNow(request, context);
    };
    const Response page = get("/v1/docs", folder.path());
    EXPECT_EQ(page.result_int(), 200);
    EXPECT_EQ(page.body(), "content of index.html");
    EXPECT_EQ(page[http::field::content_type], "text/html; charset=utf-8");
    EXPECT_NE(page["Content-Security-Policy"].find("script-src 'self'"), std::string::npos);
    EXPECT_EQ(get("/v1/docs/docs.js", folder.path()).body(), "content of docs.js");
    for (const char* target : {"/v1/docs/secret.txt", "/v1/docs/..%2Fsecret.txt",
                               "/v1/docs/../docs/secret.txt", "/v1/docs/swagger-ui.css"}) {
        const Response refused = get(target, folder.path());
        EXPECT_NE(refused.result_int(), 200) << target;
        EXPECT_EQ(refused.body().find("content of"), std::string::npos) << target;
    }
    EXPECT_EQ(get("/v1/docs", "").result_int(), 404);                     // not installed
    EXPECT_EQ(get("/v1/openapi.json", folder.path()).result_int(), 401);  // the document is not
}

TEST_F(RequestHandlerTest, StatusesAndIdentifiers) {
    const std::string call = R"({"args":[1,2],"nargout":1})";
    using http::verb;
    struct Case {
        http::verb fMethod;
        const char* fTarget;
        std::string fBody;
        std::string fAuthorization;
        unsigned fStatus;
        const char* fId;  // "" for a success
    };
    // clang-format off
    const Case cases[] = {
        {verb::get, "/v1/health", "", "", 200, ""},
        {verb::post, "/v1/health", "", "", 405, errorid::kMethodNotAllowed},
        {verb::get, "/v1/services", "", "", 401, errorid::kMissingToken},
        {verb::get, "/v1/services", "", "Basic abc", 401, errorid::kMissingToken},
        {verb::get, "/v1/services", "", "Bearer 0123", 401, errorid::kInvalidToken},
        {verb::get, "/v1/services", "", "valid", 200, ""},
        {verb::delete_, "/v1/services", "", "valid", 405, errorid::kMethodNotAllowed},
        {verb::get, "/v1/services/math", "", "valid", 200, ""},
        {verb::get, "/v1/services/nope", "", "valid", 404, errorid::kUnknownService},
        {verb::post, "/v1/services/nope/plus", call, "valid", 404, errorid::kUnknownService},
        {verb::post, "/v1/services/math/minus", call, "valid", 404, errorid::kUnknownFunction},
        {verb::post, "/v1/services/math/gone", call, "valid", 404, errorid::kUnknownFunction},
        {verb::get, "/v1/services/math/plus", "", "valid", 200, ""},  // its metadata
        {verb::put, "/v1/services/math/plus", "", "valid", 405, errorid::kMethodNotAllowed},
        {verb::post, "/v1/services/math/plus", call, "valid", 200, ""},
        {verb::post, "/v1/services/math/plus", call, "", 401, errorid::kMissingToken},
        {verb::post, "/v1/services/math/plus", "{\"args\":", "valid", 400, errorid::kInvalidJson},
        {verb::post, "/v1/services/math/plus", "[1,2]", "valid", 400, errorid::kInvalidRequest},
        {verb::post, "/v1/services/math/plus", R"({"args":5})", "valid", 400, errorid::kInvalidRequest},
        {verb::post, "/v1/services/math/plus", R"({"args":[],"nargout":-1})", "valid", 400, errorid::kInvalidRequest},
        {verb::post, "/v1/services/math/plus", R"({"args":[],"nargout":1.5})", "valid", 400, errorid::kInvalidRequest},
        {verb::post, "/v1/services/math/plus", R"({"args":[],"nargout":"1"})", "valid", 400, errorid::kInvalidRequest},
        {verb::post, "/v1/services/math/plus", R"({"args":[{"1a":true}]})", "valid", 400, errorid::kInvalidArguments},
        {verb::post, "/v1/services/math/boom", call, "valid", 500, "KORVAN:test:Boom"},
        {verb::post, "/v1/services/math/cube", call, "valid", 500, errorid::kInvalidResult},
        {verb::post, "/v1/services/math/plus", R"({"args":[],"nargout":2})", "valid", 500, errorid::kInvalidResult},
        {verb::get, "/v1", "", "valid", 404, errorid::kNotFound},
        {verb::get, "/v2/health", "", "", 404, errorid::kNotFound},
        {verb::get, "/v1health", "", "", 404, errorid::kNotFound},
        {verb::get, "/v1/services/math/plus/x", "", "valid", 404, errorid::kNotFound},
    };
    // clang-format on
    for (const auto& c : cases) {
        const Response r = send(c.fMethod, c.fTarget, c.fBody, c.fAuthorization);
        SCOPED_TRACE(std::string(http::to_string(c.fMethod)) + " " + c.fTarget + " " + c.fBody);
        EXPECT_EQ(r.result_int(), c.fStatus) << r.body();
        EXPECT_EQ(errorId(r), c.fId) << r.body();
        EXPECT_EQ(r[http::field::content_type], "application/json");
        if (c.fStatus == 405) {
            EXPECT_FALSE(r[http::field::allow].empty());
        }
        if (c.fStatus == 401) {
            EXPECT_FALSE(r[http::field::www_authenticate].empty());
        }
    }
}

TEST_F(RequestHandlerTest, NamesFromTheTargetAreQuotedAsPrintableAscii) {
    // A byte that is not UTF-8 (0xB5) and a control character must not reach the JSON answer.
    const struct {
        const char* fTarget;
        const char* fMessage;
    } cases[] = {
        {"/v1/services/dem\xB5", "No function service \"dem?\""},
        {"/v1/services/math/pl\x01us\xC3", "No function \"pl?us?\" in service \"math\""},
    };
    for (const auto& c : cases) {
        const Response r = send(http::verb::get, c.fTarget);
        EXPECT_EQ(r.result_int(), 404u);
        const json::Value body = json::parse(r.body());  // strict: valid UTF-8 only
        EXPECT_EQ(body["error"]["message"].asString(), c.fMessage);
    }
}

TEST_F(RequestHandlerTest, TokenOnlyInTheUrlIsRefused) {
    const std::string target =
        "/v1/services?access_token=" + fToken.value() + "&token=" + fToken.value();
    EXPECT_EQ(send(http::verb::get, target, "", "").result_int(), 401u);
    EXPECT_EQ(send(http::verb::get, target, "", "valid").result_int(), 200u);
}

TEST_F(RequestHandlerTest, ExpiredTokenIsRefused) {
    fNow += 31 * 24h;
    const Response r = send(http::verb::get, "/v1/services");
    EXPECT_EQ(r.result_int(), 401u);
    EXPECT_EQ(errorId(r), errorid::kTokenExpired);
}

TEST_F(RequestHandlerTest, RefusedRequestsNeverReachTheInterpreter) {
    send(http::verb::post, "/v1/services/math/plus", "{}", "");
    send(http::verb::post, "/v1/services/math/plus", "{}", "Bearer wrong");
    send(http::verb::post, "/v1/services/math/plus", "{bad");
    send(http::verb::post, "/v1/services/math/minus", "{}");
    send(http::verb::get, "/v1/services/math/plus");
    EXPECT_EQ(fInvoker.fCalls.load(), 0);
    send(http::verb::post, "/v1/services/math/plus", "{}");
    EXPECT_EQ(fInvoker.fCalls.load(), 1);
}

TEST_F(RequestHandlerTest, BodiesOfSuccessfulRequests) {
    EXPECT_EQ(send(http::verb::get, "/v1/health").body(), R"({"status":"ok"})");
    EXPECT_EQ(send(http::verb::get, "/v1/services").body(),
              R"({"services":[{"functions":["boom","cube","gone","plus","two"],"name":"math"},)"
              R"({"functions":["plus"],"name":"text"}]})");
    EXPECT_EQ(send(http::verb::post, "/v1/services/math/plus", R"({"args":[0.1,0.2]})").body(),
              R"({"results":[0.30000000000000004]})");
    EXPECT_EQ(send(http::verb::post, "/v1/services/math/two", R"({"nargout":2})").body(),
              R"({"results":["first",true]})");
    EXPECT_EQ(send(http::verb::post, "/v1/services/math/two", R"({"nargout":0})").body(),
              R"({"results":[]})");
    const json::Value boom =
        json::parse(send(http::verb::post, "/v1/services/math/boom", "{}").body());
    EXPECT_FALSE(boom["error"]["message"].asString().empty());
}

}  // namespace
