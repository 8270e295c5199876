// bench_module_internals: parts of the connector module timed on their own. The module's
// sources are compiled into this executable (the library exports only its entry points), the
// connector client is FixedDocumentClient, and the work runs on an interpreter thread as in
// the host. Times:
//  - getAllProperties on a realistic property document (parse and store eleven fields);
//  - enumMemberForValue for the Status and ClientAccessMode enumerations;
//  - property reads through the class-object system with this instant client: the module's
//    and the host's share of a read, without the connector client's JSON round trip;
//  - postToInterpreter (fire-and-forget) and the execution of the posted work: a batch is
//    posted from another thread, the time runs until the last one has run.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include <cppmicroservices/BundleContext.h>

#include "FixedDocumentClient.hpp"
#include "classes/Registration.hpp"
#include "common/Dispatch.hpp"
#include "connector/RestfcnConnector.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "korvan/host/UserCode.hpp"
#include "xvm/RunOnInterpreter.hpp"

extern "C" void KVInitialize_libzxrestfcnconnector();
extern "C" void restFunctionConnectorBuiltinFcn(int nlhs, kxArray** plhs, int nrhs,
                                                const kxArray** prhs);

namespace korvan::bench {
namespace {

using rest::kv::connector::RestConnector;

// The interpreter, the fixed client in the framework and one connector object.
struct Internals {
    korvan::host::InterpreterThread fThread;
    cppmicroservices::ServiceRegistrationU fClient;
    kx::ArrayPtr fConnector;

    Internals() {
        auto context = foundation::cppmicroservices::getFramework().GetBundleContext();
        fClient = context.RegisterService<rest::kv::connectorclient::RestFcnConnectorClient>(
            std::make_shared<FixedDocumentClient>());
        run([this] {
            KVInitialize_libzxrestfcnconnector();
            korvan::host::registerFunction("restFunctionConnector",
                                           &restFunctionConnectorBuiltinFcn);
            fConnector = std::move(korvan::host::UserCode().call("restFunctionConnector").at(0));
        });
    }

    template <class F>
    void run(F&& work) {
        xvm::callOnInterpreter(fThread.getXVM(), std::forward<F>(work), std::chrono::minutes(10),
                               "Bench");
    }
};

Internals& internals() {
    // Never destroyed: the module's static connector outlives main.
    static Internals* const instance = new Internals();
    return *instance;
}

void getAllProperties(benchmark::State& state) {
    internals().run([&] {
        RestConnector* connector = RestConnector::getInstance();
        for (auto _ : state) {
            connector->getAllProperties();
        }
    });
    state.counters["document_bytes"] = static_cast<double>(FixedDocumentClient::document().size());
}
BENCHMARK(getAllProperties)->UseRealTime();

void enumMemberForValue(benchmark::State& state, const char* className, std::uint32_t value) {
    internals().run([&] {
        for (auto _ : state) {
            kxArray* member = rest::kv::connector::enumMemberForValue(value, className);
            if (member == nullptr) {
                state.SkipWithError("no such member");
                break;
            }
            benchmark::DoNotOptimize(member);  // borrowed: the enumeration owns it
        }
    });
}
BENCHMARK_CAPTURE(enumMemberForValue, StatusRunning, "korvan.engine.rest.Status", 1)->UseRealTime();
BENCHMARK_CAPTURE(enumMemberForValue, AccessModeLocal, "korvan.engine.rest.ClientAccessMode", 0)
    ->UseRealTime();

void propertyReadFixedClient(benchmark::State& state, const char* name) {
    auto& in = internals();
    in.run([&] {
        korvan::host::UserCode user;
        for (auto _ : state) {
            kx::ArrayPtr value = user.getProperty(in.fConnector.get(), name);
            benchmark::DoNotOptimize(value.get());
        }
    });
}
BENCHMARK_CAPTURE(propertyReadFixedClient, Port, "Port")->UseRealTime();
BENCHMARK_CAPTURE(propertyReadFixedClient, Status, "Status")->UseRealTime();
BENCHMARK_CAPTURE(propertyReadFixedClient, BaseURL, "BaseURL")->UseRealTime();

void postToInterpreter(benchmark::State& state) {
    // One iteration: a batch of posts from this thread, timed until the last one has run on
    // the interpreter thread; the counter gives the time per post and its execution.
    constexpr std::int64_t kBatch = 1000;
    auto& in = internals();
    const auto& vm = in.fThread.getXVM();
    std::atomic<std::int64_t> ran{0};
    std::int64_t posted = 0;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < kBatch; ++i) {
            rest::kv::connector::postToInterpreter(vm, [&ran] { ran.fetch_add(1); });
        }
        posted += kBatch;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (ran.load() < posted && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        if (ran.load() != posted) {
            state.SkipWithError("posted work did not run within 60 s");
            break;
        }
    }
    state.counters["per_post"] = benchmark::Counter(
        static_cast<double>(posted), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(postToInterpreter)->UseRealTime();

}  // namespace
}  // namespace korvan::bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    korvan::bench::internals();
    benchmark::RunSpecifiedBenchmarks();
    korvan::bench::internals().run([] { korvan::bench::internals().fConnector = kx::ArrayPtr(); });
    benchmark::Shutdown();
    std::quick_exit(0);  // the module's static connector would outlive the interpreter thread
}
