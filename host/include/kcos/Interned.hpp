// Interned names: every class, namespace, method and package name the class-object system
// compares is interned once, so that two names are equal exactly when they are the same entry.
//
// An InternedString is a small value (one pointer) into the process-wide intern table. The
// empty name and an absent (null) C string intern as the null name, which is false in a
// boolean context and reads as "".
//
// Threads: makeInterned may be called from any thread (the table is guarded by a mutex);
// entries are never removed, so an InternedString stays valid for the life of the process.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"

namespace kcos {

class InternedString;

namespace internal {
/// The interned form of `text`; "" gives the null name.
KORVAN_HOST_EXPORT InternedString makeInterned(std::string_view text);
/// The interned form of a C string; nullptr and "" give the null name.
KORVAN_HOST_EXPORT InternedString makeInterned(const char* text);
}  // namespace internal

class KORVAN_HOST_EXPORT InternedString {
  public:
    /// The null name.
    InternedString() = default;

    bool isNull() const noexcept { return fEntry == nullptr; }
    explicit operator bool() const noexcept { return fEntry != nullptr; }

    /// The text; "" for the null name. The storage lives as long as the process.
    const std::string& str() const noexcept { return fEntry ? *fEntry : emptyText(); }
    const char* c_str() const noexcept { return str().c_str(); }
    std::string_view view() const noexcept { return str(); }

    friend bool operator==(InternedString a, InternedString b) noexcept {
        return a.fEntry == b.fEntry;
    }

    struct Hash {
        std::size_t operator()(InternedString name) const noexcept {
            return std::hash<const void*>()(name.fEntry);
        }
    };

  private:
    friend InternedString internal::makeInterned(std::string_view text);
    explicit InternedString(const std::string* entry) noexcept : fEntry(entry) {}
    static const std::string& emptyText() noexcept;

    const std::string* fEntry = nullptr;  // an element of the intern table, or null
};

}  // namespace kcos
