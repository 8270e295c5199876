// Assignment to variables, indexed elements and properties: x = v, x(i,j) = v, c.Port = v,
// c.List(2) = v. Arrays are values (a changed copy is stored back); objects are handles
// (their property is set in place).
#include "ErrorObject.hpp"
#include "Indexing.hpp"
#include "Values.hpp"
#include "korvan/host/UserCode.hpp"
#include "korvan/lang/Interpreter.hpp"

namespace korvan::lang {

void Interpreter::assignTarget(const Expr& target, kx::ArrayPtr rhs) {
    std::vector<const Expr*> ops;
    const Expr* root = &target;
    while (root->fKind == Expr::Kind::Index || root->fKind == Expr::Kind::Field) {
        ops.insert(ops.begin(), root);
        root = root->fArgs.front().get();
    }
    if (root->fKind != Expr::Kind::Ident)
        langError("SyntaxError", static_cast<long long>(target.fLine),
                  "the left side of '=' must be a variable, an element or a property.");
    auto it = scope().find(root->fText);
    Value current = it == scope().end() ? Value() : it->second;
    scope()[root->fText] = assignInto(current, ops, 0, std::move(rhs));
}

kx::ArrayPtr Interpreter::assignInto(kx::ArrayPtr current, const std::vector<const Expr*>& ops,
                                     std::size_t at, kx::ArrayPtr rhs) {
    if (at == ops.size()) return rhs;
    const Expr& op = *ops[at];
    if (op.fKind == Expr::Kind::Field) {
        if (!current || !kxIsObject(current.get()) || errorObject(current.get()))
            langError("UnsupportedOperand", "." + op.fText,
                      current ? kxGetClassName(current.get()) : std::string("[]"));
        korvan::host::UserCode code;
        Value inner = at + 1 < ops.size() ? code.getProperty(current.get(), op.fText) : Value();
        Value updated = assignInto(inner, ops, at + 1, std::move(rhs));
        code.setProperty(current.get(), op.fText, updated.get());
        return current;
    }
    std::vector<Value> args = evalArgs(op, current ? current.get() : nullptr);
    IndexList list;
    for (const Value& a : args) list.push_back(a.get());
    if (at + 1 == ops.size()) {
        // x(i) = [] removes elements.
        if (current && kxIsDouble(rhs.get()) && kxGetM(rhs.get()) == 0 && kxGetN(rhs.get()) == 0)
            return deleteIndex(current.get(), list);
        return assignIndex(current.get(), list, rhs.get());
    }
    if (!current) langError("UndefinedVariable", "(indexed value)");
    Value part = indexValue(current.get(), list);
    Value updated = assignInto(part, ops, at + 1, std::move(rhs));
    return assignIndex(current.get(), list, updated.get());
}

}  // namespace korvan::lang
