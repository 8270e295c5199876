// Stress: update flips in a loop while user code reads and writes the connector's properties
// and starts and stops it, and HTTPS clients call a function, all through the connector
// module with the real services (the service host, hosted connectors, settings store and
// connector client bundle) in one process.
//
// Actors: the flipper thread (ServiceHost::flip, and now and then flipDown ... flipUp with a
// pause in between), the user (this thread, acting through the harness's interpreter thread)
// and KORVAN_STRESS_CLIENTS HTTPS clients on loopback (3 by default). A watchdog aborts with
// the counts when an actor stalls. At the end: the connector runs exactly when the user left
// it running (module Status, the hosted instance and a /health probe agree), every flip while
// running was followed by a restart, and once everything is torn down the process has the
// threads and descriptors it had after a warm-up round.
//
// KORVAN_STRESS_FLIPS sets the number of flips (200 by default; 10000 for the long run),
// KORVAN_STRESS_SEED the seed of the random choices (printed).
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ModuleHarness.hpp"
#include "SessionHttps.hpp"
#include "StressCounts.hpp"
#include "StressServices.hpp"
#include "UserActions.hpp"
#include "Watchdog.hpp"

namespace korvan::test {
namespace {

using namespace std::chrono_literals;
using korvan::test::ModuleHarness;
using korvan::test::Value;
using korvan::test::waitUntil;
namespace user = korvan::test::user;
namespace session = korvan::test;

constexpr const char* kNoConnectorFound = "KORVAN:restFcnService:NoConnectorFound";

std::uint64_t envNumber(const char* name, std::uint64_t fallback) {
    const char* text = std::getenv(name);
    if (text == nullptr || *text == '\0') return fallback;
    return std::strtoull(text, nullptr, 10);
}

// What the clients need to call the running connector (constant across flips: the settings
// and the certificate live in the settings folder).
struct Endpoint {
    std::uint16_t fPort = 0;
    std::string fApiPath;
    std::string fToken;
    std::string fCertificate;
};

Endpoint endpointOf(const Value& c, std::uint16_t port) {
    Endpoint endpoint;
    endpoint.fPort = port;
    const std::string baseUrl = korvan::test::text(user::get(c, "BaseURL"));
    endpoint.fApiPath = baseUrl.substr(("https://localhost:" + std::to_string(port)).size());
    endpoint.fToken = korvan::test::text(user::get(c, "RESTPersonalAccessToken"));
    endpoint.fCertificate = korvan::test::text(user::get(c, "Certificate"));
    return endpoint;
}

session::Request plusRequest(const Endpoint& endpoint, long a, long b) {
    session::Request request;
    request.fPort = endpoint.fPort;
    request.fMethod = session::http::verb::post;
    request.fTarget = endpoint.fApiPath + "/services/math/plus";
    request.fBody = "{\"args\":[" + std::to_string(a) + "," + std::to_string(b) + "]}";
    request.fToken = endpoint.fToken;
    request.fTrusted = endpoint.fCertificate;
    request.fTimeout = 3s;  // each step; a whole request stays well under the watchdog's limit
    return request;
}

bool healthAnswers(const Endpoint& endpoint) {
    session::Request request;
    request.fPort = endpoint.fPort;
    request.fTarget = endpoint.fApiPath + "/health";
    request.fTrusted = endpoint.fCertificate;
    request.fTimeout = 2s;
    const auto reply = session::httpsRequest(request);
    return reply && reply->fStatus == 200;
}

std::string statusOf(const Value& c) {
    return user::memberName(user::get(c, "Status"));
}

// An HTTPS client: calls plus(a, b) until told to stop; a wrong sum or an unexpected status
// is a failure, a missing reply or a 503 (the service going away mid-call) is counted.
void clientLoop(const Endpoint& endpoint, unsigned seed, const std::atomic<bool>& stop,
                Counts& counts, Watchdog::Activity& activity) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<long> number(-100000, 100000);
    while (!stop) {
        const long a = number(random);
        const long b = number(random);
        std::string error;
        const auto reply = session::httpsRequest(plusRequest(endpoint, a, b), &error);
        ++counts.fCalls;
        activity.beat();
        if (!reply) {
            if (error.find("certificate verify failed") != std::string::npos) {
                counts.fail("client: TLS verification failed: " + error);
            }
            ++counts.fCallsNoReply;
            counts.countError("call: no reply: " + error);
        } else if (reply->fStatus == 503) {
            ++counts.fCalls503;
            counts.countError("call: 503");
        } else if (reply->fStatus != 200) {
            counts.fail("client: status " + std::to_string(reply->fStatus) + ": " + reply->fBody);
        } else {
            const auto expected =
                boost::json::parse("{\"results\":[" + std::to_string(a + b) + "]}");
            boost::json::value got;
            try {
                got = boost::json::parse(reply->fBody);
            } catch (const std::exception&) {
            }
            if (got != expected) {
                counts.fail("client: wrong result for " + std::to_string(a) + "+" +
                            std::to_string(b) + ": " + reply->fBody);
            } else {
                ++counts.fCallsOk;
            }
            continue;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2 + random() % 5));
    }
}

