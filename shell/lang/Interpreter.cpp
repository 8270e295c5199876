// Statement execution and the interpreter's entry points (see Interpreter.hpp).
#include "korvan/lang/Interpreter.hpp"

#include <fstream>
#include <sstream>

#include "Builtins.hpp"
#include "ErrorObject.hpp"
#include "FunctionFiles.hpp"
#include "Interrupt.hpp"
#include "Values.hpp"
#include "foundation/core/except/IException.hpp"
#include "korvan/lang/Display.hpp"
#include "korvan/lang/Parser.hpp"

namespace korvan::lang {
namespace {
thread_local Interpreter* tCurrent = nullptr;
}

ErrorInfo describeError(const std::exception& e) {
    if (auto* s = dynamic_cast<const ScriptError*>(&e)) return {s->identifier(), s->what()};
    if (auto* m = dynamic_cast<const foundation::core::except::IMsgIDException*>(&e))
        return {m->GetID(), e.what()};
    return {"", e.what()};
}

Interpreter::Interpreter(std::ostream& out, std::ostream& err)
    : fOut(out), fErr(err), fScopes(1), fFiles(std::make_unique<FunctionFiles>()) {
    registerBuiltins();
    fFiles->addFolder({});
}

Interpreter::~Interpreter() = default;

Interpreter* Interpreter::current() {
    return tCurrent;
}

void Interpreter::addPath(const std::filesystem::path& folder) {
    fFiles->addFolder(folder);
}

kx::ArrayPtr Interpreter::variable(const std::string& name) const {
    auto it = fScopes.front().find(name);
    return it == fScopes.front().end() ? kx::ArrayPtr() : it->second;
}

void Interpreter::setVariable(const std::string& name, kx::ArrayPtr value) {
    fScopes.front()[name] = std::move(value);
}

Interpreter::Result Interpreter::run(std::string_view source) {
    Interpreter* previous = tCurrent;
    tCurrent = this;
    clearInterrupt();  // a request left over from before this run is not for it
    Result result;
    try {
        auto program = std::make_shared<Program>(parse(source));
        for (const auto& def : program->fFunctions) fFiles->define(def);
        result = execute(*program);
    } catch (const std::exception& e) {
        result.fStatus = Status::Error;
        result.fError = describeError(e);
        fErr << "Error (" << result.fError.fIdentifier << "): " << result.fError.fMessage << "\n";
    }
    tCurrent = previous;
    return result;
}

Interpreter::Result Interpreter::runFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        Result r{
            Status::Error, 0, {"KORVAN:lang:FileNotFound", "Cannot open '" + file.string() + "'."}};
        fErr << "Error (" << r.fError.fIdentifier << "): " << r.fError.fMessage << "\n";
        return r;
    }
    std::stringstream text;
    text << in.rdbuf();
    return run(text.str());
}

Interpreter::Result Interpreter::execute(const Program& program) {
    Result result;
    std::size_t depth = fScopes.size();
    try {
        execBlock(program.fStatements);
    } catch (const ExitRequest& exit) {
        result.fStatus = Status::Exit;
        result.fExitCode = exit.fCode;
    } catch (const std::exception& e) {
        fScopes.resize(depth);
        fEndStack.clear();
        fCalls.clear();
        result.fStatus = Status::Error;
        result.fError = describeError(e);
        fErr << "Error (" << result.fError.fIdentifier << "): " << result.fError.fMessage << "\n";
    }
    fScopes.resize(depth);
    return result;
}

Interpreter::Flow Interpreter::execBlock(const Block& block) {
    for (const auto& s : block) {
        Flow f = execStatement(*s);
        if (f != Flow::Normal) return f;
    }
    return Flow::Normal;
}

