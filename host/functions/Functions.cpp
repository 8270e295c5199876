#include "korvan/host/Functions.hpp"

#include <map>
#include <mutex>
#include <shared_mutex>

namespace korvan::host {
namespace {

struct FunctionTable {
    std::shared_mutex fLock;  // guards fFunctions
    std::map<std::string, Function> fFunctions;
};

FunctionTable& table() {
    static auto* t = new FunctionTable;  // never destroyed: modules may unload after main ends
    return *t;
}

}  // namespace

void registerFunction(const std::string& fullName, Function function) {
    auto& t = table();
    std::unique_lock lock(t.fLock);
    t.fFunctions[fullName] = std::move(function);
}

bool unregisterFunction(const std::string& fullName) {
    auto& t = table();
    std::unique_lock lock(t.fLock);
    return t.fFunctions.erase(fullName) > 0;
}

std::optional<Function> findFunction(const std::string& fullName) {
    auto& t = table();
    std::shared_lock lock(t.fLock);
    auto it = t.fFunctions.find(fullName);
    if (it == t.fFunctions.end()) return std::nullopt;
    return it->second;
}

std::vector<std::string> functionNames() {
    auto& t = table();
    std::shared_lock lock(t.fLock);
    std::vector<std::string> names;
    names.reserve(t.fFunctions.size());
    for (const auto& [name, fn] : t.fFunctions) names.push_back(name);
    return names;
}

}  // namespace korvan::host
