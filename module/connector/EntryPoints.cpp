// The module initialiser, terminator, the built-in function and initializeModule.
#include <string>

#include "classes/Registration.hpp"
#include "connector/Api.hpp"
#include "foundation/feature/Feature.hpp"
#include "kcos/Class.hpp"
#include "kcos/Instance.hpp"
#include "kcos/Interned.hpp"
#include "kcos/Namespace.hpp"
#include "korvan/host/Errors.hpp"

namespace {

// Set once the classes are registered; the host initialises modules from one thread.
bool gInitialized = false;

// The built-in's answer when no connector object can be offered.
void setEmptyResult(kxArray** plhs) {
    plhs[0] = kxCreateDoubleMatrix(0, 0);
}

}  // namespace

extern "C" void KVInitialize_libzxrestfcnconnector() {
    if (!gInitialized) {
        rest::kv::connector::registerClasses();
        gInitialized = true;
    }
}

extern "C" void KVTerminate_libzxrestfcnconnector() {}

extern "C" void restFunctionConnectorBuiltinFcn(int nlhs, kxArray** plhs, int nrhs,
                                                const kxArray** /*prhs*/) {
    if (nlhs > 1) {
        kxErrTooManyOutputs();
    }
    if (nrhs > 0) {
        kxErrTooManyInputs();
    }
    if (nrhs < 0) {
        kxErrNotEnoughInputs();
    }

    static const foundation::feature::Feature feature(1, "RestFunctionService");
    if (!foundation::feature::IFeature::get(feature)) {
        setEmptyResult(plhs);
        return;
    }
    kcos::COSNamespace* ns =
        kcos::COSNamespace::getNamespace(kcos::internal::makeInterned("korvan.engine.rest"));
    if (ns == nullptr) {
        setEmptyResult(plhs);
        return;
    }
    kcos::COSClass* cls = ns->getClass(kcos::internal::makeInterned("RESTFunctionConnector"));
    if (cls == nullptr) {
        setEmptyResult(plhs);
        return;
    }
    // The class's createInstanceData attaches the process-wide RestConnector; its errors
    // (NoConnectorFound) pass through, and then no object results.
    plhs[0] = kxCreateObjectScalar(cls->createInstance());
}

namespace rest::kv::connector::api {

void initializeModule() {}

}  // namespace rest::kv::connector::api
