// The boundaries of the shared libraries: what the module exports and its entry points used
// straight after dlopen, before the initialiser has run (as a host that loads it by hand
// would); and for every other shared library of the build, that it exports only what its
// headers mark (hidden symbols by default).
#include <cxxabi.h>
#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ModuleHarness.hpp"
#include "kx/kxArray.hpp"

namespace korvan::test {
namespace {

const std::set<std::string> kEntryPoints = {
    "KVInitialize_libzxrestfcnconnector",
    "KVTerminate_libzxrestfcnconnector",
    "restFunctionConnectorBuiltinFcn",
    "_ZN4rest2kv9connector3api16initializeModuleEv",
    "_ZN4rest2kv9connector3api22showAccessDialogWindowEv",
};

struct Symbol {
    char type;  // nm's letter: T text, D/B/R data, W weak function, V weak object, ...
    std::string name;
};

/// The symbols the library defines in its dynamic symbol table.
std::vector<Symbol> dynamicSymbols(const std::string& library) {
    const std::string command = std::string(KORVAN_NM) + " -D --defined-only '" + library + "'";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    if (!pipe) return {};
    std::vector<Symbol> symbols;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
        // "<address> <type> <name>"
        std::istringstream fields(line.data());
        std::string address, type, name;
        if (fields >> address >> type >> name) symbols.push_back({type[0], name});
    }
    return symbols;
}

/// The names of the symbols the module defines in its dynamic symbol table.
std::vector<std::string> exportedSymbols() {
    std::vector<std::string> names;
    for (auto& symbol : dynamicSymbols(ModuleHarness::modulePath())) {
        names.push_back(std::move(symbol.name));
    }
    return names;
}

/// Type information, vtables and VTTs (vtables of classes with virtual bases, such as the
/// catalogue exceptions): what a thrown exception needs to be caught by type in the host.
bool isTypeInformation(const std::string& name) {
    for (const char* prefix : {"_ZTI", "_ZTS", "_ZTV", "_ZTT"}) {
        if (name.rfind(prefix, 0) == 0) return true;
    }
    return false;
}

std::string demangled(const std::string& name) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> text(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), std::free);
    return status == 0 && text ? text.get() : name;
}

TEST(ExportsTest, OnlyTheEntryPointsAndExceptionTypeInformationAreExported) {
    const auto names = exportedSymbols();
    ASSERT_FALSE(names.empty()) << "nm gave nothing for " << ModuleHarness::modulePath();
    std::set<std::string> found;
    std::vector<std::string> unexpected;
    for (const auto& name : names) {
        if (kEntryPoints.count(name) != 0) {
            found.insert(name);
        } else if (!isTypeInformation(name)) {
            unexpected.push_back(name);
        }
    }
    EXPECT_EQ(found, kEntryPoints);
    std::string listing;
    for (std::size_t i = 0; i < unexpected.size() && i < 12; ++i) {
        listing += "\n  " + demangled(unexpected[i]).substr(0, 160);
    }
    EXPECT_TRUE(unexpected.empty())
        << unexpected.size() << " further symbols are exported, among them:" << listing;
}

TEST(ExportsTest, TheModulesOwnTypesAreExportedOnlyForItsErrors) {
    // Type information of the module's own classes may leave the library only for what it
    // throws: the message records and their exceptions (namespace KORVAN). Descriptions,
    // the connector, its holders and trackers stay hidden.
    std::vector<std::string> own;
    for (const auto& name : exportedSymbols()) {
        if (!isTypeInformation(name)) continue;
        const std::string type = demangled(name);
        if (type.find("rest::kv::") != std::string::npos ||
            type.find("korvanconnector::") != std::string::npos ||
            type.find("agent::spf::") != std::string::npos) {
            own.push_back(type);
        }
    }
    EXPECT_TRUE(own.empty()) << own.size() << " exported, the first: " << own.front();
}

/// A shared library of the build and what it may export: functions and data of its own code
/// (demangled names starting with one of `own`, templates aside) up to `maxOwn` (some room above
/// today's count with gcc and clang, below what it exported with default visibility), and, when
/// built with hidden inline functions, none of its own inline functions (which every caller
/// compiles itself).
struct LibraryRule {
    const char* path;
    std::vector<std::string> own;
    std::size_t maxOwn;
    bool inlinesHidden;
};

