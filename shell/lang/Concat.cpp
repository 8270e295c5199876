// Square-bracket array building (see Concat.hpp).
#include "Concat.hpp"

#include "Containers.hpp"

namespace korvan::lang {
namespace {

kxClassID commonClass(const std::vector<std::vector<Value>>& rows, std::string& objectClass) {
    bool anyString = false, anyChar = false, allLogical = true, anyObject = false, anyOther = false;
    bool anyComplex = false, anyCell = false;
    const kxArray* firstStruct = nullptr;
    const kxArray* nonStruct = nullptr;
    std::optional<kxClassID> integer;
    for (const auto& row : rows)
        for (const Value& v : row) {
            const kxArray* a = v.get();
            if (kxIsEmpty(a) && kxIsDouble(a)) continue;
            kxClassID c = kxGetClassID(a);
            anyString |= c == kxClassID::String;
            anyChar |= c == kxClassID::Char;
            anyComplex |= kxIsComplex(a);
            allLogical &= c == kxClassID::Logical;
            if (kxIsIntegerClass(a) && !integer) integer = c;
            anyCell |= c == kxClassID::Cell;
            if (c == kxClassID::Struct) {
                if (firstStruct) requireSameFields(firstStruct, a);
                firstStruct = firstStruct ? firstStruct : a;
            } else if (!nonStruct) {
                nonStruct = a;
            }
            if (c == kxClassID::Object) {
                if (anyObject && objectClass != kxGetClassName(a))
                    langError("ConcatClass", objectClass, kxGetClassName(a));
                anyObject = true;
                objectClass = kxGetClassName(a);
            } else {
                anyOther = true;
            }
        }
    // Any cell makes a cell: other parts join it as one element each.
    if (anyCell) return kxClassID::Cell;
    if (firstStruct && nonStruct) langError("ConcatClass", "struct", kxGetClassName(nonStruct));
    if (firstStruct) return kxClassID::Struct;
    if (anyObject && anyOther) langError("ConcatClass", objectClass, "double");
    if (anyObject) return kxClassID::Object;
    if (anyString) return kxClassID::String;
    if (anyChar) return kxClassID::Char;
    if (integer) return *integer;
    if (allLogical && !rows.empty()) return kxClassID::Logical;
    (void)anyComplex;
    return kxClassID::Double;
}

// Joins parts of one class side by side (horizontal) or one above the other.
Value join(const std::vector<Value>& parts, bool horizontal) {
    std::vector<const kxArray*> used;
    for (const Value& v : parts)
        if (!kxIsEmpty(v.get()) || (kxGetM(v.get()) > 0 && horizontal) ||
            (kxGetN(v.get()) > 0 && !horizontal))
            used.push_back(v.get());
    if (used.empty()) return parts.empty() ? Value(kxCreateDoubleMatrix(0, 0)) : parts.front();
    if (used.size() == 1) return share(used.front());
    kxSize fixed = horizontal ? kxGetM(used[0]) : kxGetN(used[0]), total = 0;
    for (const kxArray* a : used) {
        if ((horizontal ? kxGetM(a) : kxGetN(a)) != fixed) langError("ConcatMismatch");
        total += horizontal ? kxGetN(a) : kxGetM(a);
    }
    kxSize m = horizontal ? fixed : total, n = horizontal ? total : fixed;
    Value out = makeLike(used[0], m, n);
    kxSize offset = 0;
    for (const kxArray* a : used) {
        kxSize am = kxGetM(a), an = kxGetN(a);
        for (kxSize j = 0; j < an; ++j)
            for (kxSize i = 0; i < am; ++i) {
                kxSize di = horizontal ? i + (j + offset) * m : (i + offset) + j * m;
                copyElement(out.get(), di, a, i + j * am);
            }
        offset += horizontal ? an : am;
    }
    return out;
}

Value toClass(const Value& v, kxClassID cls) {
    if (kxGetClassID(v.get()) == cls) {
        return v;
    }
    if (cls == kxClassID::Double && kxIsComplex(v.get())) return v;
    if (cls == kxClassID::Double) {
        Value d = convertTo(v.get(), cls);
        return d;
    }
    return convertTo(v.get(), cls);
}

// Complex parts make the whole double result complex.
Value widen(const Value& v, bool complex) {
    if (!complex || !kxIsDouble(v.get()) || kxIsComplex(v.get())) return v;
    Value w(kxCreateDoubleMatrix(kxGetM(v.get()), kxGetN(v.get()), kxComplexity::Complex));
    for (kxSize i = 0; i < kxGetNumberOfElements(v.get()); ++i)
        kxGetComplexDoubles(w.get())[i] = complexAt(v.get(), i);
    return w;
}

}  // namespace

Value concatenate(const std::vector<std::vector<Value>>& rows) {
    std::string objectClass;
    kxClassID cls = commonClass(rows, objectClass);
    bool complex = false;
    for (const auto& row : rows)
        for (const Value& v : row) complex |= kxIsComplex(v.get());
    std::vector<Value> joinedRows;
    for (const auto& row : rows) {
        std::vector<Value> parts;
        for (const Value& v : row) {
            if (kxIsEmpty(v.get()) && kxIsDouble(v.get())) continue;
            if (cls == kxClassID::Cell)
                parts.push_back(kxIsCell(v.get()) ? v : wrapInCell(v.get()));
            else if (cls == kxClassID::Object || cls == kxClassID::Struct)
                parts.push_back(v);
            else
                parts.push_back(widen(toClass(v, cls), complex));
        }
        if (!parts.empty()) joinedRows.push_back(join(parts, true));
    }
    if (joinedRows.empty()) {
        if (cls == kxClassID::Char) return makeChar("");
        return Value(kxCreateDoubleMatrix(0, 0));
    }
    return join(joinedRows, false);
}

}  // namespace korvan::lang
