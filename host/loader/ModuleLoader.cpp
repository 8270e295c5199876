#include "korvan/host/ModuleLoader.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <mutex>

#include "foundation/log/Log.hpp"
#include "korvan/host/Catalogue.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/host/Functions.hpp"

namespace korvan::host {
namespace {

constexpr const char* kComponent = "KORVAN:loader";
const foundation::log::Channel kLog{"loader"};

using EntryPoint = void (*)();

bool isIdentifier(const std::string& name) {
    if (name.empty() || (name[0] >= '0' && name[0] <= '9')) return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_';
    });
}

std::string dlReason() {
    const char* text = dlerror();
    return text ? text : "unknown reason";
}

std::string exceptionText(std::exception_ptr error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "unknown exception";
    }
}

// The symbols of a module, resolved before anything of it runs.
struct Resolved {
    EntryPoint fInitialize = nullptr;
    EntryPoint fTerminate = nullptr;
    std::vector<std::pair<BuiltinBinding, BuiltinFcn>> fBuiltins;
};

void* requireSymbol(void* handle, const std::filesystem::path& file, const std::string& symbol) {
    dlerror();  // clear any earlier error
    void* address = dlsym(handle, symbol.c_str());
    if (!address) throwError(kComponent, "MissingSymbol", file.string(), symbol);
    return address;
}

Function bindBuiltin(std::shared_ptr<void> handle, BuiltinFcn fcn) {
    // The handle travels with every copy of the function, so the code stays mapped while a
    // copy exists (a call in progress during unload).
    return [handle = std::move(handle), fcn](int nlhs, kxArray** plhs, int nrhs,
                                             const kxArray** prhs) { fcn(nlhs, plhs, nrhs, prhs); };
}

}  // namespace

// The process-wide table of loaded modules.
class ModuleRegistry {
  public:
    static ModuleRegistry& instance() {
        static auto* registry = new ModuleRegistry;  // never destroyed (used at exit)
        return *registry;
    }

    std::shared_ptr<const LoadedModule> load(const std::filesystem::path& file,
                                             const std::vector<BuiltinBinding>& builtins,
                                             const std::filesystem::path& catalogueFolder);
    bool unload(const std::string& libraryName);
    void unloadAll() noexcept;
    std::shared_ptr<const LoadedModule> find(const std::string& libraryName);
    std::vector<std::shared_ptr<const LoadedModule>> all();
    std::vector<BuiltinBinding> builtinsOf(const LoadedModule& module) {
        std::lock_guard lock(fMutex);
        return module.fBuiltins;
    }

  private:
    static void checkNamesFree(const LoadedModule* module, const std::filesystem::path& file,
                               const std::vector<BuiltinBinding>& builtins);
    static Resolved resolve(void* handle, const std::filesystem::path& file,
                            const std::string& libraryName,
                            const std::vector<BuiltinBinding>& builtins);
    static void bind(LoadedModule& module, const Resolved& resolved);

    std::recursive_mutex fMutex;  // serialises load/unload; guards fModules and fBuiltins
    std::vector<std::shared_ptr<LoadedModule>> fModules;  // load order
    std::vector<std::shared_ptr<void>> fPinned;           // libraries never to be closed (see load)
};

std::vector<BuiltinBinding> LoadedModule::getBuiltins() const {
    return ModuleRegistry::instance().builtinsOf(*this);
}

std::string moduleLibraryName(const std::filesystem::path& file) {
    std::string name = file.filename().string();
    const auto so = name.find(".so");
    if (so != std::string::npos) name.resize(so);
    return isIdentifier(name) ? name : std::string();
}

void ModuleRegistry::checkNamesFree(const LoadedModule* module, const std::filesystem::path& file,
                                    const std::vector<BuiltinBinding>& builtins) {
    for (const auto& binding : builtins) {
        const bool ours =
            module && std::any_of(module->fBuiltins.begin(), module->fBuiltins.end(),
                                  [&](const auto& b) { return b.fName == binding.fName; });
        if (!ours && findFunction(binding.fName)) {
            throwError(kComponent, "FunctionExists", binding.fName, file.string());
        }
    }
}

Resolved ModuleRegistry::resolve(void* handle, const std::filesystem::path& file,
                                 const std::string& libraryName,
                                 const std::vector<BuiltinBinding>& builtins) {
    Resolved resolved;
    if (!libraryName.empty()) {
        resolved.fInitialize = reinterpret_cast<EntryPoint>(
            requireSymbol(handle, file, "KVInitialize_" + libraryName));
        resolved.fTerminate =
            reinterpret_cast<EntryPoint>(requireSymbol(handle, file, "KVTerminate_" + libraryName));
    }
    for (const auto& binding : builtins) {
        resolved.fBuiltins.emplace_back(
            binding, reinterpret_cast<BuiltinFcn>(requireSymbol(handle, file, binding.fSymbol)));
    }
    return resolved;
}

void ModuleRegistry::bind(LoadedModule& module, const Resolved& resolved) {
    for (const auto& [binding, fcn] : resolved.fBuiltins) {
        const std::string& name = binding.fName;
        const bool bound = std::any_of(module.fBuiltins.begin(), module.fBuiltins.end(),
                                       [&name](const auto& b) { return b.fName == name; });
        registerFunction(binding.fName, bindBuiltin(module.fHandle, fcn));
        if (!bound) module.fBuiltins.push_back(binding);
    }
}

