// Cell and struct values as the language sees them: reading elements and fields with the
// language's errors, field names, field sets, and deep equality.
// Errors: KORVAN:lang:FieldOfArray, NoSuchField, InvalidFieldName, FieldsDiffer.
// Threads: the interpreter thread.
#pragma once

#include <string>
#include <vector>

#include "Values.hpp"

namespace korvan::lang {

/// The 0-by-0 double [] (what `x = []` holds; it becomes a cell or struct when one is
/// assigned into it).
bool isPlainEmpty(const kxArray* a);
/// "1x2": the size of `a` for messages and displays.
std::string sizeText(const kxArray* a);

/// Element `i` of a cell array; an element never set reads as [].
Value cellElement(const kxArray* cell, kxSize i);
/// A 1-by-1 cell holding `v`.
Value wrapInCell(const kxArray* v);

/// The field names of a struct in their order.
std::vector<std::string> fieldNames(const kxArray* s);
/// Raises InvalidFieldName unless `name` can name a field.
void checkFieldName(const std::string& name);
/// Raises NoSuchField for `name`, listing the fields `s` has.
[[noreturn]] void noSuchField(const kxArray* s, const std::string& name);
/// `s.name` of a 1-by-1 struct; a field never set reads as [].
Value readField(const kxArray* s, const std::string& name);
/// Whether two structs have the same field names, in any order.
bool sameFields(const kxArray* a, const kxArray* b);
/// Raises FieldsDiffer unless the two structs have the same field names.
void requireSameFields(const kxArray* a, const kxArray* b);
/// A copy of struct `s` with the fields of struct `other` that it lacks added (empty in
/// every element); `s` itself when it lacks none.
Value withFieldsOf(const kxArray* s, const kxArray* other);

/// Equality of values of which at least one is a cell or struct: same class and size, cells
/// element by element, structs the same field set and each field's values equal.
bool containersEqual(const kxArray* a, const kxArray* b);

}  // namespace korvan::lang
