// Shared set-up of the hosted connector tests: a settings folder of its own, a catalogue with
// two services, an interpreter thread, and short network time-outs so nothing waits long.
#pragma once

#include <chrono>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include "Invokers.hpp"
#include "TempFolder.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/servicehost/HostedConnector.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::test {

using namespace korvan::services::servicehost;
using namespace korvan::services;

using korvan::test::TempFolder;
using settings::ConnectorSettings;
using settings::SettingsStore;

inline void registerHostedTestFunctions() {
    static const bool done = [] {
        korvan::host::registerFunction("hostedTestTwice",
                                       [](int, kxArray** plhs, int, const kxArray** prhs) {
                                           plhs[0] = kxCreateDoubleScalar(2 * kxGetScalar(prhs[0]));
                                       });
        return true;
    }();
    (void)done;
}

inline std::string readText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class HostedFixture {
  public:
    HostedFixture() {
        registerHostedTestFunctions();
        fCatalog = std::make_shared<connector::HostFunctionCatalog>();
        fCatalog->expose("math", "twice", "hostedTestTwice");
        fCatalog->expose("stats", "twice", "hostedTestTwice");
        fInvoker = std::make_shared<korvan::test::InterpreterInvoker>(fInterpreter.getXVM(),
                                                                      std::chrono::seconds(5));
    }

    std::filesystem::path prefs() const { return fFolder.path() / "prefs"; }

    /// A fresh store on the settings folder (reads the file again) and a connector over it.
    std::unique_ptr<HostedConnector> makeConnector() {
        fStore = std::make_shared<SettingsStore>(prefs());
        connector::Config tuning;
        tuning.fIoTimeout = std::chrono::seconds(5);
        tuning.fStopTimeout = std::chrono::seconds(2);
        return std::make_unique<HostedConnector>(fStore, fCatalog, fInvoker, tuning);
    }

    /// The JSON result of `operation`.
    static boost::json::value call(HostedConnector& c, const std::string& operation,
                                   const std::string& arguments = "{}") {
        return boost::json::parse(c.invoke(operation, arguments));
    }
    static std::string callText(HostedConnector& c, const std::string& operation) {
        return std::string(call(c, operation).as_string());
    }

    std::string connectorLog() const {
        return readText(prefs() / "rest" / "logs" / "connector.log");
    }

    TempFolder fFolder;
    korvan::host::InterpreterThread fInterpreter;
    std::shared_ptr<connector::HostFunctionCatalog> fCatalog;
    std::shared_ptr<connector::FunctionInvoker> fInvoker;
    std::shared_ptr<SettingsStore> fStore;
};

}  // namespace korvan::test
