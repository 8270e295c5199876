// The host's function table: every function user code can call by name, whether a built-in
// bound from a module (restFunctionConnector), a host built-in (days, disp) or a function of a
// package (korvan.internal.rest.showDialog). The class-object system's omCallMethod, the module
// loader and the interpreter all resolve names here.
//
// Calling convention (the built-in form): `nlhs` outputs requested (0 still allows one output,
// the "ans" value), `plhs` has room for max(nlhs, 1) results, which the callee creates and the
// caller then owns (one reference each); `prhs` are the inputs, borrowed for the call. Errors are
// thrown as exceptions (identifier-carrying host errors).
//
// Threads: the table is guarded by a reader-writer lock and may be used from any thread;
// functions themselves run on the thread that calls them (the interpreter thread).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "korvan/host/Export.hpp"
#include "kx/kxArray.hpp"

namespace korvan::host {

/// The exported built-in entry form of a module.
using BuiltinFcn = void (*)(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs);
using Function = std::function<void(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs)>;

/// Adds or replaces the function called `fullName` ("disp", "korvan.internal.rest.showDialog").
KORVAN_HOST_EXPORT void registerFunction(const std::string& fullName, Function function);
/// Removes it; returns false when there was none.
KORVAN_HOST_EXPORT bool unregisterFunction(const std::string& fullName);
/// A copy of the function, or nullopt when no function has that name.
KORVAN_HOST_EXPORT std::optional<Function> findFunction(const std::string& fullName);
/// All names, sorted (for help texts and completion).
std::vector<std::string> functionNames();

}  // namespace korvan::host
