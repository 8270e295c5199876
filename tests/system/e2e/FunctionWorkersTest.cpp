// Function workers for real: the connector over HTTPS with pools of korvan worker processes
// running function files. A runaway call stopped at its time-out, workers that crash, overflow
// their stack or run out of memory replaced, calls that run side by side, a full queue, edited
// files, output in the function log, and no worker left after a stop.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "HttpsTestClient.hpp"
#include "JsonMappingTable.hpp"
#include "TempFolder.hpp"
#include "foundation/json/Parser.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "korvan/services/connector/WorkerInvoker.hpp"
#include "korvan/shell/FolderFunctionCatalog.hpp"

namespace korvan::test {

using namespace korvan::services::connector;
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using ::testing::HasSubstr;

struct Answer {
    unsigned fStatus = 0;
    std::string fBody;
    std::string identifier() const {
        try {
            return foundation::json::parse(fBody)["error"]["identifier"].asString();
        } catch (const std::exception&) {
            return {};
        }
    }
};

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer's allocator cannot live under an address-space limit: there, an allocation
// beyond the worker's limit ends the worker instead of failing.
constexpr const char* kBeyondTheLimit = errorid::kWorkerCrashed;
#else
constexpr const char* kBeyondTheLimit = "KORVAN:host:OutOfMemory";
#endif

bool alive(pid_t pid) {
    return ::kill(pid, 0) == 0;
}

// User plus system CPU time of a process, in clock ticks; -1 once it is gone.
long cpuTicks(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const auto close = text.rfind(')');
    if (close == std::string::npos) return -1;
    std::istringstream fields(text.substr(close + 2));
    std::string skip;
    for (int i = 0; i < 11; ++i) fields >> skip;  // state .. cmajflt
    long user = 0, system = 0;
    fields >> user >> system;
    return user + system;
}

template <class Predicate>
bool eventually(Predicate ok, std::chrono::milliseconds limit) {
    const auto until = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < until) {
        if (ok()) return true;
        std::this_thread::sleep_for(20ms);
    }
    return ok();
}

class FunctionWorkers : public ::testing::Test {
  protected:
    void SetUp() override {
        const fs::path services = fFolder.path() / "services";
        write("lab/plus.k", "function s = plus(a, b)\n  s = a + b;\nend\n");
        write("lab/echo.k", "function r = echo(x)\n  r = x;\nend\n");
        write("lab/deep.k", "function r = deep(n)\n  r = deep(n + 1);\nend\n");
        write("lab/hog.k", "function r = hog()\n  x = zeros(50000, 50000);\n  r = 1;\nend\n");
        write("lab/nap.k", "function r = nap(s)\n  pause(s);\n  r = s;\nend\n");
        write(
            "lab/talk.k",
            "function r = talk()\n  disp(\"hello from a worker\");\n  print(\"two\\nlines\\n\");\n"
            "  r = 1;\nend\n");
        // Returns only once the other call has arrived too: both must run at the same time.
        write("lab/meet.k",
              "function r = meet(mine, other)\n  system(\"touch \" + mine);\n  n = 0;\n"
              "  while system(\"test -e \" + other) ~= 0\n    pause(0.01);\n    n = n + 1;\n"
              "    if n > 1000\n      error(\"lab:alone\", \"nobody came\");\n    end\n  end\n"
              "  r = 1;\nend\n");
        write("lab/which.k", "function r = which(s)\n  pause(s);\n  r = 1;\nend\n");
        write("spin/spin.k", "function r = spin()\n  while true\n  end\n  r = 1;\nend\n");
        write("spin/plus.k", "function s = plus(a, b)\n  s = a + b;\nend\n");
        write("spin/workers.json", R"({"workers": 1, "callTimeoutSeconds": 0.5})");
        write("one/hold.k",
              "function r = hold(marker, s)\n  system(\"touch \" + marker);\n  pause(s);\n"
              "  r = s;\nend\n");
        write("one/plus.k", "function s = plus(a, b)\n  s = a + b;\nend\n");
        write("one/workers.json", R"({"workers": 1, "queueLength": 0})");

        auto catalog = fCatalog = std::make_shared<korvan::shell::FolderFunctionCatalog>(services);
        WorkerInvokerOptions options;
        options.fCatalog = catalog;
        options.fExecutable = KORVAN_EXECUTABLE;
        options.fServicesFolder = services;
        options.fDefaults = WorkerSettings{2, 20s, 512, 16};
        fInvoker = std::make_shared<WorkerInvoker>(options);
        Config config;
        config.fPort = 0;
        config.fCertificateFolder = fFolder.path() / "certificate";
        config.fLogLocation = fFolder.path() / "logs";
        fs::create_directories(config.fLogLocation);
        config.fStopTimeout = 5s;
        fService = std::make_unique<ConnectorService>(config, catalog, fInvoker);
        fService->start();
    }
    void TearDown() override {
        fService.reset();
        for (pid_t pid : fSeen)
            EXPECT_FALSE(alive(pid)) << "worker " << pid << " outlived its stop";
    }

