// The connector under attack: a hosted connector (the one the korvan command runs) on a
// settings folder of its own, serving function services from folders, started in local mode
// on a free loopback port with short time-outs and a small body limit so that refusals come
// quickly. Next to the services folder lie function files that must never be reachable
// ("outside/evil.k", "rest/evil.k", "rest/services/evil.k" loose in the services folder);
// each returns "pwned" if it ever runs.
//
// Owns everything it starts; the destructor stops the connector and removes the folder.
// Threads: the test thread only (the connector's own threads are its business).
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <boost/json/parse.hpp>

#include "Invokers.hpp"
#include "TempFolder.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/settings/SettingsStore.hpp"
#include "korvan/shell/FolderFunctionCatalog.hpp"

namespace korvan::test {

namespace fs = std::filesystem;
namespace connector = korvan::services::connector;

struct TargetOptions {
    std::chrono::milliseconds fIoTimeout{1000};
    std::size_t fBodyLimit = 4096;
    std::string fHostName;  // the HostName setting; empty: none
    std::size_t fMaxConnections = 512;
    /// Runs on the settings store before the connector is made (e.g. to plant a token).
    std::function<void(korvan::services::settings::SettingsStore&)> fBefore;
};

inline std::string readText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void writeText(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

class AttackTarget {
  public:
    explicit AttackTarget(TargetOptions options = {}) {
        // The store makes the settings folder (the person's services folder comes later).
        fStore = std::make_shared<korvan::services::settings::SettingsStore>(prefs());
        fStore->update([](korvan::services::settings::ConnectorSettings&) {});
        const fs::path services = prefs() / "rest" / "services";
        writeText(services / "demo" / "plus.k", "function s = plus(a, b)\n  s = a + b;\nend\n");
        const std::string evil = "function r = evil()\n  r = \"pwned\";\nend\n";
        writeText(fFolder.path() / "outside" / "evil.k", evil);
        writeText(prefs() / "rest" / "evil.k", evil);
        writeText(services / "evil.k", evil);

        if (options.fBefore) options.fBefore(*fStore);
        connector::Config tuning;
        tuning.fIoTimeout = options.fIoTimeout;
        tuning.fStopTimeout = std::chrono::seconds(2);
        tuning.fBodyLimit = options.fBodyLimit;
        tuning.fMaxConnections = options.fMaxConnections;
        fConnector = std::make_unique<korvan::services::servicehost::HostedConnector>(
            fStore, std::make_shared<korvan::shell::FolderFunctionCatalog>(services),
            std::make_shared<korvan::test::InterpreterInvoker>(fInterpreter.getXVM(),
                                                               std::chrono::seconds(5)),
            tuning);
        fConnector->invoke("setPort", R"({"port":0})");
        if (!options.fHostName.empty())
            fConnector->invoke("setHostname", R"({"hostName":")" + options.fHostName + "\"}");
        fConnector->invoke("startConnector", "{}");
        fPort = static_cast<std::uint16_t>(
            boost::json::parse(fConnector->invoke("getPort", "{}")).to_number<int>());
    }
    ~AttackTarget() {
        fConnector->invoke("stopConnector", "{}");
        fConnector->shutdown();
    }

    std::uint16_t port() const { return fPort; }
    fs::path prefs() const { return fFolder.path() / "prefs"; }
    fs::path logFolder() const { return prefs() / "rest" / "logs"; }
    std::string token() { return text("getPersonalAccessToken"); }
    fs::path certificate() { return text("getCertificate"); }
    korvan::services::servicehost::HostedConnector& hosted() { return *fConnector; }
    korvan::services::settings::SettingsStore& store() { return *fStore; }

    std::string accessLog() const { return readText(logFolder() / "access.log"); }
    std::string connectorLog() const { return readText(logFolder() / "connector.log"); }

  private:
    std::string text(const std::string& operation) {
        return std::string(boost::json::parse(fConnector->invoke(operation, "{}")).as_string());
    }

    korvan::test::TempFolder fFolder;
    korvan::host::InterpreterThread fInterpreter;
    std::shared_ptr<korvan::services::settings::SettingsStore> fStore;
    std::unique_ptr<korvan::services::servicehost::HostedConnector> fConnector;
    std::uint16_t fPort = 0;
};

}  // namespace korvan::test
