// Property records: how a property of a class reaches its native getter and setter.
//
// A module fills a PropMethods record and hands it to COSClass::addProperty:
//   PropMethods<C, double>    the native-double variant: getter returns a double, setter takes
//                             one; the host converts to and from a 1-by-1 double.
//   PropMethods<C, kxArray*>  the host-array variant: getter returns a new host array (or a
//                             shared one), setter takes the user's value unchanged; `release`,
//                             when set, is applied to every array the getter returned, once
//                             the host has taken its own copy (leave it empty for shared values
//                             such as enumeration members, which must not be destroyed).
// C is the class of the instance data (createInstanceData); getters and setters may be
// member functions of C, or any callable taking C*.
//
// The attribute word is a bit set read by the property queries of COSProperty (Members.hpp):
//   bit 0 isAbstract          bit 6 isCopyAllowed          bit 12 isStatic
//   bit 1 isInitAllowed       bit 7 isListenerGetAllowed   bit 13 isDependent
//   bit 2 isDefaultAllowed    bit 8 isListenerSetAllowed   bit 14 set: canContainInterfaces
//   bit 3 isResetAllowed      bit 9 isInspectAllowed              answers false without asking
//   bit 4 isSealed            bit 10 isAbortSet                   the type
//   bit 5 isTransient         bit 11 isVisible             bit 15 isWarnOnCopyError
#pragma once

#include <cstdint>
#include <functional>

struct kxArray;

namespace kcos {

template <class C, class V>
struct PropMethods;

template <class C>
struct PropMethods<C, double> {
    std::function<double(C*)> getter;
    std::function<void(C*, double)> setter;
};

template <class C>
struct PropMethods<C, kxArray*> {
    std::function<kxArray*(C*)> getter;
    std::function<void(C*, const kxArray*)> setter;
    std::function<void(kxArray*)> release;
};

/// The type-erased form of a PropMethods record, as the host keeps it: the callables take the
/// instance data as void*.
struct PropertyBinding {
    enum class ValueKind { NativeDouble, HostArray };
    ValueKind kind = ValueKind::HostArray;
    std::function<double(void*)> getDouble;
    std::function<void(void*, double)> setDouble;
    std::function<kxArray*(void*)> getArray;
    std::function<void(void*, const kxArray*)> setArray;
    std::function<void(kxArray*)> release;

    template <class C>
    static PropertyBinding from(PropMethods<C, double> m) {
        PropertyBinding b;
        b.kind = ValueKind::NativeDouble;
        if (m.getter)
            b.getDouble = [g = std::move(m.getter)](void* d) { return g(static_cast<C*>(d)); };
        if (m.setter)
            b.setDouble = [s = std::move(m.setter)](void* d, double v) {
                s(static_cast<C*>(d), v);
            };
        return b;
    }

    template <class C>
    static PropertyBinding from(PropMethods<C, kxArray*> m) {
        PropertyBinding b;
        b.kind = ValueKind::HostArray;
        if (m.getter)
            b.getArray = [g = std::move(m.getter)](void* d) { return g(static_cast<C*>(d)); };
        if (m.setter) {
            b.setArray = [s = std::move(m.setter)](void* d, const kxArray* v) {
                s(static_cast<C*>(d), v);
            };
        }
        b.release = std::move(m.release);
        return b;
    }
};

/// Bits of the attribute word.
namespace attr {
inline constexpr std::uint32_t kAbstract = 1u << 0;
inline constexpr std::uint32_t kInitAllowed = 1u << 1;
inline constexpr std::uint32_t kDefaultAllowed = 1u << 2;
inline constexpr std::uint32_t kResetAllowed = 1u << 3;
inline constexpr std::uint32_t kSealed = 1u << 4;
inline constexpr std::uint32_t kTransient = 1u << 5;
inline constexpr std::uint32_t kCopyAllowed = 1u << 6;
inline constexpr std::uint32_t kListenerGetAllowed = 1u << 7;
inline constexpr std::uint32_t kListenerSetAllowed = 1u << 8;
inline constexpr std::uint32_t kInspectAllowed = 1u << 9;
inline constexpr std::uint32_t kAbortSet = 1u << 10;
inline constexpr std::uint32_t kVisible = 1u << 11;
inline constexpr std::uint32_t kStatic = 1u << 12;
inline constexpr std::uint32_t kDependent = 1u << 13;
inline constexpr std::uint32_t kNoInterfaces = 1u << 14;
inline constexpr std::uint32_t kWarnOnCopyError = 1u << 15;
}  // namespace attr

}  // namespace kcos
