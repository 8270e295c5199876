// The module loader against tiny fixture modules: what runs when, what is bound, and the
// host error (identifier, file, symbol) of every way loading can fail.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "korvan/host/Catalogue.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/host/ModuleLoader.hpp"
#include "korvan/host/Warnings.hpp"
#include "kx/kxArray.hpp"

namespace {

namespace fs = std::filesystem;
using korvan::host::BuiltinBinding;

const fs::path kDir = KVFIXTURE_DIR;
const fs::path kGood = kDir / "libkvfixturegood.so";
const fs::path kNoInit = kDir / "libkvfixturenoinit.so";
const fs::path kThrows = kDir / "libkvfixturethrows.so";

// Collects the entry points' announcements (they issue warnings) and unloads every module at
// the end, so that each test starts from an empty loader.
class ModuleLoaderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fPrevious = korvan::host::setWarningSink(
            [this](const std::string& line) { fEvents.push_back(line); });
    }
    void TearDown() override {
        korvan::host::unloadAllModules();
        korvan::host::setWarningSink(fPrevious);
    }
    int count(const std::string& entryPoint) const {
        int n = 0;
        for (const auto& e : fEvents) n += e.find(entryPoint) != std::string::npos;
        return n;
    }
    // Calls a bound function with one double input; nullopt when no such function.
    static std::optional<double> call(const std::string& name, double input) {
        auto fn = korvan::host::findFunction(name);
        if (!fn) return std::nullopt;
        kxArray* in = kxCreateDoubleScalar(input);
        const kxArray* prhs[] = {in};
        kxArray* out = nullptr;
        (*fn)(1, &out, 1, prhs);
        const double value = kxGetScalar(out);
        kxReleaseArray(out);
        kxReleaseArray(in);
        return value;
    }

    std::vector<std::string> fEvents;
    korvan::host::WarningSink fPrevious;
};

// Runs `load` and checks that it raised the loader error `name` with these arguments, and that
// the rendered text names them.
void expectLoaderError(const std::function<void()>& load, const std::string& name,
                       const std::vector<std::string>& arguments) {
    try {
        load();
        ADD_FAILURE() << "no error, expected " << name;
    } catch (const korvan::host::HostError& e) {
        EXPECT_EQ(e.GetID(), "KORVAN:loader:" + name);
        const auto& args = e.GetBaseMsgIDObj().getArguments();
        ASSERT_GE(args.size(), arguments.size());
        const std::string text = e.what();
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            ASSERT_TRUE(std::holds_alternative<std::string>(args[i]));
            EXPECT_EQ(std::get<std::string>(args[i]).find(arguments[i]), 0u)
                << "argument " << i << " of " << name << ": " << std::get<std::string>(args[i]);
            EXPECT_NE(text.find(arguments[i]), std::string::npos) << text;
        }
        EXPECT_EQ(text.find("no entry for"), std::string::npos) << "catalogue text missing";
    }
}

TEST(ModuleLibraryNameTest, DerivedFromTheFileName) {
    const std::pair<const char*, const char*> cases[] = {
        {"/x/libzxrestfcnconnector.so", "libzxrestfcnconnector"},
        {"libfoo.so.1.2", "libfoo"},
        {"lib_bar2", "lib_bar2"},
        {"lib-bad.so", ""},
        {"2lib.so", ""},
        {".so", ""},
    };
    for (const auto& [file, name] : cases) {
        EXPECT_EQ(korvan::host::moduleLibraryName(file), name) << file;
    }
}

TEST_F(ModuleLoaderTest, LoadsInitialisesOnceBindsAndUnloads) {
    auto module = korvan::host::loadModule(kGood, {{"twice", "twiceBuiltinFcn"}});
    EXPECT_EQ(module->getLibraryName(), "libkvfixturegood");
    EXPECT_EQ(module->getPath(), fs::canonical(kGood));
    EXPECT_EQ(count("KVInitialize_libkvfixturegood"), 1);
    EXPECT_EQ(call("twice", 21), 42);
    // The module's catalogue next to it was loaded.
    EXPECT_EQ(korvan::host::MessageCatalogue::instance().lookup("KVFIXTURE:good", "Hello"),
              "Hello from {1}.");

    // Loading again: no second initialisation, further built-ins are bound.
    auto again = korvan::host::loadModule(kGood, {{"nargs", "nargsBuiltinFcn"}});
    EXPECT_EQ(again, module);
    EXPECT_EQ(count("KVInitialize_libkvfixturegood"), 1);
    EXPECT_EQ(call("nargs", 0), 1);
    ASSERT_EQ(module->getBuiltins().size(), 2u);
    EXPECT_EQ(korvan::host::findModule("libkvfixturegood"), module);
    EXPECT_EQ(korvan::host::loadedModules().size(), 1u);

    EXPECT_TRUE(korvan::host::unloadModule("libkvfixturegood"));
    EXPECT_EQ(count("KVTerminate_libkvfixturegood"), 1);
    EXPECT_FALSE(korvan::host::findFunction("twice"));
    EXPECT_FALSE(korvan::host::findFunction("nargs"));
    EXPECT_EQ(korvan::host::findModule("libkvfixturegood"), nullptr);
    EXPECT_FALSE(korvan::host::unloadModule("libkvfixturegood"));

    // Loadable again after unloading: initialised anew.
    korvan::host::loadModule(kGood, {{"twice", "twiceBuiltinFcn"}});
    EXPECT_EQ(count("KVInitialize_libkvfixturegood"), 2);
}

