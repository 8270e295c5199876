#include "Builtins.hpp"

#include <mutex>

#include "kcos/Builtins.hpp"
#include "kcos/Namespace.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/host/Functions.hpp"

namespace kcos {

void registerBuiltinClasses() {
    static std::once_flag once;
    std::call_once(once, [] {
        using namespace korvan::host::classes;
        COSNamespace* root = COSNamespace::getRootNamespace();
        root->addClass(makeNumericClassInfo("double", kxClassID::Double), 0, 2);
        root->addClass(makeNumericClassInfo("uint32", kxClassID::UInt32), 0, 2);
        root->addClass(makeDateTimeClassInfo(), 0, 2);
        root->addClass(makeDurationClassInfo(), 0, 2);
        for (auto [name, id] :
             {std::pair{"double", kxClassID::Double}, std::pair{"uint32", kxClassID::UInt32}}) {
            korvan::host::registerFunction(
                name, [id = id](int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) {
                    kxCheckArgumentCounts(nlhs, 1, nrhs, 1, 1);
                    plhs[0] = convertToNumeric(prhs[0], id);
                });
        }
        korvan::host::registerFunction("days", daysFunction);
    });
}

}  // namespace kcos

namespace {
// Registered as the library loads, so that every caller finds them.
const bool gBuiltinsRegistered = (kcos::registerBuiltinClasses(), true);
}  // namespace
