// How values look when a statement without ';' shows them, and what disp prints.
//
//   x = 5                 scalars, texts ('char', "string", <missing>), true/false,
//   x =                   arrays: one line per row, columns right-aligned
//       1     2
//   s = remote            enumeration members by member name
//   d = 05-Jan-2026 ...   datetimes and durations as their text
//   s =                   a 1-by-1 struct: one line per field, names right-aligned;
//     struct with fields:   a struct array: its size and field names
//       a: 1
//   c =                   a cell: its size, then one line per row, each element in braces,
//     1x2 cell array        containers and matrices by size and class
//       {[1]}    {'a'}
//   c =                   other objects: the class name, then one line per property in
//     pkg.Class with properties:   the class's order, names right-aligned
//         Port: 8080
//
// Object properties are read through korvan::host::UserCode with the public client.
// Threads: the interpreter thread.
#pragma once

#include <string>

#include "kx/kxArray.hpp"

namespace korvan::lang {

/// The display of `value` named `name` ("x = ..."), ending with a newline.
std::string displayValue(const std::string& name, const kxArray* value);
/// The display without the name, as disp prints it, ending with a newline.
std::string displayBody(const kxArray* value);
/// A one-line form of a value (property tables, messages).
std::string shortText(const kxArray* value);
/// A real number as the display writes it: integers exactly, others with four decimals.
std::string formatNumber(double v);

}  // namespace korvan::lang
