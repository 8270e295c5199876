// The JSON form of host values, used by function calls in both directions.
//
//   JSON                                     host value
//   number                                   1-by-1 double
//   true / false                             1-by-1 logical
//   "text"                                   string scalar
//   null                                     the empty array (0-by-0 double)
//   [a, b, c]                                1-by-N row of the elements' class
//   [[a, b], [c, d]]                         M-by-N matrix, one inner array per row
//   {"zxtype":"int32","zxdata":5}            int32 scalar (also int8..uint64; data may be
//                                            a row or rows of integers, kept exact)
//   {"zxtype":"char","zxdata":"abc"}         1-by-3 char array (a list of equal-length
//                                            texts gives one row per text)
//   {"zxtype":"double","zxdata":"NaN"}       NaN; also "Inf" and "-Inf", alone or as an
//                                            element of a numeric row or matrix
//
// Elements of one array must all be numbers (or non-finite envelopes), all logicals or all
// strings; rows must have equal lengths. Doubles are written with 17 significant digits so
// that they read back to the same value. Single values are written as doubles. Values with
// more than two dimensions, complex values, missing strings and objects have no JSON form.
//
// Errors: ValueMappingError (a std::invalid_argument) saying what could not be mapped.
// Threads: creates and reads host arrays, hence runs on the interpreter thread in the service.
#pragma once

#include <stdexcept>
#include <string>

#include "foundation/json/Value.hpp"
#include "kx/kxArray.hpp"

namespace korvan::services::connector {

class ValueMappingError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// A new host array for `value`; the caller owns the result.
kx::ArrayPtr arrayFromJson(const foundation::json::Value& value);

/// The JSON form of `array` (which is only read).
foundation::json::Value jsonFromArray(const kxArray* array);

/// Compact JSON text with doubles at 17 significant digits and integers as written.
std::string writeJson(const foundation::json::Value& value);

}  // namespace korvan::services::connector
