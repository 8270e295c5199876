// What a module test does as user code: host values and the user-code actions on them.
//
// Value: a host array owned by the test, released on the interpreter thread whatever thread
// drops it. The makers (num, str, ...) build argument values; the readers (scalar, text, ...)
// look at results after the action that made them has returned.
//
// Every action in namespace `user` runs on the harness's interpreter thread through
// korvan::host::UserCode with the public client, so access checks apply as for a user's
// script; host errors come back to the calling thread unchanged (catch them with
// catchError / errorIdOf).
#pragma once

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kx/kxArray.hpp"

namespace korvan::test {

using Value = std::shared_ptr<kxArray>;

/// Takes over one reference of `array` (null stays null).
Value own(kxArray* array);

// ---- makers ---------------------------------------------------------------------------
Value num(double value);
Value complexNum(double re, double im);
Value doubles(std::size_t m, std::size_t n, std::initializer_list<double> values = {});
Value emptyDouble();
Value int32(std::int32_t value);
Value logical(bool value);
/// A string scalar.
Value str(std::string_view utf8);
/// A 1-by-N character row vector (0-by-0 when empty).
Value chars(std::string_view utf8);
/// An m-by-n character matrix filled with 'a'.
Value charMatrix(std::size_t m, std::size_t n);
/// An m-by-n string array (column-major); nullopt is the missing value.
Value strings(std::size_t m, std::size_t n, const std::vector<std::optional<std::string>>& items);
Value missingString();

// ---- readers --------------------------------------------------------------------------
double scalar(const Value& value);
/// A string scalar's or a character array's text as UTF-8.
std::string text(const Value& value);
/// Every element of a string array as UTF-8 ("<missing>" for the missing value).
std::vector<std::string> texts(const Value& value);
std::string className(const Value& value);
std::vector<std::size_t> dims(const Value& value);

namespace user {

/// restFunctionConnector(), one output.
Value connector();
/// `name(args...)` with `nlhs` outputs; the results (max(nlhs, 1) slots, null when unset).
std::vector<Value> call(std::string_view name, const std::vector<Value>& args = {}, int nlhs = 1);
/// `object.method(args...)` (dot form).
void method(const Value& object, std::string_view name, const std::vector<Value>& args = {},
            int nlhs = 0);
/// `method(object, args...)` (function form).
void function(const Value& object, std::string_view name, const std::vector<Value>& args = {},
              int nlhs = 0);
Value get(const Value& object, std::string_view property);
void set(const Value& object, std::string_view property, const Value& value);
/// "korvan.engine.rest.Status.running" as user code reads it.
Value member(std::string_view fullName);
/// The member name of an enumeration value ("" when it is none).
std::string memberName(const Value& value);
/// `delete(object)`.
void remove(const Value& object);
std::vector<std::string> propertyNames(const Value& object);
/// The native object behind a connector object (the class's instance data), or null.
const void* nativeOf(const Value& object);

}  // namespace user

}  // namespace korvan::test
