// Small helpers over host arrays shared by the evaluator, the operators and the built-ins:
// making scalars and texts, element copies between arrays of one class, class conversions,
// truth of conditions, and the language's own errors (component "KORVAN:lang").
// Threads: the interpreter thread (values are not synchronised).
#pragma once

#include <complex>
#include <string>
#include <string_view>

#include "korvan/host/Errors.hpp"
#include "kx/kxArray.hpp"

namespace korvan::lang {

using Value = kx::ArrayPtr;

inline constexpr const char* kLangComponent = "KORVAN:lang";

template <class... Args>
[[noreturn]] void langError(const char* name, Args&&... args) {
    korvan::host::throwError(kLangComponent, name, std::forward<Args>(args)...);
}

Value makeDouble(double v);
Value makeBool(bool v);
Value makeChar(std::string_view utf8);
Value makeString(std::string_view utf8);
/// Shares `a` into a new owner.
Value share(const kxArray* a);

std::string utf8(std::u16string_view text);
std::u16string utf16(std::string_view text);
/// The text of a string scalar or char array (UTF-8); host error otherwise.
std::string textOf(const kxArray* a);

/// A condition is true when it is non-empty and all its elements are non-zero.
bool isTrue(const kxArray* a);

/// An m-by-n array of a's class (and complexity), elements zero / "" / unset.
Value makeLike(const kxArray* a, kxSize m, kxSize n);
/// dst[di] = src[si]; both arrays of the same class (and complexity). Cell and struct
/// elements are copied as shared handles; struct fields go by name.
void copyElement(kxArray* dst, kxSize di, const kxArray* src, kxSize si);
/// Element i as a complex number (numeric, logical, char).
std::complex<double> complexAt(const kxArray* a, kxSize i);
/// An array of a's shape in class `cls` (numeric, logical, char or string); integers round
/// and saturate, NaN becomes 0.
Value convertTo(const kxArray* a, kxClassID cls);
/// Numeric, logical or char: the kinds arithmetic accepts.
bool isArithmetic(const kxArray* a);
/// Element i of a real array as a double, keeping integer classes exact enough for display.
double realAt(const kxArray* a, kxSize i);

}  // namespace korvan::lang
