#include "kcos/Interned.hpp"

#include <functional>
#include <mutex>
#include <string_view>
#include <unordered_set>

namespace kcos {
namespace {

// Hashes std::string and std::string_view alike, so that a look-up of a name that is already
// interned (nearly every call: class and member look-ups on each property access) builds no
// std::string.
struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>{}(text);
    }
};

struct InternTable {
    std::mutex fLock;
    // guarded by fLock; nodes never move
    std::unordered_set<std::string, TextHash, std::equal_to<>> fEntries;
};

InternTable& table() {
    static auto* t = new InternTable;  // never destroyed: names outlive static destructors
    return *t;
}

}  // namespace

const std::string& InternedString::emptyText() noexcept {
    static const std::string empty;
    return empty;
}

namespace internal {

InternedString makeInterned(std::string_view text) {
    if (text.empty()) return InternedString();
    auto& t = table();
    std::lock_guard lock(t.fLock);
    auto it = t.fEntries.find(text);
    if (it == t.fEntries.end()) it = t.fEntries.emplace(text).first;
    return InternedString(&*it);
}

InternedString makeInterned(const char* text) {
    return text ? makeInterned(std::string_view(text)) : InternedString();
}

}  // namespace internal
}  // namespace kcos
