// The JSON form of host values, used by function calls in both directions. The whole table,
// with an example of every row both ways, is in docs/services/connector-service.md. In short:
//
//   numbers, true/false, "text"      1-by-1 double, logical, string
//   [..] / [[..], [..]]              a row / a matrix of one kind (null inside numbers is NaN)
//   [] (or null)                     the empty array (0-by-0 double)
//   {"a": 1, "b": "x"}               1-by-1 struct (objects with the same keys: a struct array)
//   a list of mixed kinds            1-by-N cell
//   {"zxtype": class, "zxdata": ..}  an envelope: integer classes (exact), non-finite and
//                                    complex doubles, char rows, empty arrays of any size
//                                    ("zxsize"), cells and structs that a plain form cannot say
//
// Char arrays are written as plain strings. Doubles are written as the shortest text that
// reads back to the same value. Values with more than two dimensions, missing strings, complex
// integers and objects have no JSON form. Struct fields made from an object are in key order.
//
// Errors: ValueMappingError (a std::invalid_argument) saying what could not be mapped.
// Threads: creates and reads host arrays, hence runs on the interpreter thread of a worker.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "foundation/json/Value.hpp"
#include "korvan/services/connector/Export.hpp"
#include "kx/kxArray.hpp"

namespace korvan::services::connector {

class KORVAN_CONNECTOR_SERVICE_EXPORT ValueMappingError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// A new host array for `value`; the caller owns the result.
KORVAN_CONNECTOR_SERVICE_EXPORT kx::ArrayPtr arrayFromJson(const foundation::json::Value& value);

/// The JSON form of `array` (which is only read).
KORVAN_CONNECTOR_SERVICE_EXPORT foundation::json::Value jsonFromArray(const kxArray* array);

/// `text` with the bare words NaN, Infinity and -Infinity (outside strings) replaced by the
/// "double" envelopes of those values; nullopt when there are none. Python's json writes them.
KORVAN_CONNECTOR_SERVICE_EXPORT std::optional<std::string> withNonFiniteEnvelopes(
    std::string_view text);

/// Compact JSON text with doubles as the shortest text that reads back to them.
KORVAN_CONNECTOR_SERVICE_EXPORT std::string writeJson(const foundation::json::Value& value);

}  // namespace korvan::services::connector
