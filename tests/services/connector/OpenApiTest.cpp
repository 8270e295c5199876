// The OpenAPI document of GET /v1/openapi.json for the demo service and a service with several
// inputs and outputs and a help block: what it says of each function, that it needs the token,
// and (with KORVAN_OPENAPI_OUT set) the document written for the validator (validate.mjs).
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "Invokers.hpp"
#include "TempFolder.hpp"
#include "foundation/json/Parser.hpp"
#include "korvan/services/connector/AccessToken.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "korvan/shell/FolderFunctionCatalog.hpp"

namespace korvan::test {

using namespace korvan::services::connector;
namespace {

namespace fs = std::filesystem;
namespace http = boost::beast::http;
namespace json = foundation::json;

// GETs answer without calling anything.
struct NoCalls final : korvan::test::BlockingInvoker {
    CallOutcome invoke(korvan::host::Function, json::Value, int) override {
        ADD_FAILURE() << "a GET made a call";
        return {};
    }
};

class OpenApi : public ::testing::Test {
  protected:
    void SetUp() override {
        fs::copy(KORVAN_EXAMPLES "/demo", fFolder.path() / "demo", fs::copy_options::recursive);
        fs::create_directories(fFolder.path() / "lab");
        std::ofstream(fFolder.path() / "lab" / "fit.k")
            << "function [slope, offset, err] = fit(x, y, weights)\n"
               "# fit(x, y, weights): a weighted straight line through the points.\n"
               "#   err is the weighted mean square error.\n"
               "  slope = 1; offset = 0; err = 0;\nend\n";
    }
    Response get(const std::string& target, bool withToken = true) {
        Request request(http::verb::get, target, 11);
        if (withToken) request.set(http::field::authorization, "Bearer " + fToken.value());
        RequestContext context{fCatalog, fInvoker, [this](std::string_view t) {
                                   return fToken.check(t, AccessToken::Clock::now());
                               }};
        auto routed = routeRequest(request, context);
        return std::get<Response>(std::move(routed));
    }

    TempFolder fFolder;
    korvan::shell::FolderFunctionCatalog fCatalog{fFolder.path()};
    NoCalls fInvoker;
    AccessToken fToken = AccessToken::issue(30);
};

TEST_F(OpenApi, DescribesEveryFunctionAndNeedsTheToken) {
    EXPECT_EQ(get("/v1/openapi.json", false).result_int(), 401);
    const Response response = get("/v1/openapi.json");
    ASSERT_EQ(response.result_int(), 200);
    const json::Value doc = json::parse(response.body());
    EXPECT_EQ(doc["openapi"].asString(), "3.1.0");
    EXPECT_TRUE(doc["components"]["securitySchemes"]["bearer"].isObject());

    const json::Value& fit = doc["paths"]["/services/lab/fit"]["post"];
    EXPECT_EQ(fit["summary"].asString(),
              "fit(x, y, weights): a weighted straight line through the points.");
    EXPECT_EQ(fit["description"].asString(), "  err is the weighted mean square error.");
    const json::Value& args =
        fit["requestBody"]["content"]["application/json"]["schema"]["properties"]["args"]["oneOf"];
    ASSERT_TRUE(args.isArray());
    EXPECT_EQ(args.asArray().at(0)["prefixItems"].asArray().size(), 3u);    // by position
    EXPECT_TRUE(args.asArray().at(1)["properties"]["weights"].isObject());  // by name
    const json::Value& results =
        fit["responses"]["200"]["content"]["application/json"]["schema"]["properties"]["results"];
    EXPECT_EQ(results["prefixItems"].asArray().at(2)["title"].asString(), "err");
    for (const char* status : {"200", "400", "401", "404", "500", "503"}) {
        EXPECT_TRUE(fit["responses"][status].isObject()) << status;
        // Every answer's request identifier is part of the contract.
        EXPECT_TRUE(fit["responses"][status]["headers"]["X-Request-Id"].isObject()) << status;
    }
    for (const char* path : {"/services/demo/plus", "/services/demo/stats", "/services/demo/greet"})
        EXPECT_TRUE(doc["paths"][path]["post"].isObject()) << path;
    EXPECT_TRUE(doc["paths"]["/health"]["get"]["security"].isArray());  // no token there

    if (const char* out = std::getenv("KORVAN_OPENAPI_OUT")) std::ofstream(out) << response.body();
}

}  // namespace
}  // namespace korvan::test
