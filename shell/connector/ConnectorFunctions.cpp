// The host-language functions around the connector (see ConnectorFunctions.hpp).
//
// The service host functions hold the host weakly: the application owns it, and once it has
// let go of it (at the end of the process) they report that no service host runs instead of
// keeping it alive from the process-wide function table.
#include "korvan/shell/ConnectorFunctions.hpp"

#include <iostream>
#include <string>

#include "ConsentDialog.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/lang/Interpreter.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::shell {
namespace {

using korvan::services::servicehost::ServiceHost;

constexpr const char* kComponent = "KORVAN:servicehost";

std::ostream& output() {
    lang::Interpreter* in = lang::Interpreter::current();
    return in ? in->out() : std::cout;
}

std::shared_ptr<ServiceHost> requireHost(const std::weak_ptr<ServiceHost>& host) {
    auto locked = host.lock();
    if (!locked) korvan::host::throwError(kComponent, "NoServiceHost");
    return locked;
}

// The step of flip(step): a text "down" or "up".
std::string flipStep(const kxArray* step) {
    std::string text;
    if (kxIsChar(step) && kxGetM(step) <= 1) {
        text = kxGetCharTextUtf8(step);
    } else if (kxIsStringArray(step) && kxGetNumberOfElements(step) == 1 &&
               kxGetStringElement(step, 0)) {
        text = kx::utf16ToUtf8(*kxGetStringElement(step, 0));
    } else {
        korvan::host::throwError(kComponent, "InvalidFlipStep",
                                 "a value of class " + kxGetClassName(step));
    }
    if (text != "down" && text != "up")
        korvan::host::throwError(kComponent, "InvalidFlipStep", "\"" + text + "\"");
    return text;
}

}  // namespace

void registerConnectorFunctions(std::shared_ptr<ServiceHost> host) {
    std::weak_ptr<ServiceHost> weak = host;

    korvan::host::registerFunction("korvan.internal.rest.showDialog",
                                   [](int nlhs, kxArray** plhs, int nrhs, const kxArray**) {
                                       kxCheckArgumentCounts(nlhs, 1, nrhs, 0, 0);
                                       plhs[0] = kxCreateLogicalScalar(showAccessDialog(output()));
                                   });

    korvan::host::registerFunction("korvan.internal.servicehost.flip",
                                   [weak](int nlhs, kxArray**, int nrhs, const kxArray** prhs) {
                                       kxCheckArgumentCounts(nlhs, 0, nrhs, 0, 1);
                                       // The argument is checked before the host, so a mistyped
                                       // step is reported as such.
                                       std::string step =
                                           nrhs == 1 ? flipStep(prhs[0]) : std::string();
                                       auto target = requireHost(weak);
                                       if (step == "down")
                                           target->flipDown();
                                       else if (step == "up")
                                           target->flipUp();
                                       else
                                           target->flip();
                                   });

    korvan::host::registerFunction("korvan.internal.servicehost.notifyUpdate",
                                   [weak](int nlhs, kxArray**, int nrhs, const kxArray**) {
                                       kxCheckArgumentCounts(nlhs, 0, nrhs, 0, 0);
                                       requireHost(weak)->notifyUpdate();
                                   });
}

}  // namespace korvan::shell
