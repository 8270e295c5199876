// Cell and struct helpers (see Containers.hpp).
#include "Containers.hpp"

#include <algorithm>

#include "Operators.hpp"

namespace korvan::lang {
namespace {

std::string joinNames(const std::vector<std::string>& names) {
    if (names.empty()) return "(none)";
    std::string out;
    for (const auto& n : names) out += (out.empty() ? "" : ", ") + n;
    return out;
}

// The value a stored handle stands for: an element never set is [].
Value orEmpty(const kxArray* a) {
    return a ? share(a) : Value(kxCreateDoubleMatrix(0, 0));
}

}  // namespace

bool isPlainEmpty(const kxArray* a) {
    return kxIsDouble(a) && kxGetM(a) == 0 && kxGetN(a) == 0;
}

std::string sizeText(const kxArray* a) {
    return std::to_string(kxGetM(a)) + "x" + std::to_string(kxGetN(a));
}

Value cellElement(const kxArray* cell, kxSize i) {
    return orEmpty(kxGetCell(cell, i));
}

Value wrapInCell(const kxArray* v) {
    Value out(kxCreateCellMatrix(1, 1));
    kxSetCell(out.get(), 0, kxShareArray(const_cast<kxArray*>(v)));
    return out;
}

std::vector<std::string> fieldNames(const kxArray* s) {
    std::vector<std::string> names;
    for (kxSize f = 0; f < kxGetNumberOfFields(s); ++f)
        names.push_back(kxGetFieldNameByNumber(s, f));
    return names;
}

void checkFieldName(const std::string& name) {
    if (!kxIsValidFieldName(name)) langError("InvalidFieldName", name);
}

void noSuchField(const kxArray* s, const std::string& name) {
    langError("NoSuchField", name, joinNames(fieldNames(s)));
}

Value readField(const kxArray* s, const std::string& name) {
    if (kxGetNumberOfElements(s) != 1) langError("FieldOfArray", name, sizeText(s));
    int field = kxGetFieldNumber(s, name);
    if (field < 0) noSuchField(s, name);
    return orEmpty(kxGetFieldByNumber(s, 0, static_cast<kxSize>(field)));
}

bool sameFields(const kxArray* a, const kxArray* b) {
    std::vector<std::string> x = fieldNames(a), y = fieldNames(b);
    std::sort(x.begin(), x.end());
    std::sort(y.begin(), y.end());
    return x == y;
}

void requireSameFields(const kxArray* a, const kxArray* b) {
    if (!sameFields(a, b))
        langError("FieldsDiffer", joinNames(fieldNames(a)), joinNames(fieldNames(b)));
}

Value withFieldsOf(const kxArray* s, const kxArray* other) {
    Value out = share(s);
    for (const std::string& name : fieldNames(other)) {
        if (kxGetFieldNumber(out.get(), name) >= 0) continue;
        if (out.get() == s) out = Value(kxDuplicateArray(s));
        kxAddField(out.get(), name);
    }
    return out;
}

bool containersEqual(const kxArray* a, const kxArray* b) {
    if (kxGetClassID(a) != kxGetClassID(b)) return false;
    if (kxGetM(a) != kxGetM(b) || kxGetN(a) != kxGetN(b)) return false;
    kxSize n = kxGetNumberOfElements(a);
    if (kxIsCell(a)) {
        for (kxSize i = 0; i < n; ++i)
            if (!valuesEqual(cellElement(a, i).get(), cellElement(b, i).get())) return false;
        return true;
    }
    if (!sameFields(a, b)) return false;
    for (kxSize f = 0; f < kxGetNumberOfFields(a); ++f) {
        const std::string& name = kxGetFieldNameByNumber(a, f);
        for (kxSize i = 0; i < n; ++i) {
            Value x = orEmpty(kxGetField(a, i, name)), y = orEmpty(kxGetField(b, i, name));
            if (!valuesEqual(x.get(), y.get())) return false;
        }
    }
    return true;
}

}  // namespace korvan::lang