Interpreter::Flow Interpreter::execStatement(const Stmt& s) {
    checkInterrupt();
    switch (s.fKind) {
        case Stmt::Kind::Expr:
            execExpression(s);
            return Flow::Normal;
        case Stmt::Kind::Assign:
            execAssign(s);
            return Flow::Normal;
        case Stmt::Kind::MultiAssign:
            execMultiAssign(s);
            return Flow::Normal;
        case Stmt::Kind::Break:
            return Flow::Break;
        case Stmt::Kind::Continue:
            return Flow::Continue;
        case Stmt::Kind::Return:
            return Flow::Return;
        case Stmt::Kind::Try:
            return execTry(s);
        case Stmt::Kind::For:
            return execFor(s);
        case Stmt::Kind::If:
            for (const auto& [cond, body] : s.fClauses) {
                Value c = eval(*cond);
                if (isTrue(c.get())) return execBlock(body);
            }
            return execBlock(s.fBody);
        case Stmt::Kind::While:
            for (;;) {
                checkInterrupt();
                Value c = eval(*s.fClauses.front().first);
                if (!isTrue(c.get())) return Flow::Normal;
                Flow f = execBlock(s.fClauses.front().second);
                if (f == Flow::Break) return Flow::Normal;
                if (f == Flow::Return) return f;
            }
    }
    return Flow::Normal;
}

Interpreter::Flow Interpreter::execFor(const Stmt& s) {
    Value range = eval(*s.fExpr);
    kxSize m = kxGetM(range.get()), n = kxGetN(range.get());
    // Each column in turn (each element of a row vector).
    for (kxSize j = 0; j < n && m > 0; ++j) {
        checkInterrupt();
        Value col = makeLike(range.get(), m, 1);
        for (kxSize i = 0; i < m; ++i) copyElement(col.get(), i, range.get(), i + j * m);
        scope()[s.fName] = col;
        Flow f = execBlock(s.fBody);
        if (f == Flow::Break) break;
        if (f == Flow::Return) return f;
    }
    return Flow::Normal;
}

Interpreter::Flow Interpreter::execTry(const Stmt& s) {
    std::size_t depth = fScopes.size();
    std::size_t ends = fEndStack.size();
    try {
        return execBlock(s.fBody);
    } catch (const std::exception& e) {
        fScopes.resize(depth);
        fEndStack.resize(ends);
        ErrorInfo info = describeError(e);
        if (!s.fName.empty())
            scope()[s.fName] = Value(kxCreateObjectScalar(
                std::make_shared<ErrorObject>(info.fIdentifier, info.fMessage)));
    }
    return execBlock(s.fCatch);
}

void Interpreter::show(const std::string& name, const kxArray* value) {
    fOut << displayValue(name, value);
}

void Interpreter::execExpression(const Stmt& s) {
    const Expr& e = *s.fExpr;
    // A bare variable displays under its own name.
    if (e.fKind == Expr::Kind::Ident) {
        if (auto it = scope().find(e.fText); it != scope().end()) {
            if (s.fDisplay) show(e.fText, it->second.get());
            return;
        }
    }
    Values results = evalMulti(e, 0);
    if (results.empty() || !results.front()) return;
    scope()["ans"] = results.front();
    if (s.fDisplay) show("ans", results.front().get());
}

void Interpreter::execAssign(const Stmt& s) {
    Value rhs = eval(*s.fExpr);
    assignTarget(*s.fTargets.front(), rhs);
    if (s.fDisplay) {
        const Expr* root = s.fTargets.front().get();
        while (!root->fArgs.empty() && root->fKind != Expr::Kind::Ident)
            root = root->fArgs.front().get();
        auto it = scope().find(root->fText);
        if (it != scope().end()) show(root->fText, it->second.get());
    }
}

void Interpreter::execMultiAssign(const Stmt& s) {
    int nlhs = static_cast<int>(s.fTargets.size());
    Values results = evalMulti(*s.fExpr, nlhs);
    for (std::size_t i = 0; i < s.fTargets.size(); ++i) {
        const Expr& target = *s.fTargets[i];
        if (target.fKind == Expr::Kind::Unary && target.fText == "!") continue;  // [~, b] = f()
        if (i >= results.size() || !results[i])
            langError("TooManyOutputs",
                      s.fExpr->fKind == Expr::Kind::Index &&
                              s.fExpr->fArgs.front()->fKind == Expr::Kind::Ident
                          ? s.fExpr->fArgs.front()->fText
                          : std::string("expression"),
                      static_cast<long long>(nlhs));
        assignTarget(target, results[i]);
        if (s.fDisplay && target.fKind == Expr::Kind::Ident) show(target.fText, results[i].get());
    }
}

}  // namespace korvan::lang
