// The real services of a stress run, in the host's framework, as a korvan process has them
// (SessionServices): the settings store in a temporary folder, a function service "math"
// exposing the host function "stressTestPlus" as "plus", invokers on the harness's interpreter
// thread, the service host (its instances wrapped in CountingConnector) and the connector
// client bundle. The host's stop at the end is marked as a tear-down in the ledger so that it
// does not count as a flip.
//
// Threads: built and destroyed on the test's main thread (never the interpreter thread).
#pragma once

#include <memory>

#include "CountingConnector.hpp"
#include "SessionServices.hpp"
#include "korvan/host/Functions.hpp"

namespace korvan::test {

struct StressServices {
    std::shared_ptr<FlipLedger> fLedger = std::make_shared<FlipLedger>();
    // Registered before the services serve it, unregistered after they stopped.
    struct PlusFunction {
        PlusFunction() {
            korvan::host::registerFunction("stressTestPlus",
                                           [](int, kxArray** plhs, int nrhs, const kxArray** prhs) {
                                               double sum = 0;
                                               for (int i = 0; i < nrhs; ++i)
                                                   sum += kxGetScalar(prhs[i]);
                                               plhs[0] = kxCreateDoubleScalar(sum);
                                           });
        }
        ~PlusFunction() { korvan::host::unregisterFunction("stressTestPlus"); }
    } fPlus;
    korvan::test::SessionServices fServices{
        {},
        [ledger =
             fLedger](std::shared_ptr<korvan::services::servicehost::HostedConnector> connector)
            -> std::shared_ptr<korvan::services::servicehost::HostedService> {
            return std::make_shared<CountingConnector>(std::move(connector), ledger);
        }};
    std::shared_ptr<korvan::services::servicehost::ServiceHost>& fHost = fServices.fHost;

    StressServices() { fServices.fCatalog->expose("math", "plus", "stressTestPlus"); }
    ~StressServices() { fLedger->fTearingDown = true; }

    /// The registered instance, or null while the host is down.
    std::shared_ptr<CountingConnector> current() const {
        return std::static_pointer_cast<CountingConnector>(fHost->current());
    }
};

}  // namespace korvan::test
