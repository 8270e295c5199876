// Running source text through a fresh interpreter and collecting what it printed.
#pragma once

#include <sstream>
#include <string>

#include "korvan/lang/Interpreter.hpp"

namespace korvan::test {

using namespace korvan::lang;

struct RunOutcome {
    Interpreter::Result fResult;
    std::string fOut;
    std::string fErr;
};

/// Runs `source` in a new interpreter.
RunOutcome runSource(const std::string& source);

struct OutputCase {
    const char* fSource;
    const char* fOutput;  // exactly what the run prints
};
struct ErrorCase {
    const char* fSource;
    const char* fIdentifier;  // of the uncaught error
};

}  // namespace korvan::test
