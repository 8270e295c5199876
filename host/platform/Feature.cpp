// The host's feature table: name resolution to data indexes, environment and overrides.
#include <foundation/feature/Feature.hpp>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <mutex>
#include <vector>

#include <boost/algorithm/string.hpp>

namespace foundation::feature {

namespace {

class FeatureTable {
  public:
    std::uint64_t resolve(int scope, const std::string& name) {
        std::lock_guard lock(fLock);
        const auto key = std::make_pair(scope, name);
        const auto it = fIndexes.find(key);
        if (it != fIndexes.end()) {
            return it->second;
        }
        const std::uint64_t index = fNames.size();
        fNames.push_back(name);
        fIndexes.emplace(key, index);
        return index;
    }

    bool isOn(std::uint64_t index) {
        std::lock_guard lock(fLock);
        loadEnvironmentLocked(false);
        const std::string& name = fNames.at(index);
        if (const auto o = fOverrides.find(name); o != fOverrides.end()) {
            return o->second;
        }
        if (const auto e = fEnvironment.find(name); e != fEnvironment.end()) {
            return e->second;
        }
        return true;
    }

    std::optional<bool> setOverride(const std::string& name, std::optional<bool> on) {
        std::lock_guard lock(fLock);
        std::optional<bool> previous;
        if (const auto o = fOverrides.find(name); o != fOverrides.end()) {
            previous = o->second;
        }
        if (on) {
            fOverrides[name] = *on;
        } else {
            fOverrides.erase(name);
        }
        return previous;
    }

    void reloadEnvironment() {
        std::lock_guard lock(fLock);
        loadEnvironmentLocked(true);
    }

  private:
    // Parses KORVAN_FEATURES ("Name=off,Other=on"); entries that cannot be read are ignored.
    void loadEnvironmentLocked(bool force) {
        if (fEnvironmentLoaded && !force) {
            return;
        }
        fEnvironmentLoaded = true;
        fEnvironment.clear();
        const char* text = std::getenv("KORVAN_FEATURES");
        if (text == nullptr) {
            return;
        }
        std::vector<std::string> entries;
        boost::algorithm::split(entries, text, boost::algorithm::is_any_of(","));
        for (const auto& entry : entries) {
            const auto eq = entry.find('=');
            if (eq == std::string::npos) {
                continue;
            }
            const std::string name = boost::algorithm::trim_copy(entry.substr(0, eq));
            const std::string state =
                boost::algorithm::to_lower_copy(boost::algorithm::trim_copy(entry.substr(eq + 1)));
            if (name.empty()) {
                continue;
            }
            if (state == "on" || state == "1" || state == "true" || state == "yes") {
                fEnvironment[name] = true;
            } else if (state == "off" || state == "0" || state == "false" || state == "no") {
                fEnvironment[name] = false;
            }
        }
    }

    std::mutex fLock;  // guards everything below
    std::map<std::pair<int, std::string>, std::uint64_t> fIndexes;
    std::vector<std::string> fNames;  // by data index
    std::map<std::string, bool> fEnvironment;
    std::map<std::string, bool> fOverrides;
    bool fEnvironmentLoaded = false;
};

FeatureTable& table() {
    static FeatureTable* const instance = new FeatureTable();  // outlives static destructors
    return *instance;
}

}  // namespace

std::uint64_t Feature::dataIndex() const {
    std::uint64_t index = fDataIndex.load(std::memory_order_acquire);
    if (index == kUnresolved) {
        index = table().resolve(fScope, fName);
        fDataIndex.exchange(index, std::memory_order_acq_rel);  // racing resolvers agree
    }
    return index;
}

bool IFeature::get(const Feature& feature) {
    return table().isOn(feature.dataIndex());
}

void setOverride(const std::string& name, std::optional<bool> on) {
    table().setOverride(name, on);
}

void reloadEnvironment() {
    table().reloadEnvironment();
}

ScopedOverride::ScopedOverride(std::string name, bool on)
    : fName(std::move(name)), fPrevious(table().setOverride(fName, on)) {}

ScopedOverride::~ScopedOverride() {
    table().setOverride(fName, fPrevious);
}

}  // namespace foundation::feature