/// `name` without a leading one-word return type ("void kcos::f<int>()" -> "kcos::f<int>()").
std::string withoutReturnType(const std::string& name) {
    const auto space = name.find(' ');
    if (space == std::string::npos || name.find_first_of("<(:") < space) return name;
    return name.substr(space + 1);
}

TEST(ExportsTest, EverySharedLibraryExportsOnlyWhatItsHeadersMark) {
    const std::vector<std::string> host = {"kx",
                                           "om",
                                           "COS",
                                           "kcos::",
                                           "foundation::",
                                           "fl::",
                                           "agent::spf::",
                                           "cmddistributor::",
                                           "xvm::",
                                           "kvutil::",
                                           "resource_core::",
                                           "Quillon::",
                                           "korvan::host"};
    std::vector<LibraryRule> libraries = {
        {KORVAN_HOST_LIBRARY, host, 560, true},
        {KORVAN_SERVICEHOST_LIBRARY, {"korvan::services::servicehost::"}, 50, true},
        {KORVAN_CONNECTOR_SERVICE_LIBRARY, {"korvan::services::connector::"}, 100, true},
        {KORVAN_CONNECTOR_CLIENT_LIBRARY, {"korvan::services::client::"}, 10, true},
        {KORVAN_SETTINGS_LIBRARY, {"korvan::services::settings::"}, 16, true},
    };
#ifdef KORVAN_REGISTRY_LIBRARY  // the registry built here, not an installed one
    libraries.push_back({KORVAN_REGISTRY_LIBRARY, {"cppmicroservices::"}, 220, false});
#endif
    for (const auto& library : libraries) {
        SCOPED_TRACE(library.path);
        const auto symbols = dynamicSymbols(library.path);
        ASSERT_FALSE(symbols.empty()) << "nm gave nothing";
        std::size_t own = 0;
        std::vector<std::string> inlines;
        for (const auto& symbol : symbols) {
            if (std::string("TDBRW").find(symbol.type) == std::string::npos ||
                isTypeInformation(symbol.name)) {
                continue;
            }
            const std::string name = withoutReturnType(demangled(symbol.name));
            bool isOwn = false;
            for (const auto& prefix : library.own) isOwn = isOwn || name.rfind(prefix, 0) == 0;
            // Template instantiations of exported classes go with them (how many depends on
            // the compiler and the optimisation), and the host's exception templates are
            // instantiated explicitly: neither is counted.
            if (!isOwn || name.substr(0, name.find('(')).find('<') != std::string::npos) continue;
            ++own;
            if (symbol.type == 'W' && library.inlinesHidden) inlines.push_back(name);
        }
        EXPECT_GT(own, 0u) << "nothing of the library's own is exported";
        EXPECT_LE(own, library.maxOwn) << "functions and data of its own code are exported";
        EXPECT_TRUE(inlines.empty()) << inlines.size() << " inline functions are exported, the "
                                     << "first: " << inlines.front().substr(0, 160);
    }
}

TEST(ExportsTest, BuiltinAnswersAnEmptyDoubleBeforeInitialisation) {
    void* library = ::dlopen(ModuleHarness::modulePath().c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << ::dlerror();
    using Builtin = void (*)(int, kxArray**, int, const kxArray**);
    auto builtin = reinterpret_cast<Builtin>(::dlsym(library, "restFunctionConnectorBuiltinFcn"));
    ASSERT_NE(builtin, nullptr);

    // No namespace korvan.engine.rest yet: the empty double, no error.
    kxArray* out[1] = {nullptr};
    builtin(1, out, 0, nullptr);
    ASSERT_NE(out[0], nullptr);
    EXPECT_TRUE(kxIsDouble(out[0]));
    EXPECT_EQ(kxGetM(out[0]), 0u);
    EXPECT_EQ(kxGetN(out[0]), 0u);
    kxReleaseArray(out[0]);

    // Once initialised the class exists; with no connector client the construction fails
    // with the module's own identifier, passed through unchanged.
    auto init =
        reinterpret_cast<void (*)()>(::dlsym(library, "KVInitialize_libzxrestfcnconnector"));
    ASSERT_NE(init, nullptr);
    init();
    out[0] = nullptr;
    EXPECT_EQ(errorIdOf([&] { builtin(1, out, 0, nullptr); }),
              "KORVAN:restFcnService:NoConnectorFound");
    EXPECT_EQ(out[0], nullptr);
}

}  // namespace
}  // namespace korvan::test
