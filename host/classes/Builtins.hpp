// The host's built-in classes (internal to host/classes): their descriptions and functions.
// kcos::registerBuiltinClasses (kcos/Builtins.hpp) puts them into the root namespace.
#pragma once

#include <cstdint>

#include "kx/kxArray.hpp"

namespace kcos {
class COSClassInfo;
}

namespace korvan::host::classes {

/// The attribute word of the built-in classes' read-only properties (visible, copyable,
/// inspectable; private set access makes them read-only).
inline constexpr std::uint32_t kReadOnlyPropertyAttributes = 3022;

kcos::COSClassInfo* makeDateTimeClassInfo();
kcos::COSClassInfo* makeDurationClassInfo();
/// "double" or "uint32": no instances; the method of the same name converts a value, or, run
/// on an instance with one argument, stores the converted argument as the instance's
/// underlying value (how enumerations with an underlying class get their values).
kcos::COSClassInfo* makeNumericClassInfo(const char* name, kxClassID classID);

/// The converted copy of `value` (numeric, logical, char; string for double; objects with
/// an underlying value). Throws KORVAN:class:ConversionNotPossible otherwise.
kxArray* convertToNumeric(const kxArray* value, kxClassID classID);

/// The built-in function days(x): numbers to a duration array of the same shape; a duration
/// array to its numbers of days.
void daysFunction(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs);

}  // namespace korvan::host::classes
