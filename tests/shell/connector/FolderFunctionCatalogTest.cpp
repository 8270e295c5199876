// Function services from folders: what a scan lists and skips, refresh, and calls that run
// the function files (directly and through the connector's call unit, as HTTPS requests do).
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "foundation/core/except/IException.hpp"
#include "foundation/json/Parser.hpp"
#include "foundation/json/Serializer.hpp"
#include "foundation/json/Value.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/shell/FolderFunctionCatalog.hpp"

namespace korvan::test {

using namespace korvan::shell;
namespace {

namespace fs = std::filesystem;
namespace json = foundation::json;
using korvan::services::connector::runFunctionCall;

using Names = std::vector<std::string>;
using namespace std::string_literals;

class FolderCatalog : public ::testing::Test {
  protected:
    void SetUp() override {
        fRoot = fs::temp_directory_path() /
                ("korvan-folders-" + std::to_string(::getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(fRoot);
        fs::create_directories(fRoot);
    }
    void TearDown() override { fs::remove_all(fRoot); }

    void write(const fs::path& relative, const std::string& text = "") {
        fs::create_directories((fRoot / relative).parent_path());
        std::ofstream(fRoot / relative) << text;
    }
    // One call through the connector's call unit: status, and the body as JSON text.
    std::pair<unsigned, std::string> call(const FolderFunctionCatalog& catalog,
                                          const std::string& service, const std::string& function,
                                          const std::string& args, int nargout = 1) {
        auto fn = catalog.findFunction(service, function);
        if (!fn) return {404, ""};
        auto outcome = runFunctionCall(*fn, json::parse(args), nargout);
        return {outcome.fStatus, json::serialize(outcome.fBody)};
    }

    fs::path fRoot;
};

TEST_F(FolderCatalog, ListsFolderServicesAndTheirFunctionFiles) {
    write("demo/plus.k", "function s = plus(a, b)\n  s = a + b;\nend\n");
    write("demo/stats.k", "function m = stats(v)\n  m = sum(v);\nend\n");
    write("demo/README.md", "not a function");
    write("demo/bad name.k");   // not usable in a URL
    write("demo/1abc.k");       // not a function name
    write("demo/sub/inner.k");  // only files directly in the service folder count
    write("other/hello.k", "function h = hello()\n  h = \"hi\";\nend\n");
    write("bad service/x.k");  // folder name not usable in a URL
    write(".hidden/x.k");
    write("loose.k");  // a file, not a service folder
    fs::create_directories(fRoot / "empty");

    FolderFunctionCatalog catalog(fRoot);
    EXPECT_EQ(catalog.folder(), fRoot);
    EXPECT_EQ(catalog.serviceNames(), (Names{"demo", "empty", "other"}));
    EXPECT_EQ(catalog.functionNames("demo"), (Names{"plus", "stats"}));
    EXPECT_EQ(catalog.functionNames("empty"), Names{});
    EXPECT_EQ(catalog.functionNames("other"), Names{"hello"});
    EXPECT_EQ(catalog.functionNames("bad service"), std::nullopt);
    EXPECT_EQ(catalog.functionNames(".hidden"), std::nullopt);
    EXPECT_EQ(catalog.functionNames("nope"), std::nullopt);
    EXPECT_TRUE(catalog.findFunction("demo", "plus"));
    EXPECT_FALSE(catalog.findFunction("demo", "README"));
    EXPECT_FALSE(catalog.findFunction("demo", "inner"));
    EXPECT_FALSE(catalog.findFunction("other", "plus"));
    EXPECT_FALSE(catalog.findFunction("nope", "plus"));
}

TEST_F(FolderCatalog, AMissingFolderHasNoServicesUntilItIsMade) {
    FolderFunctionCatalog catalog(fRoot / "absent");
    EXPECT_TRUE(catalog.serviceNames().empty());
    write("absent/late/f.k", "function y = f()\n  y = 1;\nend\n");
    EXPECT_EQ(catalog.serviceNames(), Names{"late"});
}

// Files and service folders added or removed are seen at the next look, without refresh().
TEST_F(FolderCatalog, NewAndRemovedFilesAreSeenAtTheNextLook) {
    write("math/plus.k", "function s = plus(a, b)\n  s = a + b;\nend\n");
    write("math/minus.k", "function d = minus(a, b)\n  d = a - b;\nend\n");
    FolderFunctionCatalog catalog(fRoot);
    write("math/times.k", "function p = times(a, b)\n  p = a .* b;\nend\n");
    write("text/upper.k", "function u = upper(t)\n  u = t;\nend\n");
    fs::remove(fRoot / "math/minus.k");
    EXPECT_TRUE(catalog.findFunction("text", "upper"));  // a miss looks again
    EXPECT_EQ(catalog.serviceNames(), (Names{"math", "text"}));
    EXPECT_EQ(catalog.functionNames("math"), (Names{"plus", "times"}));
    fs::remove_all(fRoot / "text");
    EXPECT_EQ(catalog.serviceNames(), Names{"math"});
    EXPECT_FALSE(catalog.findFunction("text", "upper"));
    catalog.refresh();  // the connector's refreshServices still works
    EXPECT_EQ(catalog.functionNames("math"), (Names{"plus", "times"}));
}

TEST_F(FolderCatalog, DescribesAFunctionFromItsFile) {
    write("demo/plus.k", "function s = plus(a, b)\n# The sum.\n#   of two\n  s = a + b;\nend\n");
    FolderFunctionCatalog catalog(fRoot);
    const auto meta = catalog.describeFunction("demo", "plus");
    ASSERT_TRUE(meta);
    EXPECT_EQ(meta->fInputs, (Names{"a", "b"}));
    EXPECT_EQ(meta->fOutputs, Names{"s"});
    EXPECT_EQ(meta->fSummary, "The sum.");
    EXPECT_EQ(meta->fDescription, "  of two");
    EXPECT_FALSE(catalog.describeFunction("demo", "minus"));
    EXPECT_FALSE(catalog.describeFunction("nope", "plus"));
}

TEST_F(FolderCatalog, ACallRunsTheFileAndReturnsItsResults) {
    write("demo/plus.k", "function s = plus(a, b)\n  s = a + b;\nend\n");
    write("demo/minmax.k", "function [lo, hi] = minmax(v)\n  lo = min(v);\n  hi = max(v);\nend\n");
    write("demo/greet.k", "function g = greet(name)\n  g = \"Hello, \" + name;\nend\n");
    // A function may use the service's other files; never another service's.
    write("demo/useshelper.k", "function y = useshelper(x)\n  y = twice(x) + 1;\nend\n");
    write("demo/twice.k", "function y = twice(x)\n  y = 2 * x;\nend\n");
    write("other/usesother.k", "function y = usesother(x)\n  y = twice(x);\nend\n");
    FolderFunctionCatalog catalog(fRoot);

    EXPECT_EQ(call(catalog, "demo", "plus", "[1, 2]"), std::make_pair(200u, R"({"results":[3]})"s));
    EXPECT_EQ(call(catalog, "demo", "plus", "[[1, 2], [10, 20]]"),
              std::make_pair(200u, R"({"results":[[11,22]]})"s));
    EXPECT_EQ(call(catalog, "demo", "minmax", "[[4, 9, 2]]", 2),
              std::make_pair(200u, R"({"results":[2,9]})"s));
    EXPECT_EQ(call(catalog, "demo", "greet", R"(["Ada"])"),
              std::make_pair(200u, R"({"results":["Hello, Ada"]})"s));
    EXPECT_EQ(call(catalog, "demo", "useshelper", "[4]"),
              std::make_pair(200u, R"({"results":[9]})"s));
    EXPECT_EQ(call(catalog, "other", "usesother", "[4]").first, 500u);
    EXPECT_EQ(call(catalog, "demo", "plus", "[1, 2]", 0),
              std::make_pair(200u, R"({"results":[]})"s));

    // The callable itself, in the host's calling convention.
    auto plus = catalog.findFunction("demo", "plus");
    ASSERT_TRUE(plus);
    kx::ArrayPtr a(kxCreateDoubleScalar(40)), b(kxCreateDoubleScalar(2));
    const kxArray* in[] = {a.get(), b.get()};
    kxArray* out[1] = {nullptr};
    (*plus)(1, out, 2, in);
    kx::ArrayPtr result(out[0]);
    ASSERT_TRUE(result);
    EXPECT_EQ(kxGetScalar(result.get()), 42);
}

TEST_F(FolderCatalog, TheFileIsReadAsItIsAtTheCall) {
    write("demo/value.k", "function v = value()\n  v = 1;\nend\n");
    FolderFunctionCatalog catalog(fRoot);
    auto fn = catalog.findFunction("demo", "value");
    EXPECT_EQ(call(catalog, "demo", "value", "[]").second, R"({"results":[1]})");
    write("demo/value.k", "function v = value()\n  v = 2;\nend\n");
    fs::last_write_time(fRoot / "demo/value.k",
                        fs::last_write_time(fRoot / "demo/value.k") + std::chrono::seconds(2));
    EXPECT_EQ(call(catalog, "demo", "value", "[]").second, R"({"results":[2]})");
    fs::remove(fRoot / "demo/value.k");
    auto gone = runFunctionCall(*fn, json::parse("[]"), 1);
    EXPECT_EQ(gone.fStatus, 500u);
    EXPECT_EQ(gone.fBody.asObject().at("error").asObject().at("identifier").asString(),
              "KORVAN:lang:FileNotFound");
}

// The caller's mistakes, and the statuses a function chooses, are 4xx; its own faults are 500.
TEST_F(FolderCatalog, CallerMistakesAndChosenStatusesAreAnswered4xx) {
    write("demo/pair.k", "function [a, b] = pair(x)\n  a = x;\n  b = x;\nend\n");
    write("demo/pick.k",
          "function y = pick(k)\n  if k > 3\n    error('HTTP404:NoSuchItem', 'no item %d', k);\n"
          "  end\n  y = k;\nend\n");
    write("demo/teapot.k",
          "function y = teapot()\n  error('HTTP418:Teapot', 'short and stout');\nend\n");
    FolderFunctionCatalog catalog(fRoot);
    // clang-format off
    const struct {
        const char* fFunction;
        const char* fArgs;
        int fNargout;
        unsigned fStatus;
        const char* fSays;
    } cases[] = {
        {"pair", "[1, 2]", 1, 400, "gave 2 inputs"},  // more inputs than it has
        {"pair", "[1]", 3, 400, "asked for 3 outputs"},  // more outputs than it gives
        {"pick", "[7]", 1, 404, "no item 7"},
        {"teapot", "[]", 1, 418, "short and stout"},
        {"pick", "[2]", 1, 200, "[2]"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.fFunction) + c.fArgs);
        auto [status, body] = call(catalog, "demo", c.fFunction, c.fArgs, c.fNargout);
        EXPECT_EQ(status, c.fStatus) << body;
        EXPECT_NE(body.find(c.fSays), std::string::npos) << body;
    }
}

struct ErrorCase {
    const char* fBody;        // of the function file "fails.k", function fails(x)
    const char* fIdentifier;  // what the caller gets back
    const char* fMessage;     // a part of the message
};

class FolderCatalogErrors : public FolderCatalog,
                            public ::testing::WithParamInterface<ErrorCase> {};

TEST_P(FolderCatalogErrors, AnErrorInTheFileComesBackWithItsIdentifier) {
    write("demo/fails.k", std::string("function y = fails(x)\n") + GetParam().fBody + "\nend\n");
    FolderFunctionCatalog catalog(fRoot);
    auto [status, body] = call(catalog, "demo", "fails", "[3]");
    EXPECT_EQ(status, 500u) << body;
    auto error = json::parse(body).asObject().at("error").asObject();
    EXPECT_EQ(error.at("identifier").asString(), GetParam().fIdentifier) << body;
    EXPECT_NE(error.at("message").asString().find(GetParam().fMessage), std::string::npos) << body;

    // The same error reaches a direct caller as a host error with that identifier.
    if (std::string(GetParam().fIdentifier) == "KORVAN:connector:FunctionError") return;
    auto fn = catalog.findFunction("demo", "fails");
    kx::ArrayPtr x(kxCreateDoubleScalar(3));
    const kxArray* in[] = {x.get()};
    kxArray* out[1] = {nullptr};
    try {
        (*fn)(1, out, 1, in);
        ADD_FAILURE() << "no error";
    } catch (const foundation::core::except::IMsgIDException& e) {
        EXPECT_EQ(e.GetID(), GetParam().fIdentifier);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FolderCatalogErrors,
    ::testing::Values(ErrorCase{"  error('demo:tooSmall', 'x must exceed %d, got %d', 5, x);",
                                "demo:tooSmall", "x must exceed 5, got 3"},
                      ErrorCase{"  y = [1 2] + [1 2 3];", "KORVAN:lang:SizeMismatch", "'+'"},
                      ErrorCase{"  y = undefinedThing + x;", "KORVAN:lang:UndefinedVariable",
                                "undefinedThing"},
                      ErrorCase{"  z = x;", "KORVAN:lang:OutputNotSet", "'y'"},
                      ErrorCase{"  error('no identifier here');", "KORVAN:connector:FunctionError",
                                "no identifier here"},
                      ErrorCase{"  exit(3);", "KORVAN:connector:FunctionError", "exit"}));

}  // namespace
}  // namespace korvan::test
