// Interpreter::callFunctionFile: a function file called from outside a script (function
// services), see Interpreter.hpp.
#include "FunctionFiles.hpp"
#include "Values.hpp"
#include "korvan/lang/Interpreter.hpp"

namespace korvan::lang {

std::vector<kx::ArrayPtr> Interpreter::callFunctionFile(const std::filesystem::path& file,
                                                        const std::vector<kx::ArrayPtr>& args,
                                                        int nlhs) {
    std::shared_ptr<FunctionDef> def = fFiles->load(file);
    // callUserFunction lets nlhs 1 pass for a function without outputs (a statement's call);
    // a caller from outside that asks for a value must get one or an error.
    if (nlhs > 0 && static_cast<std::size_t>(nlhs) > def->fOutputs.size())
        langError("TooManyOutputs", def->fName, static_cast<long long>(nlhs));
    // The call's own scope, whatever the caller's state; callUserFunction pops it again, also
    // on errors, so the interpreter is left as it was found.
    std::size_t depth = fScopes.size();
    std::size_t ends = fEndStack.size();
    Values out;
    try {
        out = callUserFunction(*def, args, nlhs);
    } catch (...) {
        fScopes.resize(depth);
        fEndStack.resize(ends);
        throw;
    }
    // nlhs 0: the first output when the function set it, else nothing.
    if (nlhs == 0) {
        if (!out.empty() && out.front())
            out.resize(1);
        else
            out.clear();
    }
    return out;
}

}  // namespace korvan::lang
