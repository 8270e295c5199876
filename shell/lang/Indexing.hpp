// Indexing of host arrays with parentheses: reading x(i), x(i,j) and assigning into them.
// An index is a host array of positive integers or a logical mask; null stands for ':'.
// Assignment grows the array as needed (new elements zero, "" or unset) and returns a new
// value: arrays are shared between variables, so the original is never changed.
// Errors: KORVAN:lang:BadIndex, IndexOutOfBounds, AssignSize, AssignClass, DeleteShape.
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

}  // namespace korvan::lang
