#include "korvan/services/connector/FunctionServiceCatalog.hpp"

#include <mutex>
#include <stdexcept>

namespace korvan::services::connector {

bool isValidServiceName(std::string_view name) noexcept {
    if (name.empty() || name.size() > 64) return false;
    for (char c : name) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                        (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
        if (!ok) return false;
    }
    return true;
}

void HostFunctionCatalog::expose(const std::string& service, const std::string& function,
                                 const std::string& hostFunction) {
    if (!isValidServiceName(service) || !isValidServiceName(function))
        throw std::invalid_argument("Invalid function service or function name: " + service + "/" +
                                    function);
    std::unique_lock lock(fLock);
    fServices[service][function] = hostFunction;
}

bool HostFunctionCatalog::removeService(std::string_view service) {
    std::unique_lock lock(fLock);
    auto it = fServices.find(service);
    if (it == fServices.end()) return false;
    fServices.erase(it);
    return true;
}

std::vector<std::string> HostFunctionCatalog::serviceNames() const {
    std::shared_lock lock(fLock);
    std::vector<std::string> names;
    for (const auto& [name, functions] : fServices) names.push_back(name);
    return names;
}

std::optional<std::vector<std::string>> HostFunctionCatalog::functionNames(
    std::string_view service) const {
    std::shared_lock lock(fLock);
    auto it = fServices.find(service);
    if (it == fServices.end()) return std::nullopt;
    std::vector<std::string> names;
    for (const auto& [name, hostName] : it->second) names.push_back(name);
    return names;
}

std::optional<korvan::host::Function> HostFunctionCatalog::findFunction(
    std::string_view service, std::string_view function) const {
    std::string hostName;
    {
        std::shared_lock lock(fLock);
        auto s = fServices.find(service);
        if (s == fServices.end()) return std::nullopt;
        auto f = s->second.find(function);
        if (f == s->second.end()) return std::nullopt;
        hostName = f->second;
    }
    return korvan::host::findFunction(hostName);
}

}  // namespace korvan::services::connector
