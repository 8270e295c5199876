// The connector module's exported entry points: the only symbols of the module's own that the
// library exports (everything else has hidden visibility).
//
// Unmangled, called by the host's module loader and function table:
//   KVInitialize_libzxrestfcnconnector  registers korvan.engine.rest and its classes, once;
//   KVTerminate_libzxrestfcnconnector   does nothing (the singletons end at unload);
//   restFunctionConnectorBuiltinFcn     the built-in that hands user code a connector object.
// In rest::kv::connector::api, for the host and other modules:
//   initializeModule        does nothing; calling it forces the library (and its static
//                           initialisers) to load;
//   showAccessDialogWindow  asks the user's consent to remote access (korvan.internal.rest).
//
// Threads: all of them run on the host interpreter thread.
#pragma once

#include "korvan/module/Export.hpp"
#include "kx/kxArray.hpp"

extern "C" {
KORVAN_MODULE_EXPORT void KVInitialize_libzxrestfcnconnector();
KORVAN_MODULE_EXPORT void KVTerminate_libzxrestfcnconnector();
KORVAN_MODULE_EXPORT void restFunctionConnectorBuiltinFcn(int nlhs, kxArray** plhs, int nrhs,
                                                          const kxArray** prhs);
}

namespace rest::kv::connector::api {

KORVAN_MODULE_EXPORT void initializeModule();

/// True only when the dialog returned the logical scalar true; a failed call, or any other
/// output, counts as refusal. Runs host-language code: interpreter thread only.
KORVAN_MODULE_EXPORT bool showAccessDialogWindow();

}  // namespace rest::kv::connector::api