    void write(const std::string& relative, const std::string& text) {
        const fs::path file = fFolder.path() / "services" / relative;
        fs::create_directories(file.parent_path());
        std::ofstream(file) << text;
    }
    Answer call(const std::string& function, const std::string& args) {
        http::request<http::string_body> request(http::verb::post, "/v1/services/" + function, 11);
        request.set(http::field::authorization, "Bearer " + fService->personalAccessToken());
        request.set(http::field::content_type, "application/json");
        request.body() = R"({"args":)" + args + "}";
        ClientOptions options;
        options.fTrusted = fService->certificate();
        options.fTimeout = 60s;
        std::string error;
        auto response = httpsRequest(fService->port(), std::move(request), options, &error);
        if (!response) return {0, error};
        return {response->result_int(), response->body()};
    }
    std::vector<pid_t> workers() {
        auto pids = fInvoker->workerPids();
        fSeen.insert(fSeen.end(), pids.begin(), pids.end());
        return pids;
    }
    std::string functionLog() const {
        std::ifstream in(fFolder.path() / "logs" / kFunctionLogFile);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    TempFolder fFolder;
    std::shared_ptr<korvan::shell::FolderFunctionCatalog> fCatalog;
    std::shared_ptr<WorkerInvoker> fInvoker;
    std::unique_ptr<ConnectorService> fService;
    std::vector<pid_t> fSeen;  // every worker a test saw: none may outlive the connector
};

// Every row of the value mapping, through a worker and back: the written form comes back as
// written, and every other text of the row comes back in the written form.
TEST_F(FunctionWorkers, EveryRowOfTheValueMappingRoundTripsOverHttps) {
    for (const MappingRow& row : mappingTable()) {
        std::vector<const char*> inputs = row.fAlsoRead;
        inputs.insert(inputs.begin(), row.fJson);
        for (const char* input : inputs) {
            const Answer answer = call("lab/echo", "[" + std::string(input) + "]");
            EXPECT_EQ(answer.fBody, "{\"results\":[" + std::string(row.fJson) + "]}")
                << row.fName << ": " << input;
        }
    }
    for (const RefusedJson& row : refusedJson()) {
        const Answer answer = call("lab/echo", "[" + std::string(row.fJson) + "]");
        EXPECT_EQ(answer.fStatus, 400u) << row.fJson;
        EXPECT_THAT(answer.fBody, HasSubstr(row.fSays)) << row.fJson;
    }
}

TEST_F(FunctionWorkers, ARunawayCallIsAnsweredAtItsTimeOutAndItsWorkerStops) {
    ASSERT_EQ(workers().size(), 4u);  // lab 2, spin 1, one 1
    const Answer spun = call("spin/spin", "[]");
    EXPECT_EQ(spun.fStatus, 503u) << spun.fBody;
    EXPECT_EQ(spun.identifier(), errorid::kTimedOut);
    // Within 2 s the spin service's worker uses no more CPU (interrupted, or killed and
    // replaced), and the next call is served within the same short time-out.
    EXPECT_TRUE(eventually(
        [&] {
            for (pid_t pid : workers()) {
                const long a = cpuTicks(pid);
                std::this_thread::sleep_for(100ms);
                const long b = cpuTicks(pid);
                if (a >= 0 && b - a > 2) return false;  // more than 20 ms of 100 ms
            }
            return true;
        },
        2s));
    const Answer next = call("spin/plus", "[1, 2]");
    EXPECT_EQ(next.fStatus, 200u) << next.fBody;
    EXPECT_EQ(next.fBody, R"({"results":[3]})");
}

TEST_F(FunctionWorkers, AWorkerThatDiesFailsOnlyItsCallAndIsReplaced) {
    struct Case {
        const char* fName;
        std::function<Answer()> fRun;
        const char* fIdentifier;
    };
    // clang-format off
    std::vector<Case> cases = {
        {"killed with SIGKILL", [&] { auto running = std::async(std::launch::async, [&] { return call("lab/nap", "[5]"); }); std::this_thread::sleep_for(300ms); for (pid_t pid : fInvoker->workerPids()) ::kill(pid, SIGKILL); return running.get(); }, errorid::kWorkerCrashed},
        // Beyond the worker's memory limit: the host's error, which a function can catch.
        {"out of memory", [&] { return call("lab/hog", "[]"); }, kBeyondTheLimit},
    };
    // clang-format on
#if !defined(__SANITIZE_THREAD__)
    // Under the thread sanitizer a worker recurses too slowly to overflow its stack within the
    // call's time-out.
    cases.insert(cases.begin(), Case{"stack overflow", [&] { return call("lab/deep", "[1]"); },
                                     errorid::kWorkerCrashed});
#endif
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fName);
        const Answer failed = c.fRun();
        EXPECT_EQ(failed.fStatus, 500u) << failed.fBody;
        EXPECT_EQ(failed.identifier(), c.fIdentifier) << failed.fBody;
        EXPECT_THAT(failed.fBody, ::testing::Not(HasSubstr(fFolder.path().string())));
        const Answer next = call("lab/plus", "[2, 3]");
        EXPECT_EQ(next.fBody, R"({"results":[5]})");
        EXPECT_TRUE(eventually([&] { return workers().size() == 4u; }, 10s));
    }
    // The pool is whole again: two calls that must meet run side by side.
    const fs::path a = fFolder.path() / "a", b = fFolder.path() / "b";
    auto first = std::async(std::launch::async, [&] {
        return call("lab/meet", "[\"" + a.string() + "\", \"" + b.string() + "\"]");
    });
    const Answer second = call("lab/meet", "[\"" + b.string() + "\", \"" + a.string() + "\"]");
    EXPECT_EQ(second.fBody, R"({"results":[1]})");
    EXPECT_EQ(first.get().fBody, R"({"results":[1]})");
}

