// The language's operators on host arrays: arithmetic (+ - * / ^ and element-wise .* ./ .^),
// comparisons, logical & | ! and transpose. Element-wise operators broadcast a scalar against
// an array; otherwise shapes must agree (KORVAN:lang:SizeMismatch).
// Result classes: an integer operand gives that integer class (rounded, saturated), else
// double; comparisons and logical operators give logical. Strings support + (joining) and the
// comparisons; objects support == and != (same handle, or the same enumeration member); cells
// and structs support none (KORVAN:lang:UnsupportedOperand), only transpose.
#pragma once

#include <string_view>

#include "Values.hpp"

namespace korvan::lang {

Value binaryOp(std::string_view op, const kxArray* a, const kxArray* b);
Value unaryOp(std::string_view op, const kxArray* a);
Value transpose(const kxArray* a);
/// Whether two values are equal in class-insensitive numeric sense, shape and contents; cells
/// and structs compare deeply (see containersEqual).
bool valuesEqual(const kxArray* a, const kxArray* b);

}  // namespace korvan::lang
