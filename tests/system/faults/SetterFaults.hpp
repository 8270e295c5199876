// Every setter of a hosted connector called while its settings cannot be written: each must
// fail with an error that reaches the caller and change nothing, neither in the connector
// (its property document) nor in the store's memory nor on disk. After the folder is repaired
// a setter must work again. Used by faults_settings_child, which breaks the folder.
//
// Not thread-safe: one thread drives it.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::test {

class SetterFaults {
  public:
    explicit SetterFaults(std::filesystem::path prefs);

    /// Creates the store and the connector and gives every setting a non-default value (token
    /// and certificate issued), so that each setter below would change something.
    bool prepare();
    /// Also compares this path's content (the file put where the folder was); empty: none.
    void watchExtra(std::filesystem::path path) { fExtra = std::move(path); }
    /// Calls each setter once; records what did not hold.
    void runFailingSetters();
    /// A setter works again and its value is in memory and in the file.
    void checkRecovered();

    bool ok() const { return fFailures == 0; }
    /// One line per case and per failure.
    std::string report() const { return fReport.str(); }
    int failingSetters() const { return fSetters; }

  private:
    struct Snapshot {
        std::string fDocument;
        korvan::services::settings::ConnectorSettings fMemory;
        std::map<std::string, std::string> fDisk;  // path below prefs (logs left out) -> bytes
    };
    Snapshot snapshot() const;
    void fail(const std::string& what);

    const std::filesystem::path fPrefs;
    std::filesystem::path fExtra;
    std::shared_ptr<korvan::services::settings::SettingsStore> fStore;
    std::unique_ptr<korvan::services::servicehost::HostedConnector> fConnector;
    std::ostringstream fReport;
    int fFailures = 0;
    int fSetters = 0;
};

}  // namespace korvan::test
