// bench_module: the connector module as user code uses it, with the real services behind it
// (see BenchSession.hpp). Times:
//  - a property read (Port, Status, BaseURL) and a write of Port with its current value,
//    through the class-object system with the public client, on the interpreter thread;
//  - a round trip to the interpreter thread (post, run, the waiting caller woken), as a call
//    arriving over HTTPS makes it;
//  - an update flip: from the service host's flip() returning (the old instance is down) to
//    GET /health answering 200 over HTTPS again, after the module restarted the connector.
// Timing loops of user code run inside one task on the interpreter thread, so the figures do
// not include the hop to it. Real time is reported (the caller's thread only waits).
#include <benchmark/benchmark.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

#include "BenchSession.hpp"
#include "korvan/host/UserCode.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"

namespace korvan::bench {
namespace {

void propertyRead(benchmark::State& state, const char* name) {
    auto& session = BenchSession::instance();
    session.run([&] {
        korvan::host::UserCode user;
        const kxArray* c = session.connector();
        for (auto _ : state) {
            kx::ArrayPtr value = user.getProperty(c, name);
            benchmark::DoNotOptimize(value.get());
        }
    });
}
BENCHMARK_CAPTURE(propertyRead, Port, "Port")->UseRealTime();
BENCHMARK_CAPTURE(propertyRead, Status, "Status")->UseRealTime();
BENCHMARK_CAPTURE(propertyRead, BaseURL, "BaseURL")->UseRealTime();

void propertyWritePortUnchanged(benchmark::State& state) {
    auto& session = BenchSession::instance();
    session.run([&] {
        korvan::host::UserCode user;
        const kxArray* c = session.connector();
        const kx::ArrayPtr port = user.getProperty(c, "Port");
        for (auto _ : state) {
            user.setProperty(c, "Port", port.get());
        }
    });
}
BENCHMARK(propertyWritePortUnchanged)->UseRealTime();

void interpreterRoundTrip(benchmark::State& state) {
    auto& session = BenchSession::instance();
    int ran = 0;
    for (auto _ : state) {
        xvm::runOnInterpreter(
            session.vm(), [&ran] { ++ran; }, std::chrono::seconds(10), "Bench");
    }
    if (ran != static_cast<int>(state.iterations())) {
        state.SkipWithError("posted work did not run");
    }
}
BENCHMARK(interpreterRoundTrip)->UseRealTime();

void updateFlipToHttps(benchmark::State& state) {
    auto& session = BenchSession::instance();
    auto& host = session.host();
    for (auto _ : state) {
        host.flip();  // the old instance's server has stopped when this returns
        const auto start = std::chrono::steady_clock::now();
        const auto deadline = start + std::chrono::seconds(30);
        while (!healthAnswers(session.endpoint())) {
            if (std::chrono::steady_clock::now() > deadline) {
                state.SkipWithError("no HTTPS answer within 30 s of a flip");
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(elapsed.count());
        // Not timed: the module's restart task goes on after the server answers (it refreshes
        // the property cache, whose Status the next flip's onRemoved reads). A flip that comes
        // before the task has finished finds Status still "not running" and the connector is
        // not restarted; let the task finish, as flips hours apart do.
        session.run([] {});
    }
}
BENCHMARK(updateFlipToHttps)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace korvan::bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    korvan::bench::BenchSession::instance();  // set up before the first timing
    benchmark::RunSpecifiedBenchmarks();
    korvan::bench::BenchSession::instance().shutdown();
    benchmark::Shutdown();
    return 0;
}
