// The host's built-in classes and functions: the classes "double", "uint32", "datetime" and
// "duration" in the root namespace, and the functions "double", "uint32" (conversions) and
// "days" in the function table.
//
// They are registered when libkorvan_host is loaded; registerBuiltinClasses is idempotent
// and thread-safe, for code that wants to be explicit about it.
#pragma once

namespace kcos {

void registerBuiltinClasses();

}  // namespace kcos
