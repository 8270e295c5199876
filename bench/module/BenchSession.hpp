// BenchSession: the process-wide set-up of bench_module, as a person's session has it: an
// interpreter served by a thread of its own, the connector module loaded on it by the host's
// module loader, and the real services in the host's framework (settings store in a temporary
// folder, a function service "math" exposing "plus", the service host with hosted connectors,
// the connector client bundle). The connector object is created once and started on a free
// loopback port, so that property reads see a running connector.
//
// Ownership: instance() creates the session on first use; shutdown() stops the connector and
// tears the services down in reverse order (call it once, after the benchmarks). The module
// itself stays loaded until the process ends.
//
// Threads: run() from any thread except the interpreter thread; the benchmarks that time user
// code run their whole timing loop inside one run(), on the interpreter thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "korvan/host/InterpreterThread.hpp"
#include "kx/kxArray.hpp"
#include "xvm/RunOnInterpreter.hpp"

namespace korvan::services::servicehost {
class ServiceHost;
}

namespace korvan::bench {

/// What a program outside the process needs to call the running connector.
struct Endpoint {
    std::uint16_t fPort = 0;
    std::string fApiPath;  // the path of BaseURL, "/v1"
    std::string fToken;
    std::string fCertificate;
};

class BenchSession {
  public:
    static BenchSession& instance();

    /// Runs `work` on the interpreter thread and returns its value (or rethrows).
    template <class F>
    std::invoke_result_t<F&> run(F&& work) {
        return xvm::callOnInterpreter(vm(), std::forward<F>(work), std::chrono::minutes(10),
                                      "Bench");
    }

    const std::shared_ptr<xvm::XVM>& vm() const { return fThread->getXVM(); }
    /// The connector object (use on the interpreter thread only).
    const kxArray* connector() const { return fConnector.get(); }
    services::servicehost::ServiceHost& host();
    const Endpoint& endpoint() const { return fEndpoint; }

    void shutdown();

  private:
    BenchSession();
    struct Services;

    std::unique_ptr<korvan::host::InterpreterThread> fThread;
    std::unique_ptr<Services> fServices;
    kx::ArrayPtr fConnector;  // released on the interpreter thread by shutdown()
    Endpoint fEndpoint;
};

/// Whether GET <api>/health answers 200 over HTTPS (certificate verified), within 2 s.
bool healthAnswers(const Endpoint& endpoint);

}  // namespace korvan::bench
