// Identifier of an execution context of the host. Every interpreter (xvm::XVM) gets one when it
// is created; a target can name an interpreter either by handle or by this identifier, which
// lets code that must not keep the interpreter alive refer to it (see xvm/Dispatch.hpp).
//
// Threads: a plain value; safe to copy between threads.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>

namespace kvutil::contextmgr {

struct McrID {
    std::uint64_t fValue = 0;  // 0 names no context

    bool isValid() const noexcept { return fValue != 0; }
    friend auto operator<=>(const McrID&, const McrID&) = default;
};

}  // namespace kvutil::contextmgr

template <>
struct std::hash<kvutil::contextmgr::McrID> {
    std::size_t operator()(const kvutil::contextmgr::McrID& id) const noexcept {
        return std::hash<std::uint64_t>{}(id.fValue);
    }
};
