// The host's registry of process-wide unique singletons: one object per ID for the whole
// process, however many libraries or threads ask for it.
//
// Pattern (creation is race-free; the first inserter wins):
//     static const foundation::usm::Id id = foundation::usm::obtainId();
//     if (auto* found = foundation::usm::find<Holder>(id)) return *found;
//     auto candidate = std::make_unique<Holder>();
//     return *foundation::usm::findOrInsert(id, candidate);  // a loser's candidate dies here
//
// Ownership: an inserted object belongs to the registry, which destroys all objects at
// process exit (static destruction of the host library) or on reset(), newest first. The
// destructors run outside the registry's lock, so they may use the registry. Code of an
// object's destructor must still be loaded then (modules are not unloaded before exit).
//
// Threads: every function may be called from any thread; the table is guarded by one
// internal mutex. Errors: asking for an ID with another type than it was inserted with
// throws std::logic_error; an ID never obtained throws std::out_of_range.
#pragma once

#include <cstdint>
#include <memory>
#include <typeindex>
#include <typeinfo>

#include "korvan/host/Export.hpp"

namespace foundation::usm {

using Id = std::uint64_t;

/// A new ID, distinct from every other in the process.
KORVAN_HOST_EXPORT Id obtainId();

namespace detail {
KORVAN_HOST_EXPORT void* find(Id id, const std::type_info& type);
// Inserts object (deleted with destroy) when the ID is empty; returns the registered object.
KORVAN_HOST_EXPORT void* findOrInsert(Id id, const std::type_info& type, void* object,
                                      void (*destroy)(void*));
}  // namespace detail

/// The object registered under `id`, or nullptr.
template <class T>
T* find(Id id) {
    return static_cast<T*>(detail::find(id, typeid(T)));
}

/// Registers `candidate` under `id` unless an object is registered already, and returns the
/// registered object. When `candidate` wins, the registry takes it (candidate becomes empty);
/// when it loses, the caller still owns it and it is destroyed with the unique_ptr.
template <class T>
T* findOrInsert(Id id, std::unique_ptr<T>& candidate) {
    void* winner = detail::findOrInsert(id, typeid(T), candidate.get(),
                                        [](void* p) { delete static_cast<T*>(p); });
    if (winner == candidate.get()) {
        candidate.release();
    }
    return static_cast<T*>(winner);
}

/// Destroys every registered object (newest first) and empties the table; IDs stay valid.
/// For tests and orderly shutdown.
KORVAN_HOST_EXPORT void reset();

}  // namespace foundation::usm
