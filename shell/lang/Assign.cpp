// Assignment to variables, indexed elements, cell elements, struct fields and properties:
// x = v, x(i,j) = v, c{i} = v, s.a.b = v, s(2).a = v, c.Port = v, c.List(2) = v. Arrays,
// cells and structs are values (a changed copy is stored back); objects are handles (their
// property is set in place).
#include "Containers.hpp"
#include "ErrorObject.hpp"
#include "Indexing.hpp"
#include "Values.hpp"
#include "korvan/host/UserCode.hpp"
#include "korvan/lang/Interpreter.hpp"

namespace korvan::lang {

void Interpreter::assignTarget(const Expr& target, kx::ArrayPtr rhs) {
    std::vector<const Expr*> ops;
    const Expr* root = &target;
    while (root->fKind == Expr::Kind::Index || root->fKind == Expr::Kind::Brace ||
           root->fKind == Expr::Kind::Field) {
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
    bool last = at + 1 == ops.size();
    if (op.fKind == Expr::Kind::Field) {
        if (current && kxIsObject(current.get()) && !errorObject(current.get())) {
            korvan::host::UserCode code;
            Value inner = last ? Value() : code.getProperty(current.get(), op.fText);
            Value updated = assignInto(inner, ops, at + 1, std::move(rhs));
            code.setProperty(current.get(), op.fText, updated.get());
            return current;
        }
        // A field of a struct; an undefined variable or [] becomes a 1-by-1 struct.
        if (current && !kxIsStruct(current.get()) && !isPlainEmpty(current.get()))
            langError("UnsupportedOperand", "." + op.fText, kxGetClassName(current.get()));
        checkFieldName(op.fText);
        Value base =
            current && kxIsStruct(current.get()) ? current : Value(kxCreateStructMatrix(1, 1, {}));
        if (kxGetNumberOfElements(base.get()) != 1)
            langError("FieldOfArray", op.fText, sizeText(base.get()));
        Value inner = last ? Value() : share(kxGetField(base.get(), 0, op.fText));
        Value updated = assignInto(inner, ops, at + 1, std::move(rhs));
        Value out(kxDuplicateArray(base.get()));
        kxSetField(out.get(), 0, op.fText, updated.release());
        return out;
    }
    std::vector<Value> args = evalArgs(op, current ? current.get() : nullptr);
    IndexList list;
    for (const Value& a : args) list.push_back(a.get());
    if (op.fKind == Expr::Kind::Brace) {
        if (last) return assignBrace(current.get(), list, rhs.get());
        // c{i}.a = v, c{i}(j) = v: change a copy of the element (none yet: a new value).
        Value part;
        if (current && kxIsCell(current.get()) && withinBounds(current.get(), list))
            part = braceValue(current.get(), list);
        Value updated = assignInto(part, ops, at + 1, std::move(rhs));
        return assignBrace(current.get(), list, updated.get());
    }
    if (last) {
        // x(i) = [] removes elements.
        if (current && kxIsDouble(rhs.get()) && kxGetM(rhs.get()) == 0 && kxGetN(rhs.get()) == 0)
            return deleteIndex(current.get(), list);
        return assignIndex(current.get(), list, rhs.get());
    }
    // x(i).a = v and the like: change a copy of the selected part. Past the end of a struct
    // array (or of nothing yet) the part is a new element whose fields are all empty.
    Value part;
    if (current && kxIsStruct(current.get()) && !withinBounds(current.get(), list))
        part = makeLike(current.get(), 1, 1);
    else if (current && !(isPlainEmpty(current.get()) && !withinBounds(current.get(), list)))
        part = indexValue(current.get(), list);
    Value updated = assignInto(part, ops, at + 1, std::move(rhs));
    // A field added through one element is added to the whole array.
    if (current && kxIsStruct(current.get()) && kxIsStruct(updated.get()))
        current = withFieldsOf(current.get(), updated.get());
    return assignIndex(current.get(), list, updated.get());
}

}  // namespace korvan::lang
