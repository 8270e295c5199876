// Built-ins over cell arrays and structs: cell, iscell, iscellstr, struct, isstruct,
// fieldnames, isfield, rmfield.
#include <algorithm>
#include <cmath>

#include "Builtins.hpp"
#include "Containers.hpp"

namespace korvan::lang {
namespace {

kxSize sizeArg(const kxArray* a) {
    double v = isArithmetic(a) && !kxIsEmpty(a) ? realAt(a, 0) : -1;
    if (!(v >= 0) || v != std::floor(v))
        langError("InvalidArgument", "cell", "sizes must be non-negative integers.");
    return static_cast<kxSize>(v);
}

// A char row or a string scalar.
bool isText(const kxArray* a) {
    return (kxIsChar(a) && kxGetM(a) <= 1) ||
           (kxIsStringArray(a) && kxGetNumberOfElements(a) == 1 && kxGetStringElement(a, 0));
}

// The names one argument gives: a text, a cell of texts or a string array.
std::vector<std::string> namesOf(const char* fn, const kxArray* a) {
    std::vector<std::string> names;
    if (isText(a)) {
        names.push_back(textOf(a));
    } else if (kxIsCell(a)) {
        for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) {
            Value e = cellElement(a, i);
            if (!isText(e.get())) langError("InvalidArgument", fn, "field names must be texts.");
            names.push_back(textOf(e.get()));
        }
    } else if (kxIsStringArray(a)) {
        for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) {
            const auto& s = kxGetStringElement(a, i);
            if (!s) langError("InvalidArgument", fn, "field names must be texts.");
            names.push_back(utf8(*s));
        }
    } else {
        langError("InvalidArgument", fn,
                  "field names must be texts, not " + kxGetClassName(a) + ".");
    }
    return names;
}

// struct('a', v1, 'b', v2, ...): a cell value gives one element per cell (all such cells of
// one size); a 1-by-1 cell or any other value is the same in every element.
Value makeStruct(const Args& a) {
    if (a.size() == 1 && kxIsStruct(a[0])) return share(a[0]);
    if (a.size() % 2 != 0)
        langError("InvalidArgument", "struct", "field names and values must come in pairs.");
    std::vector<std::string> names;
    const kxArray* shape = nullptr;
    for (std::size_t i = 0; i < a.size(); i += 2) {
        if (!isText(a[i])) langError("InvalidArgument", "struct", "field names must be texts.");
        std::string name = textOf(a[i]);
        checkFieldName(name);
        if (std::find(names.begin(), names.end(), name) != names.end())
            langError("InvalidArgument", "struct", "the field '" + name + "' is given twice.");
        names.push_back(name);
        const kxArray* v = a[i + 1];
        if (!kxIsCell(v) || kxGetNumberOfElements(v) == 1) continue;
        if (shape && (kxGetM(shape) != kxGetM(v) || kxGetN(shape) != kxGetN(v)))
            langError("InvalidArgument", "struct", "the cell values must all have the same size.");
        shape = v;
    }
    kxSize m = shape ? kxGetM(shape) : 1, n = shape ? kxGetN(shape) : 1;
    Value out(kxCreateStructMatrix(m, n, names));
    for (kxSize f = 0; f < names.size(); ++f) {
        const kxArray* v = a[2 * f + 1];
        for (kxSize i = 0; i < m * n; ++i) {
            Value e = !kxIsCell(v)                    ? share(v)
                      : kxGetNumberOfElements(v) == 1 ? cellElement(v, 0)
                                                      : cellElement(v, i);
            kxSetFieldByNumber(out.get(), i, f, e.release());
        }
    }
    return out;
}

Value isfield(const kxArray* s, const kxArray* names) {
    auto has = [s](const kxArray* name) {
        return kxIsStruct(s) && isText(name) && kxGetFieldNumber(s, textOf(name)) >= 0;
    };
    if (!kxIsCell(names)) return makeBool(has(names));
    Value out(kxCreateLogicalMatrix(kxGetM(names), kxGetN(names)));
    for (kxSize i = 0; i < kxGetNumberOfElements(names); ++i)
        kxGetLogicals(out.get())[i] = has(cellElement(names, i).get());
    return out;
}

Value rmfield(const kxArray* s, const kxArray* names) {
    if (!kxIsStruct(s))
        langError("InvalidArgument", "rmfield",
                  "a struct is needed, not " + kxGetClassName(s) + ".");
    Value out(kxDuplicateArray(s));
    for (const std::string& name : namesOf("rmfield", names)) {
        int field = kxGetFieldNumber(out.get(), name);
        if (field < 0) noSuchField(s, name);
        kxRemoveField(out.get(), static_cast<kxSize>(field));
    }
    return out;
}

}  // namespace

void registerContainerBuiltins() {
    defineBuiltin("cell", 0, 2, [](const Args& a, int) {
        kxSize m = a.empty() ? 0 : sizeArg(a[0]);
        kxSize n = a.size() == 2 ? sizeArg(a[1]) : m;
        if (a.size() == 1 && kxGetNumberOfElements(a[0]) == 2) {  // cell([m n])
            Value second = makeDouble(realAt(a[0], 1));
            n = sizeArg(second.get());
        }
        return std::vector<Value>{Value(kxCreateCellMatrix(m, n))};
    });
    defineBuiltin("iscell", 1, 1,
                  [](const Args& a, int) { return std::vector<Value>{makeBool(kxIsCell(a[0]))}; });
    defineBuiltin("iscellstr", 1, 1, [](const Args& a, int) {
        bool all = kxIsCell(a[0]);
        for (kxSize i = 0; all && i < kxGetNumberOfElements(a[0]); ++i) {
            Value e = cellElement(a[0], i);
            all = kxIsChar(e.get()) && kxGetM(e.get()) <= 1;
        }
        return std::vector<Value>{makeBool(all)};
    });
    defineBuiltin("struct", 0, -1,
                  [](const Args& a, int) { return std::vector<Value>{makeStruct(a)}; });
    defineBuiltin("isstruct", 1, 1, [](const Args& a, int) {
        return std::vector<Value>{makeBool(kxIsStruct(a[0]))};
    });
    defineBuiltin("fieldnames", 1, 1, [](const Args& a, int) {
        if (!kxIsStruct(a[0]))
            langError("InvalidArgument", "fieldnames",
                      "a struct is needed, not " + kxGetClassName(a[0]) + ".");
        std::vector<std::string> names = fieldNames(a[0]);
        Value out(kxCreateCellMatrix(names.size(), 1));
        for (kxSize i = 0; i < names.size(); ++i)
            kxSetCell(out.get(), i, kxCreateCharFromUtf8(names[i]));
        return std::vector<Value>{out};
    });
    defineBuiltin("isfield", 2, 2,
                  [](const Args& a, int) { return std::vector<Value>{isfield(a[0], a[1])}; });
    defineBuiltin("rmfield", 2, 2,
                  [](const Args& a, int) { return std::vector<Value>{rmfield(a[0], a[1])}; });
}

}  // namespace korvan::lang
