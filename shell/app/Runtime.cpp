// Startup and shutdown of what runs around the language (see Runtime.hpp).
#include "Runtime.hpp"

#include <chrono>
#include <cstdlib>
#include <string>
#include <string_view>

#include <boost/json.hpp>

#include "korvan/host/Catalogue.hpp"
#include "korvan/host/ModuleLoader.hpp"
#include "korvan/services/ServiceSide.hpp"
#include "korvan/services/connector/LogFiles.hpp"
#include "korvan/services/connector/ServerSettings.hpp"
#include "korvan/services/connector/WorkerInvoker.hpp"
#include "korvan/services/settings/SettingsStore.hpp"
#include "korvan/shell/ConnectorFunctions.hpp"
#include "korvan/shell/FolderFunctionCatalog.hpp"
#include "rest/kv/connectorservice/Operations.hpp"

namespace korvan::shell {
namespace {

namespace fs = std::filesystem;
namespace connector = korvan::services::connector;

// The host's modules: library file and the built-ins it provides, in load order.
struct ModuleEntry {
    const char* fFile;
    std::vector<korvan::host::BuiltinBinding> fBuiltins;
};

const std::vector<ModuleEntry>& hostModules() {
    static const std::vector<ModuleEntry> modules = {
        {"libzxrestfcnconnector.so",
         {{"restFunctionConnector", "restFunctionConnectorBuiltinFcn"}}},
    };
    return modules;
}

}  // namespace

fs::path executablePath(const fs::path& fallback) {
    std::error_code ec;
    fs::path self = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) return self;
    fs::path absolute = fs::absolute(fallback, ec);
    return ec ? fallback : absolute;
}

std::vector<fs::path> moduleFolders(const fs::path& executable) {
    std::vector<fs::path> folders;
    if (const char* env = std::getenv("KORVAN_MODULE_PATH"); env && *env) {
        std::string_view rest(env);
        while (!rest.empty()) {
            std::size_t colon = rest.find(':');
            std::string_view item = rest.substr(0, colon);
            if (!item.empty()) folders.emplace_back(item);
            rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
        }
        if (!folders.empty()) return folders;
    }
    folders.push_back((executable.parent_path() / ".." / "lib").lexically_normal());
    return folders;
}

struct Runtime::Impl {
    Impl(std::shared_ptr<xvm::XVM> vm, std::ostream& warnings)
        : fVM(std::move(vm)), fWarnings(warnings) {}

    void warn(const std::string& text) { fWarnings << "Warning: " << text << "\n"; }

    void startSettings();
    void startServices(const fs::path& executable);
    void loadModules(const fs::path& executable);
    void stop() noexcept;

    const std::shared_ptr<xvm::XVM> fVM;
    std::ostream& fWarnings;
    fs::path fSettingsFolder;
    std::shared_ptr<korvan::services::settings::SettingsStore> fSettings;
    std::shared_ptr<FolderFunctionCatalog> fCatalog;
    std::unique_ptr<korvan::services::ServiceSide> fServices;
    bool fModulesLoaded = false;
};

void installCatalogues(const fs::path& executable, std::ostream& warnings) {
    auto& catalogue = korvan::host::MessageCatalogue::instance();  // loads the host's folder
    // An installed korvan keeps its catalogues next to its bin folder.
    fs::path installed =
        (executable.parent_path() / ".." / "share" / "korvan" / "resources" / "messages")
            .lexically_normal();
    std::error_code ec;
    if (fs::is_directory(installed, ec) &&
        !fs::equivalent(installed, korvan::host::MessageCatalogue::defaultFolder(), ec)) {
        try {
            catalogue.loadFolder(installed);
        } catch (const std::exception& e) {
            warnings << "Warning: " << e.what() << "\n";
        }
    }
}

void Runtime::Impl::startSettings() {
    try {
        fSettingsFolder = korvan::services::settings::SettingsStore::defaultFolder();
        // The folder holds the token and the service folders whose code runs: a folder others
        // can write to is refused, not used.
        korvan::services::connector::checkFolderIsPrivate(fSettingsFolder, "settings folder");
        fSettings = std::make_shared<korvan::services::settings::SettingsStore>(fSettingsFolder);
        if (!fSettings->loadProblem().empty()) warn(fSettings->loadProblem());
    } catch (const std::exception& e) {
        warn(std::string("no settings folder: ") + e.what());
    }
}