TEST_F(FunctionWorkers, AFullQueueIsRefusedAtOnce) {
    const fs::path marker = fFolder.path() / "holding";
    auto busy = std::async(std::launch::async,
                           [&] { return call("one/hold", "[\"" + marker.string() + "\", 1]"); });
    ASSERT_TRUE(eventually([&] { return fs::exists(marker); }, 20s));
    const Answer refused = call("one/plus", "[1, 1]");  // one worker, busy; no queue
    EXPECT_EQ(refused.fStatus, 503u);
    EXPECT_EQ(refused.identifier(), errorid::kQueueFull) << refused.fBody;
    EXPECT_EQ(busy.get().fBody, R"({"results":[1]})");
    EXPECT_EQ(call("one/plus", "[1, 1]").fBody, R"({"results":[2]})");
}

// Arguments by the function's input names; names it has not, inputs left out before one given,
// and an input the function needed but the call did not give are the caller's mistakes (400).
TEST_F(FunctionWorkers, ArgumentsByNameAndMissingOnesAreAnswered400) {
    const struct {
        const char* fArgs;
        unsigned fStatus;
        const char* fSays;
    } cases[] = {
        {R"({"b": 3, "a": 2})", 200, R"({"results":[5]})"},
        {R"({"a": 2, "c": 3, "d": 4})", 400, R"(has no input \"c\", \"d\")"},
        {R"({"b": 3})", 400, R"(needs \"a\")"},
        {"[2]", 400, R"(Missing argument \"b\")"},
        {"{}", 400, R"(Missing argument \"a\")"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fArgs);
        const Answer answer = call("lab/plus", c.fArgs);
        EXPECT_EQ(answer.fStatus, c.fStatus) << answer.fBody;
        EXPECT_THAT(answer.fBody, HasSubstr(c.fSays));
        if (c.fStatus == 400) {
            EXPECT_EQ(answer.identifier(), errorid::kInvalidArguments);
        }
    }
}

