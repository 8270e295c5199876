// Feature switches of the host: named features that code asks about before offering a
// capability. Every feature is on unless switched off.
//
// Switching: the environment variable KORVAN_FEATURES holds a comma-separated list of
// "<name>=<state>" entries, state one of on/off (also 1/0, true/false, yes/no; any letter
// case), e.g. KORVAN_FEATURES=RestFunctionService=off. Names are case-sensitive and apply in
// every scope. It is read on the first query; reloadEnvironment() reads it again. A
// programmatic override (setOverride, ScopedOverride) takes precedence over the environment.
//
// Usage, one function-local static per feature:
//     static const foundation::feature::Feature feature(1, "RestFunctionService");
//     if (!foundation::feature::IFeature::get(feature)) { ... }
//
// Threads: all functions may be called from any thread. A Feature resolves its name to a data
// index of the host's feature table on the first query and stores it atomically (concurrent
// first queries store the same index); the table and the switch states are guarded by one
// internal mutex.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"

namespace foundation::feature {

/// One feature: a scope (a number separating families of features; 1 holds the product's
/// features) and a name. Constant after construction except for the cached data index.
class KORVAN_HOST_EXPORT Feature {
  public:
    static constexpr std::uint64_t kUnresolved = ~std::uint64_t{0};

    Feature(int scope, std::string name) : fScope(scope), fName(std::move(name)) {}

    int scope() const noexcept { return fScope; }
    const std::string& name() const noexcept { return fName; }

    /// The index of this feature in the host's feature table, resolved on first use.
    std::uint64_t dataIndex() const;

  private:
    int fScope;
    std::string fName;
    mutable std::atomic<std::uint64_t> fDataIndex{kUnresolved};  // all ones until resolved
};

/// The query interface of the host's feature management.
class KORVAN_HOST_EXPORT IFeature {
  public:
    /// True when the feature is on.
    static bool get(const Feature& feature);
};

/// Sets (true/false) or removes (nullopt) the override of a feature name.
KORVAN_HOST_EXPORT void setOverride(const std::string& name, std::optional<bool> on);

/// Re-reads KORVAN_FEATURES; overrides stay as they are.
KORVAN_HOST_EXPORT void reloadEnvironment();

/// An override for the lifetime of the object; the previous override is restored after.
class KORVAN_HOST_EXPORT ScopedOverride {
  public:
    ScopedOverride(std::string name, bool on);
    ~ScopedOverride();
    ScopedOverride(const ScopedOverride&) = delete;
    ScopedOverride& operator=(const ScopedOverride&) = delete;

  private:
    std::string fName;
    std::optional<bool> fPrevious;
};

}  // namespace foundation::feature
