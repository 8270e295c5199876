// The host language's interpreter: runs source text (a prompt line or a script file) against
// one workspace of variables, with a fresh scope for each call of a function file.
//
// Driving it: a prompt calls run(line) for each line it reads; a script runner calls
// runFile(path). Both print displays to the output stream and an uncaught error to the error
// stream as "Error (<identifier>): <message>" and return a Result, so the caller decides
// whether to go on. exit(code) ends a run with Status::Exit and the code.
//
// Names are resolved in this order: variables of the current scope, the interpreter's own
// functions (clear, exit), function files "name.k" on the search path (the current folder
// first, then added folders), then the host function table and classes through
// korvan::host::UserCode (built-ins, methods in function form, constructors, enumeration
// members, package functions).
//
// Threads: one interpreter runs on one thread, the interpreter thread; current() is the
// interpreter running on the calling thread (built-ins use it for output).
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "korvan/lang/Ast.hpp"
#include "kx/kxArray.hpp"

namespace korvan::lang {

class FunctionFiles;

/// An error raised by user code with error(identifier, message, ...): carries the identifier
/// chosen by the user (possibly empty) and the formatted message.
class ScriptError : public std::runtime_error {
  public:
    ScriptError(std::string identifier, const std::string& message)
        : std::runtime_error(message), fIdentifier(std::move(identifier)) {}
    const std::string& identifier() const noexcept { return fIdentifier; }

  private:
    std::string fIdentifier;
};

/// Thrown by exit(code); ends the run.
struct ExitRequest {
    int fCode = 0;
};

/// The identifier and message of any exception a statement can raise.
struct ErrorInfo {
    std::string fIdentifier;
    std::string fMessage;
};
ErrorInfo describeError(const std::exception& e);

class Interpreter {
  public:
    enum class Status { Ok, Error, Exit };
    struct Result {
        Status fStatus = Status::Ok;
        int fExitCode = 0;
        ErrorInfo fError;
    };

    /// Registers the language's built-in functions in the host function table (once per
    /// process) and starts with the current folder on the search path.
    Interpreter(std::ostream& out, std::ostream& err);
    ~Interpreter();
    Interpreter(const Interpreter&) = delete;
    Interpreter& operator=(const Interpreter&) = delete;

    Result run(std::string_view source);
    Result runFile(const std::filesystem::path& file);

    /// Adds a folder to the end of the function search path.
    void addPath(const std::filesystem::path& folder);

    /// Calls the function that the file `file` ("name.k") defines, in a fresh scope, with
    /// `args`, asking for `nlhs` outputs (nlhs 0 still returns the first output when the
    /// function has one). Errors of the function are thrown as they are raised (ScriptError or
    /// the host error). Used by function services, on the interpreter thread.
    std::vector<kx::ArrayPtr> callFunctionFile(const std::filesystem::path& file,
                                               const std::vector<kx::ArrayPtr>& args, int nlhs);

    /// Asks whatever runs on the interpreter thread to stop: the next statement raises
    /// "KORVAN:lang:Interrupted". Safe to call from a signal handler or any thread; the
    /// request is cleared when the error is raised and when a new run() starts.
    static void requestInterrupt() noexcept;
    /// Withdraws a request that has not been raised yet (a prompt that discards its line).
    static void clearInterrupt() noexcept;

    /// A variable of the workspace (top scope), null when undefined. Owned by the caller.
    kx::ArrayPtr variable(const std::string& name) const;
    void setVariable(const std::string& name, kx::ArrayPtr value);

    std::ostream& out() { return fOut; }
    /// The interpreter running on this thread, or null.
    static Interpreter* current();

  private:
    enum class Flow { Normal, Break, Continue, Return };
    using Scope = std::map<std::string, kx::ArrayPtr, std::less<>>;
    using Values = std::vector<kx::ArrayPtr>;

    Result execute(const Program& program);
    Flow execBlock(const Block& block);
    Flow execStatement(const Stmt& s);
    Flow execTry(const Stmt& s);
    Flow execFor(const Stmt& s);
    void execAssign(const Stmt& s);
    void execMultiAssign(const Stmt& s);
    void execExpression(const Stmt& s);
    void show(const std::string& name, const kxArray* value);

    kx::ArrayPtr eval(const Expr& e);
    Values evalMulti(const Expr& e, int nlhs);
    kx::ArrayPtr evalMatrix(const Expr& e);
    kx::ArrayPtr evalRange(const Expr& e);
    Values evalPostfix(const Expr& e, int nlhs);
    Values applyOps(kx::ArrayPtr value, const std::vector<const Expr*>& ops, std::size_t from,
                    int nlhs);
    std::vector<kx::ArrayPtr> evalArgs(const Expr& index, const kxArray* indexed);
    Values callFunction(const std::string& name, const std::vector<kx::ArrayPtr>& args, int nlhs);
    Values callUserFunction(const FunctionDef& def, const std::vector<kx::ArrayPtr>& args,
                            int nlhs);
    bool hasProperty(const kxArray* object, const std::string& name) const;

    kx::ArrayPtr assignInto(kx::ArrayPtr current, const std::vector<const Expr*>& ops,
                            std::size_t at, kx::ArrayPtr rhs);
    void assignTarget(const Expr& target, kx::ArrayPtr rhs);

    Scope& scope() { return fScopes.back(); }

    std::ostream& fOut;
    std::ostream& fErr;
    std::vector<Scope> fScopes;  // [0] is the workspace
    std::vector<std::pair<const kxArray*, std::pair<std::size_t, std::size_t>>> fEndStack;
    std::vector<const FunctionDef*> fCalls;  // the running function files' functions
    std::unique_ptr<FunctionFiles> fFiles;
};

}  // namespace korvan::lang
