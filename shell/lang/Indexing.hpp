// Indexing of host arrays with parentheses: reading x(i), x(i,j) and assigning into them.
// An index is a host array of positive integers or a logical mask; null stands for ':'.
// Assignment grows the array as needed (new elements zero, "" or unset) and returns a new
// value: arrays are shared between variables, so the original is never changed.
// Braces read or set one element of a cell array: c{i}, c{i} = v.
// Errors: KORVAN:lang:BadIndex, IndexOutOfBounds, AssignSize, AssignClass, DeleteShape,
// FieldsDiffer (struct elements with other fields), BraceNotCell, BraceMultiple.
#pragma once

#include <vector>

#include "Values.hpp"

namespace korvan::lang {

using IndexList = std::vector<const kxArray*>;

Value indexValue(const kxArray* a, const IndexList& indices);
/// `a(indices) = rhs`; `a` may be null (a new variable).
Value assignIndex(const kxArray* a, const IndexList& indices, const kxArray* rhs);
/// `a(indices) = []`: removes elements (one index: a row results, or a column from a column),
/// or whole rows / columns (two indices, one of them ':').
Value deleteIndex(const kxArray* a, const IndexList& indices);

/// Whether every index lies inside a's extent (so reading does not fail for its range).
bool withinBounds(const kxArray* a, const IndexList& indices);
/// `c{indices}`: the one element selected; an element never set reads as [].
Value braceValue(const kxArray* c, const IndexList& indices);
/// `c{indices} = v`: `c` may be null or [] (a new cell); grows like assignIndex.
Value assignBrace(const kxArray* c, const IndexList& indices, const kxArray* v);

}  // namespace korvan::lang
