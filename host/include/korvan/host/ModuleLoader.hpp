// Loading host modules: shared libraries that extend the host with classes and built-in
// functions (the REST function connector is one).
//
// A module is a shared library with two unmangled entry points named after its library name
// (the file name up to the first ".so": libzxrestfcnconnector.so -> "libzxrestfcnconnector"):
//     extern "C" void KVInitialize_<name>();   called once, after loading
//     extern "C" void KVTerminate_<name>();    called once, before unloading
// and any number of exported built-ins of the form
//     void fcn(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs);
// which the loader binds to user-facing names in the function table (korvan/host/Functions.hpp):
//
//   korvan::host::loadModule("lib/libzxrestfcnconnector.so",
//                            {{"restFunctionConnector", "restFunctionConnectorBuiltinFcn"}});
//
// Loading: dlopen (RTLD_NOW | RTLD_LOCAL), every entry point and built-in symbol resolved, the
// module's message catalogue loaded (every *.json of the catalogue folder: the one given, else
// <module folder>/resources/messages when it exists), then KVInitialize_<name>, then the
// built-ins bound. Any failure before the initialiser leaves nothing behind (library closed,
// nothing bound). An initialiser that throws leaves the library mapped but not registered:
// it may have handed out pointers into its code, so unmapping it would be unsafe; a later
// loadModule of the same file calls the initialiser again.
// Unloading: built-ins unbound, KVTerminate_<name>, then the library is closed once the last
// copy of a bound built-in is released (a call in progress keeps the code mapped).
//
// Errors are host errors of the component "KORVAN:loader" (catalogue
// host/resources/messages/KORVAN_loader.json), naming the file and, where it applies, the symbol:
//   InvalidModuleName  {1} file                     no library name can be made from the file
//   LoadFailed         {1} file, {2} reason         dlopen failed
//   MissingSymbol      {1} file, {2} symbol         an entry point or built-in is not exported
//   AlreadyLoaded      {1} name, {2} loaded file    another file with that library name is loaded
//   FunctionExists     {1} function, {2} file       a built-in name is already a host function
//   CatalogueFailed    {1} file, {2} reason         the module's catalogue could not be read
//   InitializeFailed   {1} file, {2} reason         KVInitialize_<name> threw
//   TerminateFailed    {1} file, {2} reason         KVTerminate_<name> threw (still unloaded)
//
// Threads: call on the interpreter thread (initialisers expect it). Loading and unloading are
// serialised by one recursive lock, so an initialiser may load another module.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "korvan/host/Export.hpp"

namespace korvan::host {

/// One exported built-in: the name user code calls and the symbol that implements it.
struct BuiltinBinding {
    std::string fName;    // e.g. "restFunctionConnector"
    std::string fSymbol;  // e.g. "restFunctionConnectorBuiltinFcn"
};

/// What the loader knows about a loaded module. Immutable apart from the bindings list, which
/// only grows while the module is loaded (guarded by the loader's lock).
class KORVAN_HOST_EXPORT LoadedModule {
  public:
    const std::filesystem::path& getPath() const noexcept { return fPath; }
    const std::string& getLibraryName() const noexcept { return fLibraryName; }
    /// The built-ins bound so far, in binding order.
    std::vector<BuiltinBinding> getBuiltins() const;

  private:
    friend class ModuleRegistry;
    LoadedModule(std::filesystem::path path, std::string libraryName)
        : fPath(std::move(path)), fLibraryName(std::move(libraryName)) {}

    const std::filesystem::path fPath;  // canonical
    const std::string fLibraryName;
    std::vector<BuiltinBinding> fBuiltins;
    std::shared_ptr<void> fHandle;   // dlopen handle; dlclose with the last reference
    void (*fTerminate)() = nullptr;  // KVTerminate_<name>
};

/// "libzxrestfcnconnector.so" -> "libzxrestfcnconnector"; "libx.so.1" -> "libx". Empty when
/// the result would not be a valid C identifier (letters, digits, '_', not starting with a
/// digit).
KORVAN_HOST_EXPORT std::string moduleLibraryName(const std::filesystem::path& file);

/// Loads the module at `file` (rules above) and binds `builtins`. Loading a file that is
/// already loaded calls no initialiser again; it binds the built-ins not bound yet and
/// returns the loaded module. An empty `catalogueFolder` means the default folder.
KORVAN_HOST_EXPORT std::shared_ptr<const LoadedModule> loadModule(
    const std::filesystem::path& file, const std::vector<BuiltinBinding>& builtins = {},
    const std::filesystem::path& catalogueFolder = {});

/// Unloads the module with this library name; false when none is loaded.
KORVAN_HOST_EXPORT bool unloadModule(const std::string& libraryName);
/// Unloads every module, the last loaded first (at shell exit). Errors of terminators are
/// reported on standard error and do not stop the others.
KORVAN_HOST_EXPORT void unloadAllModules() noexcept;

/// The loaded module with this library name, or null.
KORVAN_HOST_EXPORT std::shared_ptr<const LoadedModule> findModule(const std::string& libraryName);
/// All loaded modules in load order.
KORVAN_HOST_EXPORT std::vector<std::shared_ptr<const LoadedModule>> loadedModules();

}  // namespace korvan::host
