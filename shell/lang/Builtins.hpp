// The language's built-in functions, registered in the host function table
// (korvan/host/Functions.hpp) under their plain names. Functions the host already provides
// (double, uint32, days) are left as they are.
//
// Each file registers one group: BuiltinsMath.cpp (numbers and arrays), BuiltinsText.cpp
// (texts, formatting, conversions), BuiltinsSystem.cpp (output, errors, warnings, environment,
// pause, delete), BuiltinsCommand.cpp (system), BuiltinsHelp.cpp (help, properties, methods),
// BuiltinsContainers.cpp (cells and structs). Output goes to the running Interpreter's stream,
// or std::cout. Threads: registration is once per process (thread-safe); the functions run on the
// interpreter thread.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Values.hpp"

namespace korvan::lang {

using Args = std::vector<const kxArray*>;
/// A built-in in the form this library writes them: the inputs and the number of outputs
/// asked for; returns the outputs (at most max(nlhs, 1) are used).
using Builtin = std::function<std::vector<Value>(const Args& args, int nlhs)>;

/// Registers `fn` under `name` with the host calling convention; checks the input count
/// (maxInputs < 0: no limit) and that enough outputs come back.
void defineBuiltin(const std::string& name, int minInputs, int maxInputs, Builtin fn);

void registerBuiltins();
void registerMathBuiltins();
void registerTextBuiltins();
void registerSystemBuiltins();
void registerCommandBuiltins();
void registerHelpBuiltins();
void registerContainerBuiltins();

/// printf-style formatting over host values (see Formatting.cpp).
std::string formatValues(const std::string& format, const Args& args);

}  // namespace korvan::lang
