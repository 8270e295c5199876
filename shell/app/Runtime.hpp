// What the korvan command starts around the language, and stops again in reverse order:
//
//   1. message catalogues (the host's resource folder, and the one next to the command)
//   2. the settings store on the settings folder ($KORVAN_PREFDIR, else ~/.korvan); a
//      settings file that could not be read is reported as a warning line
//   3. the function services from folders (<settings folder>/rest/services)
//   4. the function workers that run their calls: this executable started with
//      --function-worker, pools of their own for each connector instance; settings in
//      <settings folder>/rest/workers.json and each service's workers.json
//   5. the service host (the hosted REST function connector service and the update-flip
//      service) in the host's service framework, started
//   6. the connector client bundle (RestFcnConnectorClient)
//   7. the connector functions of the prompt (korvan.internal.servicehost.flip, ...)
//   8. the host's modules from the module folder, with their catalogues and built-ins
//      (libzxrestfcnconnector.so: restFunctionConnector)
//
// A piece that cannot start is reported on the warning stream and the rest goes on, so
// scripts that do not need it still run.
//
// Owns: every piece above. Threads: construct and destroy on the interpreter thread (the
// main thread), with `vm` current there; module initialisers and terminators expect it.
#pragma once

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "xvm/XVM.hpp"

namespace korvan::shell {

/// The folders searched for the host's modules: $KORVAN_MODULE_PATH (folders separated by
/// ':') when set and not empty, else <folder of the executable>/../lib.
std::vector<std::filesystem::path> moduleFolders(const std::filesystem::path& executable);

/// Loads the message catalogues installed next to `executable`'s bin folder (the host's own
/// folder loads by itself); what cannot be loaded is written to `warnings`.
void installCatalogues(const std::filesystem::path& executable, std::ostream& warnings);

/// The running korvan command's own file (/proc/self/exe), or `fallback` made absolute.
std::filesystem::path executablePath(const std::filesystem::path& fallback);

class Runtime {
  public:
    /// `executable` is this korvan command's file: its modules, catalogues and function
    /// workers are found from it.
    Runtime(std::shared_ptr<xvm::XVM> vm, const std::filesystem::path& executable,
            std::ostream& warnings);
    /// Orderly shutdown: modules unloaded, client bundle
    /// stopped, service host stopped (the connector's HTTPS server ends), then the rest.
    ~Runtime();
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    /// The settings folder; empty when none could be determined.
    const std::filesystem::path& settingsFolder() const;
    /// The connector's BaseURL while it runs; empty when it does not run (or cannot say).
    std::string runningConnectorAddress() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> fImpl;
};

}  // namespace korvan::shell
