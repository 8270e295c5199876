// Building arrays with square brackets: [a b; c d]. Parts are joined side by side within a
// row, rows one above the other; empty parts are skipped. The class of the result: string
// if any part is a string (char rows become one element each), else char if any is char,
// else an integer class if any part has one, else logical if all are logical, else double;
// objects join only with objects of their own class. Any cell part makes a cell (a part that
// is not a cell becomes one element); structs join only with structs of the same fields.
// Errors: KORVAN:lang:ConcatMismatch, ConcatClass, FieldsDiffer.
#pragma once

#include <vector>

#include "Values.hpp"

namespace korvan::lang {

Value concatenate(const std::vector<std::vector<Value>>& rows);

}  // namespace korvan::lang