TEST_F(FunctionWorkers, EveryWorkerUsesAnEditedFileFromItsNextCall) {
    auto both = [&] {
        auto other = std::async(std::launch::async, [&] { return call("lab/which", "[0.3]"); });
        const Answer mine = call("lab/which", "[0.3]");
        return std::make_pair(mine.fBody, other.get().fBody);
    };
    EXPECT_EQ(both(),
              std::make_pair(std::string(R"({"results":[1]})"), std::string(R"({"results":[1]})")));
    write("lab/which.k", "function r = which(s)\n  pause(s);\n  r = 22;\nend\n");
    EXPECT_EQ(both(), std::make_pair(std::string(R"({"results":[22]})"),
                                     std::string(R"({"results":[22]})")));
}

TEST_F(FunctionWorkers, WhatAFunctionPrintsGoesToTheFunctionLogWithItsCall) {
    const Answer talked = call("lab/talk", "[]");
    EXPECT_EQ(talked.fBody, R"({"results":[1]})");  // nothing printed reaches the answer
    const std::string log = functionLog();
    EXPECT_THAT(log, ::testing::ContainsRegex("Z lab/talk #[0-9]+: hello from a worker\n"));
    EXPECT_THAT(log, ::testing::ContainsRegex("Z lab/talk #[0-9]+: two\n"));
    EXPECT_THAT(log, ::testing::ContainsRegex("Z lab/talk #[0-9]+: lines\n"));
}

TEST_F(FunctionWorkers, StopLetsCallsInFlightFinishThenEndsEveryWorker) {
    const auto pids = workers();
    auto inFlight = std::async(std::launch::async, [&] { return call("lab/nap", "[0.5]"); });
    std::this_thread::sleep_for(200ms);
    fService->stop();
    EXPECT_EQ(inFlight.get().fBody, R"({"results":[0.5]})");
    for (pid_t pid : pids) EXPECT_FALSE(alive(pid)) << pid;  // ended and reaped
    EXPECT_TRUE(fInvoker->workerPids().empty());

    // A new start brings the pools back.
    fService->start();
    EXPECT_EQ(workers().size(), 4u);
    EXPECT_EQ(call("lab/plus", "[1, 2]").fBody, R"({"results":[3]})");
}

TEST_F(FunctionWorkers, InvalidSettingsStopTheStartWithAClearMessage) {
    fService->stop();
    write("lab/workers.json", R"({"workers": 0})");
    try {
        fService->start();
        FAIL() << "started with invalid settings";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), HasSubstr("workers.json"));
        EXPECT_THAT(e.what(), HasSubstr("\"workers\" must be a whole number from 1 to 64"));
    }
    EXPECT_EQ(fService->status(), Status::NotRunning);
    EXPECT_TRUE(fInvoker->workerPids().empty());
}

TEST_F(FunctionWorkers, AServiceAddedWhileRunningIsServedAndARemovedFileIsUnknown) {
    // No refresh: the catalogue looks again at a name it does not know; the pool starts on
    // demand.
    write("late/plus.k", "function s = plus(a, b)\n  s = a + b;\nend\n");
    EXPECT_EQ(call("late/plus", "[1, 2]").fBody, R"({"results":[3]})");
    EXPECT_EQ(workers().size(), 6u);
    // Removed: answered as an unknown function (404, no server path), not as a failure.
    fs::remove(fFolder.path() / "services" / "late" / "plus.k");
    const Answer gone = call("late/plus", "[1, 2]");
    EXPECT_EQ(gone.fStatus, 404u) << gone.fBody;
    EXPECT_EQ(gone.identifier(), errorid::kUnknownFunction);
    // A message of the language that names the file names it from the service on.
    write("late/misnamed.k", "function y = other(x)\n  y = x;\nend\n");
    const Answer misnamed = call("late/misnamed", "[1]");
    EXPECT_EQ(misnamed.identifier(), "KORVAN:lang:FunctionFile") << misnamed.fBody;
    EXPECT_NE(misnamed.fBody.find("'late/misnamed.k'"), std::string::npos) << misnamed.fBody;
    EXPECT_EQ(misnamed.fBody.find(fFolder.path().string()), std::string::npos) << misnamed.fBody;
}

}  // namespace
}  // namespace korvan::test
