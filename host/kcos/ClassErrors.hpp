// Host errors of the class-object system (component "KORVAN:class"; texts in
// host/resources/messages/KORVAN_class.json).
#pragma once

#include <utility>

#include "korvan/host/Errors.hpp"

namespace kcos::internal {

inline constexpr const char* kClassComponent = "KORVAN:class";

template <class... Args>
[[noreturn]] void throwClassError(const char* name, Args&&... args) {
    korvan::host::throwError(kClassComponent, name, std::forward<Args>(args)...);
}

}  // namespace kcos::internal