TEST_F(ModuleLoaderTest, ABuiltinHeldDuringUnloadStaysCallable) {
    korvan::host::loadModule(kGood, {{"twice", "twiceBuiltinFcn"}});
    auto held = korvan::host::findFunction("twice");
    ASSERT_TRUE(held);
    korvan::host::unloadModule("libkvfixturegood");
    kxArray* in = kxCreateDoubleScalar(4);
    const kxArray* prhs[] = {in};
    kxArray* out = nullptr;
    (*held)(1, &out, 1, prhs);  // the code is still mapped while this copy exists
    EXPECT_EQ(kxGetScalar(out), 8);
    kxReleaseArray(out);
    kxReleaseArray(in);
}

TEST_F(ModuleLoaderTest, MissingSymbolsNameFileAndSymbolAndLeaveNothingBehind) {
    const std::string noInit = fs::canonical(kNoInit).string();
    expectLoaderError(
        [] {
            korvan::host::loadModule(kNoInit, {{"one", "oneBuiltinFcn"}});
        },
        "MissingSymbol", {noInit, "KVInitialize_libkvfixturenoinit"});
    EXPECT_FALSE(korvan::host::findFunction("one"));

    const std::string good = fs::canonical(kGood).string();
    expectLoaderError(
        [] {
            korvan::host::loadModule(kGood,
                                     {{"twice", "twiceBuiltinFcn"}, {"nope", "noSuchBuiltin"}});
        },
        "MissingSymbol", {good, "noSuchBuiltin"});
    EXPECT_EQ(count("KVInitialize_libkvfixturegood"), 0);  // nothing ran
    EXPECT_FALSE(korvan::host::findFunction("twice"));
    EXPECT_TRUE(korvan::host::loadedModules().empty());
}

TEST_F(ModuleLoaderTest, ThrowingInitialiserIsReportedAndNotRegistered) {
    const std::string file = fs::canonical(kThrows).string();
    for (int attempt = 0; attempt < 2; ++attempt) {  // a retry runs the initialiser again
        expectLoaderError(
            [] {
                korvan::host::loadModule(kThrows, {{"three", "threeBuiltinFcn"}});
            },
            "InitializeFailed", {file, "fixture initialiser failed on purpose"});
    }
    EXPECT_FALSE(korvan::host::findFunction("three"));
    EXPECT_EQ(korvan::host::findModule("libkvfixturethrows"), nullptr);
    EXPECT_EQ(count("KVTerminate_libkvfixturethrows"), 0);
}

TEST_F(ModuleLoaderTest, RefusesFilesNamesAndClashes) {
    const fs::path tmp = fs::path(::testing::TempDir()) / "kvloader";
    fs::remove_all(tmp);
    fs::create_directories(tmp / "other");

    expectLoaderError([&] { korvan::host::loadModule(tmp / "libmissing.so"); }, "LoadFailed",
                      {(tmp / "libmissing.so").string()});
    std::ofstream(tmp / "libgarbage.so") << "not a shared library";
    expectLoaderError([&] { korvan::host::loadModule(tmp / "libgarbage.so"); }, "LoadFailed",
                      {fs::canonical(tmp / "libgarbage.so").string()});
    expectLoaderError([&] { korvan::host::loadModule(tmp / "lib-bad.so"); }, "InvalidModuleName",
                      {(tmp / "lib-bad.so").string()});

    // A function of that name exists already: refused before the library is opened.
    korvan::host::registerFunction("twice", [](int, kxArray**, int, const kxArray**) {});
    expectLoaderError(
        [] {
            korvan::host::loadModule(kGood, {{"twice", "twiceBuiltinFcn"}});
        },
        "FunctionExists", {"twice", fs::canonical(kGood).string()});
    korvan::host::unregisterFunction("twice");
    EXPECT_EQ(count("KVInitialize_libkvfixturegood"), 0);

    // Another file with the same library name.
    korvan::host::loadModule(kGood);
    fs::copy_file(kGood, tmp / "other" / kGood.filename());
    expectLoaderError([&] { korvan::host::loadModule(tmp / "other" / kGood.filename()); },
                      "AlreadyLoaded", {"libkvfixturegood", fs::canonical(kGood).string()});

    // A catalogue folder with a bad file: nothing of the module runs.
    korvan::host::unloadModule("libkvfixturegood");
    std::ofstream(tmp / "KVFIXTURE_bad.json") << "{ not json";
    expectLoaderError([&] { korvan::host::loadModule(kGood, {}, tmp); }, "CatalogueFailed",
                      {fs::canonical(kGood).string()});
    EXPECT_EQ(count("KVInitialize_libkvfixturegood"), 1);  // only the successful load above
    fs::remove_all(tmp);
}

}  // namespace
