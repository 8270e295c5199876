#include "kcos/Allocator.hpp"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "korvan/host/Errors.hpp"

namespace kcos {
namespace {
std::atomic<std::size_t> gLiveBlocks{0};
}

void* hostAlloc(std::size_t size) {
    void* block = std::calloc(1, size == 0 ? 1 : size);
    if (!block) kxErrOutOfMemory();
    gLiveBlocks.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void hostFree(void* block) noexcept {
    if (!block) return;
    gLiveBlocks.fetch_sub(1, std::memory_order_relaxed);
    std::free(block);
}

char* hostStrdup(std::string_view text) {
    auto* copy = static_cast<char*>(hostAlloc(text.size() + 1));
    std::memcpy(copy, text.data(), text.size());
    return copy;  // zero-filled, so terminated
}

std::size_t hostLiveBlocks() noexcept {
    return gLiveBlocks.load(std::memory_order_relaxed);
}

}  // namespace kcos