std::shared_ptr<const LoadedModule> ModuleRegistry::load(
    const std::filesystem::path& file, const std::vector<BuiltinBinding>& builtins,
    const std::filesystem::path& catalogueFolder) {
    const std::string libraryName = moduleLibraryName(file);
    if (libraryName.empty()) throwError(kComponent, "InvalidModuleName", file.string());

    std::error_code ec;
    std::filesystem::path path = std::filesystem::canonical(file, ec);
    if (ec) throwError(kComponent, "LoadFailed", file.string(), ec.message());

    std::lock_guard lock(fMutex);
    auto existing = std::find_if(fModules.begin(), fModules.end(),
                                 [&](const auto& m) { return m->fLibraryName == libraryName; });
    if (existing != fModules.end()) {
        LoadedModule& module = **existing;
        if (module.fPath != path) {
            throwError(kComponent, "AlreadyLoaded", libraryName, module.fPath.string());
        }
        checkNamesFree(&module, path, builtins);
        bind(module, resolve(module.fHandle.get(), path, {}, builtins));
        return *existing;
    }

    checkNamesFree(nullptr, path, builtins);
    void* raw = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!raw) throwError(kComponent, "LoadFailed", path.string(), dlReason());
    std::shared_ptr<void> handle(raw, [](void* h) { dlclose(h); });

    // Everything is resolved before any module code runs; a failure closes the library.
    const Resolved resolved = resolve(raw, path, libraryName, builtins);

    const std::filesystem::path folder =
        catalogueFolder.empty() ? path.parent_path() / "resources" / "messages" : catalogueFolder;
    try {
        MessageCatalogue::instance().loadFolder(folder);
    } catch (const std::exception& e) {
        throwError(kComponent, "CatalogueFailed", path.string(), std::string(e.what()));
    }

    try {
        resolved.fInitialize();
    } catch (...) {
        // The module may have registered callbacks into its code: keep it mapped.
        fPinned.push_back(handle);
        throwError(kComponent, "InitializeFailed", path.string(),
                   exceptionText(std::current_exception()));
    }

    // Once its initialiser has run, a module may own process-wide objects (unique singletons,
    // statics) whose destructors live in its code and run at process exit: pin its code so
    // that unloading ends the module logically (terminator called, built-ins unbound) but
    // never unmaps code that exit still needs.
    if (void* pin = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE)) dlclose(pin);

    auto module = std::shared_ptr<LoadedModule>(new LoadedModule(path, libraryName));
    module->fHandle = std::move(handle);
    module->fTerminate = resolved.fTerminate;
    bind(*module, resolved);
    fModules.push_back(module);
    FOUNDATION_LOG(kLog, "loaded " << libraryName << " from " << path.string());
    return module;
}

bool ModuleRegistry::unload(const std::string& libraryName) {
    std::lock_guard lock(fMutex);
    auto it = std::find_if(fModules.begin(), fModules.end(),
                           [&](const auto& m) { return m->fLibraryName == libraryName; });
    if (it == fModules.end()) return false;
    std::shared_ptr<LoadedModule> module = *it;
    fModules.erase(it);
    for (const auto& binding : module->fBuiltins) unregisterFunction(binding.fName);

    try {
        module->fTerminate();
    } catch (...) {
        fPinned.push_back(module->fHandle);  // state unknown: keep the code mapped
        throwError(kComponent, "TerminateFailed", module->fPath.string(),
                   exceptionText(std::current_exception()));
    }
    FOUNDATION_LOG(kLog, "unloaded " << libraryName);
    module->fHandle.reset();  // dlclose once bound copies are gone too
    return true;
}

void ModuleRegistry::unloadAll() noexcept {
    std::lock_guard lock(fMutex);
    while (!fModules.empty()) {
        const std::string name = fModules.back()->fLibraryName;
        try {
            unload(name);
        } catch (const std::exception& e) {
            std::cerr << e.what() << '\n';
        } catch (...) {
            std::cerr << "Unloading " << name << " failed\n";
        }
    }
}

std::shared_ptr<const LoadedModule> ModuleRegistry::find(const std::string& libraryName) {
    std::lock_guard lock(fMutex);
    for (const auto& m : fModules) {
        if (m->fLibraryName == libraryName) return m;
    }
    return nullptr;
}

std::vector<std::shared_ptr<const LoadedModule>> ModuleRegistry::all() {
    std::lock_guard lock(fMutex);
    return {fModules.begin(), fModules.end()};
}

std::shared_ptr<const LoadedModule> loadModule(const std::filesystem::path& file,
                                               const std::vector<BuiltinBinding>& builtins,
                                               const std::filesystem::path& catalogueFolder) {
    return ModuleRegistry::instance().load(file, builtins, catalogueFolder);
}

bool unloadModule(const std::string& libraryName) {
    return ModuleRegistry::instance().unload(libraryName);
}

void unloadAllModules() noexcept {
    ModuleRegistry::instance().unloadAll();
}

std::shared_ptr<const LoadedModule> findModule(const std::string& libraryName) {
    return ModuleRegistry::instance().find(libraryName);
}

std::vector<std::shared_ptr<const LoadedModule>> loadedModules() {
    return ModuleRegistry::instance().all();
}

}  // namespace korvan::host
