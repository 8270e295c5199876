// The process-wide tables of the class-object system (namespaces and classes by full name)
// and the look-ups shared by its entries.
//
// Threads: fLock (a reader-writer lock) guards both maps and the per-namespace tables of
// every COSNamespace. Nobody calls a description while holding it.
#pragma once

#include <optional>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>

#include "kcos/Interned.hpp"
#include "korvan/host/Functions.hpp"

namespace kcos {

class COSClass;
class COSNamespace;

namespace internal {

struct Registry {
    std::shared_mutex fLock;
    std::unordered_map<InternedString, COSNamespace*, InternedString::Hash> fNamespaces;
    std::unordered_map<InternedString, COSClass*, InternedString::Hash> fClasses;
};

/// The registry (never destroyed: descriptions may live in modules unloaded after exit).
Registry& registry();

/// The registered class with this full name, defined or not (no loading, no definition).
COSClass* findRegisteredClass(InternedString fullName);

/// Whether `name` is a built-in array class name ("double", "uint32", "string", ...).
bool isBuiltinArrayClass(std::string_view name);

/// The function-table entry `fullName` ("korvan.internal.rest.showDialog"); on a miss the
/// namespace of its prefix, if any, is asked to load it (attemptToLoadFunction) and the table
/// is searched again.
std::optional<korvan::host::Function> findFunctionLoading(std::string_view fullName);

}  // namespace internal
}  // namespace kcos
