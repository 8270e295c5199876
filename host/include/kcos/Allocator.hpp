// The host allocator: descriptions handed to the class-object system (class, method,
// enumeration-member and namespace descriptions, method signatures) are allocated with it
// through their classes' operator new, and freed with it through their operator delete, so
// that the host can free a description that a module made.
//
// Every block is zero-filled. A failed allocation raises the host's out-of-memory error
// (KORVAN:host:OutOfMemory, see korvan/host/Errors.hpp); nothing is allocated then.
//
// Threads: all functions may be called from any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "korvan/host/Export.hpp"

namespace kcos {

/// A zero-filled block of `size` bytes (at least one byte is allocated for size 0).
KORVAN_HOST_EXPORT void* hostAlloc(std::size_t size);
/// Frees a block from hostAlloc/hostStrdup; null does nothing.
KORVAN_HOST_EXPORT void hostFree(void* block) noexcept;
/// A NUL-terminated copy of `text` in a host block; free it with hostFree.
KORVAN_HOST_EXPORT char* hostStrdup(std::string_view text);
/// Blocks allocated and not yet freed (diagnostics and leak tests).
KORVAN_HOST_EXPORT std::size_t hostLiveBlocks() noexcept;

}  // namespace kcos
