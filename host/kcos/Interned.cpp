#include "kcos/Interned.hpp"

#include <mutex>
#include <unordered_set>

namespace kcos {
namespace {

struct InternTable {
    std::mutex fLock;
    std::unordered_set<std::string> fEntries;  // guarded by fLock; nodes never move
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
    auto it = t.fEntries.emplace(text).first;
    return InternedString(&*it);
}

InternedString makeInterned(const char* text) {
    return text ? makeInterned(std::string_view(text)) : InternedString();
}

}  // namespace internal
}  // namespace kcos
