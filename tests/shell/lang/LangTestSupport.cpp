#include "LangTestSupport.hpp"

namespace korvan::test {

using namespace korvan::lang;

RunOutcome runSource(const std::string& source) {
    std::ostringstream out, err;
    Interpreter interpreter(out, err);
    RunOutcome run;
    run.fResult = interpreter.run(source);
    run.fOut = out.str();
    run.fErr = err.str();
    return run;
}

}  // namespace korvan::test
