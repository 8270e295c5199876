// The module library's boundary: what it exports, and its entry points used straight after
// dlopen, before the initialiser has run (as a host that loads it by hand would).
#include <cxxabi.h>
#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>

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

/// The names of the symbols the library defines in its dynamic symbol table.
std::vector<std::string> exportedSymbols() {
    const std::string command =
        std::string(KORVAN_NM) + " -D --defined-only '" + ModuleHarness::modulePath() + "'";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    if (!pipe) return {};
    std::vector<std::string> names;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
        // "<address> <type> <name>"
        std::istringstream fields(line.data());
        std::string address, type, name;
        if (fields >> address >> type >> name) names.push_back(name);
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