// The flipper: `flips` flips, one in five split into its halves with a pause in between.
// After a flip that found the connector running it waits (bounded) until the fresh instance
// has been started: the module posts one restart per appearance of the service, and the
// service must not go away again before that restart has run for it to be owed.
void flipLoop(StressServices& services, std::uint64_t flips, unsigned seed, Counts& counts,
              Watchdog::Activity& activity) {
    std::mt19937 random(seed);
    for (std::uint64_t i = 0; i < flips && counts.failureCount() == 0; ++i) {
        const auto old = services.current()->index();
        try {
            if (random() % 5 == 0) {
                services.fHost->flipDown();
                std::this_thread::sleep_for(std::chrono::milliseconds(random() % 15));
                services.fHost->flipUp();
                ++counts.fSplitFlips;
            } else {
                services.fHost->flip();
            }
        } catch (const std::exception& e) {
            counts.fail(std::string("flip threw: ") + e.what());
        }
        ++counts.fFlips;
        activity.beat();
        if (services.fLedger->at(old).fRunningAtFlip) {
            const bool restarted = waitUntil(
                [&] {
                    return services.fLedger->at(old + 1).fStarted || services.fLedger->at(old).fCut;
                },
                10s);
            if (!restarted) {
                counts.fail("flip " + std::to_string(i + 1) + ": instance " + std::to_string(old) +
                            " ran when flipped away, its successor was never started");
            }
            activity.beat();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
    }
}

// One user action through the module; returns after it ran on the interpreter thread.
// Errors of a service that is away are counted; a start they cut short is marked in the ledger.
void userAction(const Value& c, std::uint16_t port, std::mt19937& random, FlipLedger& ledger,
                Counts& counts) {
    static const char* const kNames[] = {"Port read", "Port write", "Status",
                                         "BaseURL",   "start",      "stop"};
    static const int kWeights[] = {3, 2, 3, 2, 2, 1};
    std::discrete_distribution<int> pick(std::begin(kWeights), std::end(kWeights));
    const int action = pick(random);
    const auto userStartsBefore = ledger.fUserStarts.load();
    const auto error = korvan::test::catchError([&] {
        switch (action) {
            case 0:
                if (const double got = korvan::test::scalar(user::get(c, "Port")); got != port) {
                    counts.fail("Port read " + std::to_string(got));
                }
                break;
            case 1:
                user::set(c, "Port", korvan::test::num(port));
                break;
            case 2:
                if (const auto s = statusOf(c); s != "running" && s != "notrunning") {
                    counts.fail("Status read \"" + s + "\"");
                }
                break;
            case 3:
                if (const auto url = korvan::test::text(user::get(c, "BaseURL"));
                    url.rfind("https://localhost:" + std::to_string(port) + "/", 0) != 0) {
                    counts.fail("BaseURL read \"" + url + "\"");
                }
                break;
            case 4:
                user::method(c, "start");
                ++counts.fUserStarts;
                break;
            default:
                user::method(c, "stop");
                ++counts.fUserStops;
                break;
        }
    });
    ++counts.fUserActions;
    if (error.fId.empty()) return;
    // The service is away (between the halves of a flip), or the instance the call reached
    // was shut down by a flip while the call was under way.
    const char* down = error.fId == kNoConnectorFound ? "NoConnectorFound"
                       : error.fText.find("is not available") != std::string::npos ? "not available"
                       : error.fText.find("has been shut down") != std::string::npos
                           ? "instance shut down"
                           : nullptr;
    if (down != nullptr) {
        ++counts.fUserDownErrors;
        counts.countError(std::string("user: ") + kNames[action] + ": " + down);
        if (action == 4 && ledger.fUserStarts.load() != userStartsBefore) ledger.markCut();
        return;
    }
    counts.fail(std::string("user: ") + kNames[action] + ": " + error.fId + ": " + error.fText);
}

// A first round with every piece (module load, start, a call, a flip, stop, tear-down), so that
// the long-lived threads (registry, executor, interpreter) exist before the baseline is taken.
void warmUp() {
    auto& harness = ModuleHarness::instance();
    StressServices services;
    harness.loadModule();
    Value c = user::connector();
    const auto port = session::freeLoopbackPort();
    user::set(c, "Port", korvan::test::num(port));
    user::method(c, "start");
    const Endpoint endpoint = endpointOf(c, port);
    ASSERT_TRUE(session::httpsRequest(plusRequest(endpoint, 1, 2)).has_value());
    services.fHost->flip();
    ASSERT_TRUE(waitUntil([&] { return healthAnswers(endpoint); }, 15s)) << "no restart";
    user::method(c, "stop");
    c.reset();
    harness.drainInterpreter();
}

TEST(StressTest, FlipsUserCodeAndCallsTogether) {
    const std::uint64_t flips = envNumber("KORVAN_STRESS_FLIPS", 200);
    const std::uint64_t clients = envNumber("KORVAN_STRESS_CLIENTS", 3);
    const auto seed =
        static_cast<unsigned>(envNumber("KORVAN_STRESS_SEED", std::random_device{}()));
    std::printf("stress: flips=%llu clients=%llu seed=%u\n", static_cast<unsigned long long>(flips),
                static_cast<unsigned long long>(clients), seed);
    auto& harness = ModuleHarness::instance();
    Counts counts;
    std::shared_ptr<FlipLedger> ledger;
    std::uint64_t cutStarts = 0;
    auto countsText = [&counts, &ledger, &cutStarts] {
        std::string text = counts.summary();
        if (auto l = ledger) {
            text += "\n    instances=" + std::to_string(l->fInstances) +
                    " flipsWhileRunning=" + std::to_string(l->fFlipsWhileRunning) +
                    " restarts=" + std::to_string(l->fRestarts) +
                    " userStartsAtService=" + std::to_string(l->fUserStarts) +
                    " startsCutByFlip=" + std::to_string(cutStarts) +
                    " restoresWithoutStart=" + std::to_string(l->fRestoresWithoutStart);
        }
        return text;
    };
    Watchdog watchdog(20s, countsText);

    auto warm = watchdog.add("warm-up");
    warmUp();
    if (HasFatalFailure()) return;
    harness.drainInterpreter();
    warm->finish();
    const std::size_t baseThreads = procEntries("task");
    const std::size_t baseFds = procEntries("fd");

    const auto started = std::chrono::steady_clock::now();
    {
        StressServices services;
        ledger = services.fLedger;
        Value c = user::connector();
        const auto port = session::freeLoopbackPort();
        user::set(c, "Port", korvan::test::num(port));
        user::method(c, "start");
        const Endpoint endpoint = endpointOf(c, port);

        std::atomic<bool> stopClients{false};
        std::vector<std::thread> clientThreads;
        for (std::uint64_t i = 0; i < clients; ++i) {
            auto activity = watchdog.add("client " + std::to_string(i));
            clientThreads.emplace_back([&, activity, i] {
                clientLoop(endpoint, seed + 17 * static_cast<unsigned>(i + 1), stopClients, counts,
                           *activity);
                activity->finish();
            });
        }
        auto flipper = watchdog.add("flipper");
        std::atomic<bool> flipperDone{false};
        std::thread flipThread([&] {
            flipLoop(services, flips, seed, counts, *flipper);
            flipper->finish();
            flipperDone = true;
        });

        auto userActivity = watchdog.add("user code");
        std::mt19937 random(seed + 1);
        while (!flipperDone) {
            userAction(c, port, random, *ledger, counts);
            userActivity->beat();
        }
        flipThread.join();
        stopClients = true;
        for (auto& thread : clientThreads) thread.join();
        userActivity->finish();

        // Quiet: the host is up and everything posted to the interpreter thread has run.
        auto settle = watchdog.add("settling");
        if (!services.fHost->isUp()) services.fHost->flipUp();
        settle->beat();
        waitUntil([&] { return !services.current()->running() || healthAnswers(endpoint); }, 5s);
        harness.drainInterpreter();
        settle->beat();
        // The module, the hosted instance and the network agree, whatever the user left.
        const bool hostedRunning = services.current()->running();
        EXPECT_EQ(statusOf(c) == "running", hostedRunning) << "module Status against the host";
        EXPECT_EQ(healthAnswers(endpoint), hostedRunning) << "/health against the host";

        // Every flip that found the connector running was followed by a start of its
        // successor, unless a user's start on it had been cut short by that flip.
        const auto instances = ledger->all();
        for (std::size_t i = 0; i + 1 < instances.size(); ++i) {
            if (instances[i].fRunningAtFlip && !instances[i].fCut) {
                EXPECT_TRUE(instances[i + 1].fStarted) << "no restart after instance " << i;
            }
            if (instances[i].fCut) ++cutStarts;
        }
        EXPECT_EQ(counts.fFlips.load(), flips);
        EXPECT_EQ(counts.failureCount(), 0u);
        for (const auto& failure : counts.failures()) ADD_FAILURE() << failure;
        // Calls under load may all miss the short windows in which the connector runs (in a
        // slow sanitizer build they do); the quiet round below makes one that must get through.

        // A last round with nobody else acting: start, a flip, the restart, stop.
        user::method(c, "start");
        EXPECT_EQ(statusOf(c), "running");
        EXPECT_TRUE(services.current()->running());
        const auto before = services.current()->index();
        services.fHost->flip();
        settle->beat();
        EXPECT_TRUE(waitUntil([&] { return healthAnswers(endpoint); }, 15s))
            << "no restart after the last flip; last failed start: " << [&] {
                   std::lock_guard lock(ledger->fFailureMutex);
                   return ledger->fStartFailure;
               }();
        harness.drainInterpreter();
        EXPECT_TRUE(ledger->at(before + 1).fStarted);
        EXPECT_EQ(statusOf(c), "running");
        {
            std::string error;
            const auto reply = session::httpsRequest(plusRequest(endpoint, 40, 2), &error);
            ASSERT_TRUE(reply.has_value()) << "no call through the restarted connector: " << error;
            EXPECT_EQ(reply->fStatus, 200u) << reply->fBody;
            EXPECT_EQ(boost::json::parse(reply->fBody), boost::json::parse(R"({"results":[42]})"));
        }
        user::method(c, "stop");
        EXPECT_EQ(statusOf(c), "notrunning");
        EXPECT_FALSE(services.current()->running());
        EXPECT_FALSE(healthAnswers(endpoint)) << "still answering after stop";
        settle->finish();

        auto teardown = watchdog.add("tear-down");
        c.reset();
        harness.drainInterpreter();
        teardown->finish();
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    auto leaks = watchdog.add("leak check");
    harness.drainInterpreter();
    waitUntil([&] { return procEntries("task") <= baseThreads && procEntries("fd") <= baseFds; },
              10s);
    EXPECT_EQ(procEntries("task"), baseThreads) << "threads left after tear-down";
    EXPECT_EQ(procEntries("fd"), baseFds) << "descriptors left after tear-down";
    leaks->finish();
    std::printf("stress: %.1f s\n    %s\n", seconds, countsText().c_str());
    harness.stop();
}

}  // namespace
}  // namespace korvan::test
