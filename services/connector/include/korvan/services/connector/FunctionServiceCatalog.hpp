// Function services: named groups of functions that callers reach over HTTPS as
// POST <BaseUrl>/services/<service>/<function>.
//
// FunctionServiceCatalog is what the server asks: which services there are, which functions
// each has, and the callable behind a name. The callable is of the host's built-in form
// (korvan/host/Functions.hpp) and is only ever run on the interpreter thread.
//
// HostFunctionCatalog exposes functions of the host's function table under service and
// function names of its own choosing; the host function is looked up at each call, so a
// function unregistered from the host answers as unknown.
//
// Threads: all operations may be called from any thread. HostFunctionCatalog guards its map
// with fLock (a reader-writer lock); it never calls out while holding it.
#pragma once

#include <map>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "korvan/host/Functions.hpp"
#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

/// What a caller may know of a function before calling it: its input and output names and its
/// help (a one-line summary and the lines after it).
struct FunctionMetadata {
    std::vector<std::string> fInputs;
    std::vector<std::string> fOutputs;
    std::string fSummary;
    std::string fDescription;

    friend bool operator==(const FunctionMetadata&, const FunctionMetadata&) = default;
};

class KORVAN_CONNECTOR_SERVICE_EXPORT FunctionServiceCatalog {
  public:
    virtual ~FunctionServiceCatalog() = default;

    /// Service names, sorted.
    virtual std::vector<std::string> serviceNames() const = 0;
    /// The functions of `service`, sorted; nullopt when there is no such service.
    virtual std::optional<std::vector<std::string>> functionNames(
        std::string_view service) const = 0;
    /// The callable of `service`/`function`; nullopt when either is unknown.
    virtual std::optional<korvan::host::Function> findFunction(std::string_view service,
                                                               std::string_view function) const = 0;
    /// The metadata of `service`/`function`; nullopt when either is unknown or nothing is known
    /// of it (the default).
    virtual std::optional<FunctionMetadata> describeFunction(std::string_view /*service*/,
                                                             std::string_view /*function*/) const {
        return std::nullopt;
    }
    /// Looks again at where the services come from (folders on disk); the default has nothing
    /// to look at.
    virtual void refresh() {}
};

/// True for a name usable as a service or function name in a URL: 1 to 64 characters of
/// letters, digits, '_', '-' and '.'.
KORVAN_CONNECTOR_SERVICE_EXPORT bool isValidServiceName(std::string_view name) noexcept;

class KORVAN_CONNECTOR_SERVICE_EXPORT HostFunctionCatalog : public FunctionServiceCatalog {
  public:
    /// Exposes the host function `hostFunction` as `service`/`function` (replacing an earlier
    /// entry). Throws std::invalid_argument for a name that isValidServiceName refuses.
    void expose(const std::string& service, const std::string& function,
                const std::string& hostFunction);
    /// Removes a whole service; returns false when there was none.
    bool removeService(std::string_view service);

    std::vector<std::string> serviceNames() const override;
    std::optional<std::vector<std::string>> functionNames(std::string_view service) const override;
    std::optional<korvan::host::Function> findFunction(std::string_view service,
                                                       std::string_view function) const override;

  private:
    using Functions = std::map<std::string, std::string, std::less<>>;  // name -> host name
    mutable std::shared_mutex fLock;
    std::map<std::string, Functions, std::less<>> fServices;  // guarded by fLock
};

}  // namespace korvan::services::connector
