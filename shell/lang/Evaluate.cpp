// Expression evaluation: literals, operators, ranges, brackets, names, calls, indexing,
// properties and methods (see Interpreter.hpp for the order in which names resolve).
#include <cmath>

#include "Concat.hpp"
#include "Containers.hpp"
#include "ErrorObject.hpp"
#include "FunctionFiles.hpp"
#include "Indexing.hpp"
#include "Operators.hpp"
#include "Values.hpp"
#include "korvan/host/UserCode.hpp"
#include "korvan/lang/Interpreter.hpp"

namespace korvan::lang {

kx::ArrayPtr Interpreter::eval(const Expr& e) {
    switch (e.fKind) {
        case Expr::Kind::Number:
            return e.fImaginary ? Value(kxCreateComplexScalar(0, e.fNumber))
                                : makeDouble(e.fNumber);
        case Expr::Kind::Char:
            return makeChar(e.fText);
        case Expr::Kind::String:
            return makeString(e.fText);
        case Expr::Kind::End: {
            if (fEndStack.empty()) langError("EndOutsideIndex");
            const auto& [value, where] = fEndStack.back();
            const auto& [position, count] = where;
            if (count == 1) return makeDouble(static_cast<double>(kxGetNumberOfElements(value)));
            if (position == 0) return makeDouble(static_cast<double>(kxGetM(value)));
            if (position == 1) return makeDouble(static_cast<double>(kxGetN(value)));
            return makeDouble(1);
        }
        case Expr::Kind::Colon:
            langError("BadIndex");
        case Expr::Kind::Binary: {
            const std::string& op = e.fText;
            Value a = eval(*e.fArgs[0]);
            if (op == "&&" || op == "||") {  // short-circuit
                bool left = isTrue(a.get());
                if (op == "&&" && !left) return makeBool(false);
                if (op == "||" && left) return makeBool(true);
                Value b = eval(*e.fArgs[1]);
                return makeBool(isTrue(b.get()));
            }
            Value b = eval(*e.fArgs[1]);
            return binaryOp(op, a.get(), b.get());
        }
        case Expr::Kind::Unary: {
            Value a = eval(*e.fArgs[0]);
            return unaryOp(e.fText, a.get());
        }
        case Expr::Kind::Transpose: {
            Value a = eval(*e.fArgs[0]);
            return transpose(a.get());
        }
        case Expr::Kind::Range:
            return evalRange(e);
        case Expr::Kind::Matrix:
        case Expr::Kind::Cell:
            return evalMatrix(e);
        default: {
            Values v = evalMulti(e, 1);
            if (v.empty() || !v.front()) {
                std::string name = e.fKind == Expr::Kind::Ident ? e.fText : "expression";
                if (e.fKind == Expr::Kind::Index && e.fArgs.front()->fKind == Expr::Kind::Ident)
                    name = e.fArgs.front()->fText;
                langError("NoOutput", name);
            }
            return v.front();
        }
    }
}

kx::ArrayPtr Interpreter::evalRange(const Expr& e) {
    Value start = eval(*e.fArgs[0]);
    Value step = e.fArgs.size() == 3 ? eval(*e.fArgs[1]) : makeDouble(1);
    Value stop = eval(*e.fArgs.back());
    for (const kxArray* v : {start.get(), step.get(), stop.get()})
        if (!isArithmetic(v) || kxIsEmpty(v))
            langError("UnsupportedOperand", ":", kxGetClassName(v));
    double a = realAt(start.get(), 0), d = realAt(step.get(), 0), b = realAt(stop.get(), 0);
    double count = (d == 0 || std::isnan(a + d + b)) ? 0 : std::floor((b - a) / d + 1e-10) + 1;
    if (count < 0) count = 0;
    Value out(kxCreateDoubleMatrix(1, static_cast<kxSize>(count)));
    for (kxSize i = 0; i < static_cast<kxSize>(count); ++i)
        kxGetDoubles(out.get())[i] = a + static_cast<double>(i) * d;
    if (kxIsIntegerClass(start.get())) return convertTo(out.get(), kxGetClassID(start.get()));
    return out;
}

kx::ArrayPtr Interpreter::evalMatrix(const Expr& e) {
    // In braces each element becomes one cell, whatever it holds (a cell too).
    bool cell = e.fKind == Expr::Kind::Cell;
    if (cell && e.fRows.empty()) return Value(kxCreateCellMatrix(0, 0));
    std::vector<std::vector<Value>> rows;
    for (const auto& row : e.fRows) {
        rows.emplace_back();
        for (const auto& item : row) {
            Value v = eval(*item);
            rows.back().push_back(cell ? wrapInCell(v.get()) : v);
        }
    }
    return concatenate(rows);
}

Interpreter::Values Interpreter::evalMulti(const Expr& e, int nlhs) {
    if (e.fKind == Expr::Kind::Ident || e.fKind == Expr::Kind::Index ||
        e.fKind == Expr::Kind::Brace || e.fKind == Expr::Kind::Field)
        return evalPostfix(e, nlhs);
    return {eval(e)};
}

std::vector<kx::ArrayPtr> Interpreter::evalArgs(const Expr& index, const kxArray* indexed) {
    std::vector<Value> args;
    std::size_t count = index.fArgs.size() - 1;
    for (std::size_t i = 1; i < index.fArgs.size(); ++i) {
        const Expr& a = *index.fArgs[i];
        if (a.fKind == Expr::Kind::Colon) {
            args.emplace_back();  // null: all of the dimension
            continue;
        }
        if (indexed) fEndStack.push_back({indexed, {i - 1, count}});
        try {
            args.push_back(eval(a));
        } catch (...) {
            if (indexed) fEndStack.pop_back();
            throw;
        }
        if (indexed) fEndStack.pop_back();
    }
    return args;
}

Interpreter::Values Interpreter::evalPostfix(const Expr& e, int nlhs) {
    // Flatten x.a(1).b into the root and its operations, outermost last.
    std::vector<const Expr*> ops;
    const Expr* root = &e;
    while (root->fKind == Expr::Kind::Index || root->fKind == Expr::Kind::Brace ||
           root->fKind == Expr::Kind::Field) {
        ops.insert(ops.begin(), root);
        root = root->fArgs.front().get();
    }
    if (root->fKind != Expr::Kind::Ident) return applyOps(eval(*root), ops, 0, nlhs);
    if (auto it = scope().find(root->fText); it != scope().end())
        return applyOps(it->second, ops, 0, nlhs);
    // Not a variable: the longest dotted name that names a function, class or member.
    std::size_t names = 0;
    while (names < ops.size() && ops[names]->fKind == Expr::Kind::Field) ++names;
    for (std::size_t k = names + 1; k-- > 0;) {
        std::string name = root->fText;
        for (std::size_t i = 0; i < k; ++i) name += "." + ops[i]->fText;
        bool called = k < ops.size() && ops[k]->fKind == Expr::Kind::Index;
        std::vector<Value> args = called ? evalArgs(*ops[k], nullptr) : std::vector<Value>{};
        std::size_t next = k + (called ? 1 : 0);
        Values result;
        try {
            result = callFunction(name, args, next == ops.size() ? nlhs : 1);
        } catch (const std::exception& ex) {
            ErrorInfo info = describeError(ex);
            bool undefined = info.fIdentifier == "KORVAN:class:UndefinedFunction" &&
                             info.fMessage.find("'" + name + "'") != std::string::npos;
            if (undefined && k > 0) continue;
            if (undefined) langError("UndefinedVariable", name);
            throw;
        }
        if (next == ops.size()) return result;
        if (result.empty() || !result.front()) langError("NoOutput", name);
        return applyOps(result.front(), ops, next, nlhs);
    }
    langError("UndefinedVariable", root->fText);
}

bool Interpreter::hasProperty(const kxArray* object, const std::string& name) const {
    if (errorObject(object)) return name == "identifier" || name == "message";
    korvan::host::UserCode code;
    for (const auto& p : code.propertyNames(object))
        if (p == name) return true;
    return false;
}

Interpreter::Values Interpreter::applyOps(kx::ArrayPtr value, const std::vector<const Expr*>& ops,
                                          std::size_t from, int nlhs) {
    korvan::host::UserCode code;
    for (std::size_t i = from; i < ops.size(); ++i) {
        const Expr& op = *ops[i];
        bool last = i + 1 == ops.size();
        if (op.fKind == Expr::Kind::Index) {
            std::vector<Value> args = evalArgs(op, value.get());
            IndexList list;
            for (const Value& a : args) list.push_back(a.get());
            value = indexValue(value.get(), list);
            continue;
        }
        if (op.fKind == Expr::Kind::Brace) {
            std::vector<Value> args = evalArgs(op, value.get());
            IndexList list;
            for (const Value& a : args) list.push_back(a.get());
            value = braceValue(value.get(), list);
            continue;
        }
        if (kxIsStruct(value.get())) {
            value = readField(value.get(), op.fText);
            continue;
        }
        // A field: a property, or a method (called with the following parentheses).
        if (!kxIsObject(value.get()))
            langError("UnsupportedOperand", ".", kxGetClassName(value.get()));
        if (const ErrorObject* err = errorObject(value.get())) {
            if (op.fText == "identifier")
                value = makeChar(err->identifier());
            else if (op.fText == "message")
                value = makeChar(err->message());
            else
                langError("UnsupportedOperand", "." + op.fText, err->className());
            continue;
        }
        bool called = !last && ops[i + 1]->fKind == Expr::Kind::Index;
        if (!called || hasProperty(value.get(), op.fText)) {
            // Without parentheses a property is meant, unless the class has none by that name
            // (then a method without arguments); the class system reports access refusals.
            try {
                value = code.getProperty(value.get(), op.fText);
                continue;
            } catch (const std::exception& ex) {
                if (called || describeError(ex).fIdentifier != "KORVAN:class:NoSuchProperty") throw;
            }
        }
        std::vector<Value> args = called ? evalArgs(*ops[i + 1], nullptr) : std::vector<Value>{};
        korvan::host::ArgList list;
        for (const Value& a : args) list.push_back(a.get());
        std::size_t next = i + (called ? 2 : 1);
        Values result = code.callMethod(value.get(), op.fText, list, next == ops.size() ? nlhs : 1);
        if (next == ops.size()) return result;
        if (result.empty() || !result.front()) langError("NoOutput", op.fText);
        value = result.front();
        i = next - 1;
    }
    return {value};
}

Interpreter::Values Interpreter::callFunction(const std::string& name,
                                              const std::vector<kx::ArrayPtr>& args, int nlhs) {
    if (name == "clear") {
        if (args.empty()) scope().clear();
        for (const Value& a : args) scope().erase(textOf(a.get()));
        return {};
    }
    if (name == "exit") {
        int code = args.empty() ? 0 : static_cast<int>(realAt(args.front().get(), 0));
        throw ExitRequest{code};
    }
    if (!fCalls.empty())
        if (auto local = fFiles->findLocal(fCalls.back(), name))
            return callUserFunction(*local, args, nlhs);
    if (auto def = fFiles->find(name)) return callUserFunction(*def, args, nlhs);
    korvan::host::UserCode code;
    if (name == "delete" && args.size() == 1 && kxIsObject(args.front().get())) {
        // delete(obj) follows the class's delete rules, not a plain method call.
        code.deleteObject(args.front().get());
        return {};
    }
    korvan::host::ArgList list;
    for (const Value& a : args) list.push_back(a.get());
    return code.call(name, list, nlhs);
}

Interpreter::Values Interpreter::callUserFunction(const FunctionDef& def,
                                                  const std::vector<kx::ArrayPtr>& args, int nlhs) {
    if (args.size() > def.fInputs.size()) langError("TooManyInputs", def.fName);
    if (static_cast<std::size_t>(nlhs) > def.fOutputs.size() && nlhs > 1)
        langError("TooManyOutputs", def.fName, static_cast<long long>(nlhs));
    Scope frame;
    for (std::size_t i = 0; i < args.size(); ++i) frame[def.fInputs[i]] = args[i];
    frame["nargin"] = makeDouble(static_cast<double>(args.size()));
    frame["nargout"] = makeDouble(nlhs);
    fScopes.push_back(std::move(frame));
    fCalls.push_back(&def);
    std::size_t depth = fScopes.size();
    try {
        execBlock(def.fBody);
    } catch (...) {
        fScopes.resize(depth - 1);
        fCalls.pop_back();
        throw;
    }
    fCalls.pop_back();
    Values out;
    std::size_t wanted = std::max<std::size_t>(static_cast<std::size_t>(std::max(nlhs, 1)), 1);
    for (std::size_t i = 0; i < wanted && i < def.fOutputs.size(); ++i) {
        auto it = scope().find(def.fOutputs[i]);
        if (it == scope().end()) {
            if (static_cast<int>(i) < nlhs) {
                std::string output = def.fOutputs[i];
                fScopes.pop_back();
                langError("OutputNotSet", output, def.fName);
            }
            out.emplace_back();
            continue;
        }
        out.push_back(it->second);
    }
    fScopes.pop_back();
    return out;
}

}  // namespace korvan::lang