void Runtime::Impl::startServices(const fs::path& executable) {
    korvan::services::ServiceSideOptions options;
    if (fSettings) {
        fCatalog = std::make_shared<FolderFunctionCatalog>(fSettings->servicesFolder());
        connector::WorkerInvokerOptions workers;
        workers.fCatalog = fCatalog;
        workers.fExecutable = executable;
        workers.fServicesFolder = fSettings->servicesFolder();
        workers.fGlobalSettings = fSettings->folder() / "rest" / connector::kWorkerSettingsFile;
        options.fSettings = fSettings;
        options.fCatalog = fCatalog;
        // Each connector instance (a flip makes a new one) gets pools of its own, so the
        // instance going down never ends the workers of the one coming up.
        options.fInvoker = [workers] {
            return std::make_shared<connector::WorkerInvoker>(workers);
        };
        options.fTuning.fServerSettingsFile =
            fSettings->folder() / "rest" / connector::kServerSettingsFile;
        // The page to try functions is installed next to the message catalogues.
        options.fTuning.fDocsFolder =
            korvan::host::MessageCatalogue::defaultFolder().parent_path() / "docs-ui";
    }
    fServices = std::make_unique<korvan::services::ServiceSide>(std::move(options));
    if (fSettings) {
        try {
            fServices->startHost();
        } catch (const std::exception& e) {
            warn(std::string("the connector service could not start: ") + e.what());
        }
    }
    try {
        fServices->openClient();
    } catch (const std::exception& e) {
        warn(std::string("the connector client could not start: ") + e.what());
    }
    // Without a service host the functions still exist and say that it is missing; they
    // hold it weakly, so they say the same once it has gone at exit.
    registerConnectorFunctions(fServices->host());
}

void Runtime::Impl::loadModules(const fs::path& executable) {
    std::vector<fs::path> folders = moduleFolders(executable);
    for (const ModuleEntry& module : hostModules()) {
        fs::path found;
        std::error_code ec;
        for (const fs::path& folder : folders)
            if (fs::is_regular_file(folder / module.fFile, ec)) {
                found = folder / module.fFile;
                break;
            }
        if (found.empty()) {
            std::string where;
            for (const fs::path& folder : folders)
                where += (where.empty() ? "" : ", ") + folder.string();
            warn("the module " + std::string(module.fFile) + " was not found in " + where +
                 " (set KORVAN_MODULE_PATH).");
            continue;
        }
        try {
            korvan::host::loadModule(found, module.fBuiltins);
            fModulesLoaded = true;
        } catch (const std::exception& e) {
            warn(e.what());
        }
    }
}

void Runtime::Impl::stop() noexcept {
    // Work still queued for the interpreter (a restart after a flip) is not run: it fails
    // with "Stopped" when the interpreter goes.
    if (fModulesLoaded) korvan::host::unloadAllModules();
    // The client goes, then the host unregisters and the connector's HTTPS server stops.
    if (fServices) fServices->stop([this](const std::string& problem) { warn(problem); });
    fServices.reset();
    fCatalog.reset();
    fSettings.reset();
}

Runtime::Runtime(std::shared_ptr<xvm::XVM> vm, const fs::path& executable, std::ostream& warnings)
    : fImpl(std::make_unique<Impl>(std::move(vm), warnings)) {
    installCatalogues(executable, warnings);
    fImpl->startSettings();
    fImpl->startServices(executable);
    fImpl->loadModules(executable);
}

Runtime::~Runtime() {
    fImpl->stop();
}

const fs::path& Runtime::settingsFolder() const {
    return fImpl->fSettingsFolder;
}

std::string Runtime::runningConnectorAddress() const {
    const auto& host = fImpl->fServices ? fImpl->fServices->host() : nullptr;
    auto service = host ? host->current() : nullptr;
    if (!service) return {};
    try {
        namespace op = rest::kv::connectorservice::op;
        if (service->invoke(std::string(op::getStatus), "{}") != "1") return {};
        boost::json::value url =
            boost::json::parse(service->invoke(std::string(op::getBaseUrl), "{}"));
        return url.is_string() ? std::string(url.as_string()) : std::string();
    } catch (const std::exception&) {
        return {};  // a service going away answers nothing; there is nothing to announce then
    }
}

}  // namespace korvan::shell
