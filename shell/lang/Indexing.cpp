// Reading and assigning indexed elements (see Indexing.hpp).
#include "Indexing.hpp"

#include <algorithm>
#include <cmath>

#include "Containers.hpp"

namespace korvan::lang {
namespace {

std::vector<kxSize> positions(const kxArray* index, kxSize extent) {
    std::vector<kxSize> out;
    if (!index) {
        for (kxSize i = 0; i < extent; ++i) out.push_back(i);
        return out;
    }
    kxSize n = kxGetNumberOfElements(index);
    if (kxIsLogical(index)) {
        for (kxSize i = 0; i < n; ++i)
            if (kxGetLogicals(index)[i]) out.push_back(i);
        return out;
    }
    if (!kxIsNumeric(index) && !kxIsChar(index)) langError("BadIndex");
    for (kxSize i = 0; i < n; ++i) {
        double v = realAt(index, i);
        if (!(v >= 1) || v != std::floor(v)) langError("BadIndex");
        out.push_back(static_cast<kxSize>(v) - 1);
    }
    return out;
}

void checkBounds(const std::vector<kxSize>& pos, kxSize extent, kxSize numel) {
    for (kxSize p : pos)
        if (p >= extent)
            langError("IndexOutOfBounds", static_cast<long long>(p + 1),
                      static_cast<long long>(numel));
}

kxSize maxPlusOne(const std::vector<kxSize>& pos) {
    kxSize m = 0;
    for (kxSize p : pos) m = std::max(m, p + 1);
    return m;
}

// A copy of `a` reshaped to m-by-n with its old (i, j) elements in place.
Value resized(const kxArray* a, kxSize m, kxSize n) {
    Value out = makeLike(a, m, n);
    kxSize am = kxGetM(a), an = kxGetN(a);
    for (kxSize j = 0; j < an; ++j)
        for (kxSize i = 0; i < am; ++i) copyElement(out.get(), i + j * m, a, i + j * am);
    return out;
}

// The right side in the class of the target (or the target in the right side's class when the
// target is a fresh empty double).
void unifyClasses(Value& target, Value& rhs) {
    kxClassID tc = kxGetClassID(target.get()), rc = kxGetClassID(rhs.get());
    if (tc == rc && kxIsComplex(target.get()) == kxIsComplex(rhs.get())) {
        if (tc == kxClassID::Object && kxGetClassName(target.get()) != kxGetClassName(rhs.get()))
            langError("AssignClass", kxGetClassName(rhs.get()), kxGetClassName(target.get()));
        if (tc == kxClassID::Struct) requireSameFields(target.get(), rhs.get());
        return;
    }
    if (kxIsEmpty(target.get()) && tc == kxClassID::Double) {
        target = makeLike(rhs.get(), kxGetM(target.get()), kxGetN(target.get()));
        return;
    }
    if (tc == kxClassID::Double && kxIsComplex(rhs.get())) {  // widen the target to complex
        Value wide(kxCreateDoubleMatrix(kxGetM(target.get()), kxGetN(target.get()),
                                        kxComplexity::Complex));
        for (kxSize i = 0; i < kxGetNumberOfElements(target.get()); ++i)
            kxGetComplexDoubles(wide.get())[i] = complexAt(target.get(), i);
        target = wide;
        return;
    }
    if (tc == kxClassID::Double && kxIsComplex(target.get()) && isArithmetic(rhs.get())) {
        Value wide(
            kxCreateDoubleMatrix(kxGetM(rhs.get()), kxGetN(rhs.get()), kxComplexity::Complex));
        for (kxSize i = 0; i < kxGetNumberOfElements(rhs.get()); ++i)
            kxGetComplexDoubles(wide.get())[i] = complexAt(rhs.get(), i);
        rhs = wide;
        return;
    }
    if ((tc == kxClassID::String && (kxIsChar(rhs.get()) || isArithmetic(rhs.get()))) ||
        (isArithmetic(target.get()) && isArithmetic(rhs.get()))) {
        rhs = convertTo(rhs.get(), tc);
        return;
    }
    langError("AssignClass", kxGetClassName(rhs.get()), kxGetClassName(target.get()));
}

// How many elements the indices select in `a` (null: a fresh value, no extent yet).
kxSize selectedCount(const kxArray* a, const IndexList& indices) {
    kxSize m = a ? kxGetM(a) : 0, n = a ? kxGetN(a) : 0;
    if (indices.size() == 1) return positions(indices[0], m * n).size();
    kxSize count = 1;
    for (std::size_t d = 0; d < indices.size(); ++d)
        count *= positions(indices[d], d == 0 ? m : d == 1 ? n : 1).size();
    return count;
}

}  // namespace

bool withinBounds(const kxArray* a, const IndexList& indices) {
    if (indices.size() == 1) {
        kxSize numel = kxGetNumberOfElements(a);
        return maxPlusOne(positions(indices[0], numel)) <= numel;
    }
    for (std::size_t d = 0; d < indices.size(); ++d) {
        kxSize extent = d == 0 ? kxGetM(a) : d == 1 ? kxGetN(a) : 1;
        if (maxPlusOne(positions(indices[d], extent)) > extent) return false;
    }
    return true;
}

Value braceValue(const kxArray* c, const IndexList& indices) {
    if (!kxIsCell(c)) langError("BraceNotCell", kxGetClassName(c));
    Value part = indexValue(c, indices);
    kxSize count = kxGetNumberOfElements(part.get());
    if (count != 1) langError("BraceMultiple", static_cast<long long>(count));
    return cellElement(part.get(), 0);
}

Value assignBrace(const kxArray* c, const IndexList& indices, const kxArray* v) {
    if (c && !kxIsCell(c) && !isPlainEmpty(c)) langError("BraceNotCell", kxGetClassName(c));
    kxSize count = selectedCount(c, indices);
    if (count != 1) langError("BraceMultiple", static_cast<long long>(count));
    Value wrapped = wrapInCell(v);
    return assignIndex(c, indices, wrapped.get());
}

Value indexValue(const kxArray* a, const IndexList& indices) {
    kxSize m = kxGetM(a), n = kxGetN(a), numel = kxGetNumberOfElements(a);
    if (indices.empty()) return share(a);
    if (indices.size() == 1) {
        std::vector<kxSize> pos = positions(indices[0], numel);
        checkBounds(pos, numel, numel);
        kxSize k = pos.size();
        // ':' gives a column; a vector keeps its orientation; a matrix takes the index's shape.
        const kxArray* idx = indices[0];
        kxSize rm = k, rn = 1;
        if (idx && m == 1 && n != 1)
            rm = 1, rn = k;
        else if (idx && m != 1 && n != 1 && !kxIsLogical(idx))
            rm = kxGetM(idx), rn = kxGetN(idx);
        else if (idx && m == 1 && n == 1 && !kxIsLogical(idx))
            rm = kxGetM(idx), rn = kxGetN(idx);
        Value out = makeLike(a, rm, rn);
        for (kxSize i = 0; i < k; ++i) copyElement(out.get(), i, a, pos[i]);
        return out;
    }
    // Further dimensions beyond the second must be 1.
    for (std::size_t d = 2; d < indices.size(); ++d) {
        std::vector<kxSize> pos = positions(indices[d], 1);
        checkBounds(pos, 1, numel);
    }
    std::vector<kxSize> rows = positions(indices[0], m), cols = positions(indices[1], n);
    checkBounds(rows, m, numel);
    checkBounds(cols, n, numel);
    Value out = makeLike(a, rows.size(), cols.size());
    for (kxSize j = 0; j < cols.size(); ++j)
        for (kxSize i = 0; i < rows.size(); ++i)
            copyElement(out.get(), i + j * rows.size(), a, rows[i] + cols[j] * m);
    return out;
}

Value assignIndex(const kxArray* a, const IndexList& indices, const kxArray* rhsIn) {
    Value target = a ? Value(kxDuplicateArray(a)) : Value(kxCreateDoubleMatrix(0, 0));
    Value rhs = share(rhsIn);
    unifyClasses(target, rhs);
    kxSize m = kxGetM(target.get()), n = kxGetN(target.get());
    kxSize numel = kxGetNumberOfElements(target.get());
    kxSize rcount = kxGetNumberOfElements(rhs.get());
    if (indices.size() == 1) {
        std::vector<kxSize> pos = positions(indices[0], numel);
        if (rcount != 1 && rcount != pos.size()) langError("AssignSize");
        kxSize need = maxPlusOne(pos);
        if (need > numel) {
            if (numel == 0)
                target = resized(target.get(), 1, need);
            else if (m == 1)
                target = resized(target.get(), 1, need);
            else if (n == 1)
                target = resized(target.get(), need, 1);
            else
                langError("IndexOutOfBounds", static_cast<long long>(need),
                          static_cast<long long>(numel));
        }
        for (kxSize i = 0; i < pos.size(); ++i)
            copyElement(target.get(), pos[i], rhs.get(), rcount == 1 ? 0 : i);
        return target;
    }
    std::vector<kxSize> rows = positions(indices[0], m), cols = positions(indices[1], n);
    for (std::size_t d = 2; d < indices.size(); ++d)
        checkBounds(positions(indices[d], 1), 1, numel);
    if (rcount != 1 && rcount != rows.size() * cols.size()) langError("AssignSize");
    kxSize nm = std::max(m, maxPlusOne(rows)), nn = std::max(n, maxPlusOne(cols));
    if (nm != m || nn != n) target = resized(target.get(), nm, nn);
    for (kxSize j = 0; j < cols.size(); ++j)
        for (kxSize i = 0; i < rows.size(); ++i)
            copyElement(target.get(), rows[i] + cols[j] * nm, rhs.get(),
                        rcount == 1 ? 0 : i + j * rows.size());
    return target;
}

Value deleteIndex(const kxArray* a, const IndexList& indices) {
    kxSize m = kxGetM(a), n = kxGetN(a), numel = kxGetNumberOfElements(a);
    if (indices.size() == 1) {
        std::vector<kxSize> pos = positions(indices[0], numel);
        checkBounds(pos, numel, numel);
        std::vector<bool> gone(numel, false);
        for (kxSize p : pos) gone[p] = true;
        kxSize keep = 0;
        for (kxSize i = 0; i < numel; ++i) keep += gone[i] ? 0 : 1;
        Value out = (n == 1 && m != 1) ? makeLike(a, keep, 1) : makeLike(a, 1, keep);
        for (kxSize i = 0, k = 0; i < numel; ++i)
            if (!gone[i]) copyElement(out.get(), k++, a, i);
        return out;
    }
    bool rows = indices.size() == 2 && indices[1] == nullptr;
    bool cols = indices.size() == 2 && indices[0] == nullptr;
    if (!rows && !cols) langError("DeleteShape");
    std::vector<kxSize> pos = positions(indices[rows ? 0 : 1], rows ? m : n);
    checkBounds(pos, rows ? m : n, numel);
    std::vector<bool> gone(rows ? m : n, false);
    for (kxSize p : pos) gone[p] = true;
    std::vector<kxSize> keepRows, keepCols;
    for (kxSize i = 0; i < m; ++i)
        if (!rows || !gone[i]) keepRows.push_back(i);
    for (kxSize j = 0; j < n; ++j)
        if (!cols || !gone[j]) keepCols.push_back(j);
    Value out = makeLike(a, keepRows.size(), keepCols.size());
    for (kxSize j = 0; j < keepCols.size(); ++j)
        for (kxSize i = 0; i < keepRows.size(); ++i)
            copyElement(out.get(), i + j * keepRows.size(), a, keepRows[i] + keepCols[j] * m);
    return out;
}

}  // namespace korvan::lang
