// The class surface as user code sees it: the built-in, the objects it hands out, the
// enumerations, property access rules and order, and the module's entry points called again.
#include <dlfcn.h>

#include <cstdlib>

#include "ModuleFixture.hpp"
#include "foundation/feature/Feature.hpp"
#include "kcos/Allocator.hpp"
#include "kcos/Class.hpp"
#include "kcos/Interned.hpp"
#include "korvan/host/Functions.hpp"

namespace korvan::test {
namespace {

constexpr const char* kClass = "korvan.engine.rest.RESTFunctionConnector";

using ClassSurfaceTest = ModuleTest;

TEST_F(ClassSurfaceTest, BuiltinChecksItsArgumentCountsOutputsFirst) {
    struct Case {
        int nlhs;
        std::vector<Value> args;
        const char* expected;
    };
    const std::vector<Case> cases = {
        {1, {num(1)}, "KORVAN:host:TooManyInputs"},
        {2, {}, "KORVAN:host:TooManyOutputs"},
        {2, {num(1)}, "KORVAN:host:TooManyOutputs"},
        {1, {str("x"), str("y")}, "KORVAN:host:TooManyInputs"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(errorIdOf([&] { user::call("restFunctionConnector", c.args, c.nlhs); }),
                  c.expected)
            << "nlhs " << c.nlhs << ", " << c.args.size() << " inputs";
    }
    // A negative input count, as only a host caller can pass it.
    const auto id = errorIdOf([&] {
        harness.run([] {
            auto builtin = korvan::host::findFunction("restFunctionConnector");
            ASSERT_TRUE(builtin.has_value());
            kxArray* out[1] = {nullptr};
            (*builtin)(1, out, -1, nullptr);
            kxReleaseArray(out[0]);
        });
    });
    EXPECT_EQ(id, "KORVAN:host:NotEnoughInputs");
    EXPECT_TRUE(client.calls().empty());
}

TEST_F(ClassSurfaceTest, BuiltinAnswersAnEmptyDoubleWhileTheFeatureIsOff) {
    auto expectEmptyDouble = [&](const char* how) {
        Value result = user::connector();
        ASSERT_TRUE(result) << how;
        EXPECT_EQ(className(result), "double") << how;
        EXPECT_EQ(dims(result), (std::vector<std::size_t>{0, 0})) << how;
    };
    {
        foundation::feature::ScopedOverride off("RestFunctionService", false);
        expectEmptyDouble("override");
    }
    ASSERT_EQ(::setenv("KORVAN_FEATURES", "RestFunctionService=off", 1), 0);
    foundation::feature::reloadEnvironment();
    expectEmptyDouble("environment");
    ::unsetenv("KORVAN_FEATURES");
    foundation::feature::reloadEnvironment();
    EXPECT_TRUE(client.calls().empty());

    // Switched on again, the same built-in hands out connector objects.
    EXPECT_EQ(className(user::connector()), kClass);
}

TEST_F(ClassSurfaceTest, TwoObjectsShareOneConnector) {
    Value first = user::connector();
    Value second = user::connector();
    ASSERT_EQ(className(first), kClass);
    ASSERT_EQ(className(second), kClass);
    EXPECT_NE(first.get(), second.get());
    const void* native = user::nativeOf(first);
    ASSERT_NE(native, nullptr);
    EXPECT_EQ(user::nativeOf(second), native);

    user::set(first, "Port", num(8181));
    EXPECT_EQ(scalar(user::get(second, "Port")), 8181);

    // Dropping every handle leaves the connector: a new object is bound to the same one, and
    // nothing was stopped or reset on the way.
    first.reset();
    second.reset();
    Value third = user::connector();
    EXPECT_EQ(user::nativeOf(third), native);
    EXPECT_EQ(scalar(user::get(third, "Port")), 8181);
    EXPECT_EQ(client.countOf("stopConnector") + client.countOf("resetConnector"), 0u);
}

TEST_F(ClassSurfaceTest, UserCodeCannotConstructOrDeleteTheConnector) {
    EXPECT_EQ(errorIdOf([] { user::call(kClass); }), "KORVAN:class:ConstructorAccess");
    Value c = user::connector();
    EXPECT_EQ(errorIdOf([&] { user::remove(c); }), "KORVAN:class:DeleteAccess");
    EXPECT_EQ(scalar(user::get(c, "Port")), 9920);
}

TEST_F(ClassSurfaceTest, ReadOnlyPropertiesRefuseAssignmentWithoutReachingTheClient) {
    Value c = user::connector();
    client.clearCalls();
    for (const char* name : {"ServiceNames", "RESTPersonalAccessToken", "TokenExpirationDate",
                             "Certificate", "CertificateExpirationDate", "BaseURL", "Status"}) {
        EXPECT_EQ(errorIdOf([&] { user::set(c, name, str("x")); }),
                  "KORVAN:class:PropertySetAccess")
            << name;
    }
    EXPECT_TRUE(client.calls().empty());
    // The property is spelled BaseURL on the class, not like the document's key.
    EXPECT_EQ(errorIdOf([&] { user::get(c, "BaseUrl"); }), "KORVAN:class:NoSuchProperty");
}

TEST_F(ClassSurfaceTest, PropertiesAreListedInTheirDefinitionOrder) {
    Value c = user::connector();
    EXPECT_EQ(user::propertyNames(c),
              (std::vector<std::string>{
                  "Port", "LogLocation", "HostName", "PreferredRestartHour", "ClientAccessMode",
                  "ServiceNames", "RESTPersonalAccessToken", "TokenExpirationDate", "Certificate",
                  "CertificateExpirationDate", "BaseURL", "Status"}));
}

TEST_F(ClassSurfaceTest, GettersAskTheClientForTheCurrentValue) {
    Value c = user::connector();
    client.edit([](ClientState& s) {
        s.fPort = 12345;
        s.fLogLocation = u"/var/log/k\u00f6rvan";
        s.fHostName = "build-7.example.org";
        s.fToken = "tok-42";
        s.fCertificate = u"/etc/cert.pem";
        s.fBaseUrl = "https://build-7.example.org:12345/korvan";
    });
    client.clearCalls();
    struct Case {
        const char* property;
        const char* clientCall;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"LogLocation", "getLogLocation", "/var/log/k\u00f6rvan"},
        {"HostName", "getHostname", "build-7.example.org"},
        {"RESTPersonalAccessToken", "getPersonalAccessToken", "tok-42"},
        {"Certificate", "getCertificate", "/etc/cert.pem"},
        {"BaseURL", "getBaseUrl", "https://build-7.example.org:12345/korvan"},
    };
    for (const auto& k : cases) {
        Value v = user::get(c, k.property);
        EXPECT_EQ(className(v), "string") << k.property;
        EXPECT_EQ(dims(v), (std::vector<std::size_t>{1, 1})) << k.property;
        EXPECT_EQ(text(v), k.expected) << k.property;
        EXPECT_EQ(client.countOf(k.clientCall), 1u) << k.property;
    }
    Value port = user::get(c, "Port");
    EXPECT_EQ(className(port), "double");
    EXPECT_EQ(scalar(port), 12345);
    EXPECT_EQ(client.countOf("getPort"), 1u);
}

TEST_F(ClassSurfaceTest, ServiceNamesReadAsAStringRowOrOneEmptyString) {
    Value c = user::connector();
    Value none = user::get(c, "ServiceNames");
    EXPECT_EQ(className(none), "string");
    EXPECT_EQ(dims(none), (std::vector<std::size_t>{1, 1}));
    EXPECT_EQ(text(none), "");

    client.edit([](ClientState& s) { s.fServiceNames = {"alpha", "beta", "gamma"}; });
    Value three = user::get(c, "ServiceNames");
    EXPECT_EQ(dims(three), (std::vector<std::size_t>{1, 3}));
    EXPECT_EQ(texts(three), (std::vector<std::string>{"alpha", "beta", "gamma"}));
}

TEST_F(ClassSurfaceTest, StatusAndAccessModeReadAsTheSharedEnumerationMembers) {
    Value c = user::connector();
    struct Case {
        const char* property;
        std::int32_t code;
        const char* member;
        const char* enumClass;
    };
    const std::vector<Case> cases = {
        {"Status", 0, "notrunning", "korvan.engine.rest.Status"},
        {"Status", 1, "running", "korvan.engine.rest.Status"},
        {"ClientAccessMode", 0, "local", "korvan.engine.rest.ClientAccessMode"},
        {"ClientAccessMode", 1, "remote", "korvan.engine.rest.ClientAccessMode"},
    };
    for (const auto& k : cases) {
        client.edit(
            [&](ClientState& s) { (k.property[0] == 'S' ? s.fStatus : s.fAccessMode) = k.code; });
        Value first = user::get(c, k.property);
        Value second = user::get(c, k.property);
        EXPECT_EQ(className(first), k.enumClass) << k.property << " " << k.code;
        EXPECT_EQ(user::memberName(first), k.member) << k.property << " " << k.code;
        // Both reads hand out the member's one cached value, which user code reads as well.
        Value named = user::member(std::string(k.enumClass) + "." + k.member);
        EXPECT_EQ(kxGetObject(first.get(), 0), kxGetObject(second.get(), 0));
        EXPECT_EQ(kxGetObject(first.get(), 0), kxGetObject(named.get(), 0));
    }
    // A code without a member reads as [].
    client.edit([](ClientState& s) { s.fStatus = 7; });
    Value unknown = user::get(c, "Status");
    EXPECT_EQ(className(unknown), "double");
    EXPECT_EQ(dims(unknown), (std::vector<std::size_t>{0, 0}));
}

TEST_F(ClassSurfaceTest, EnumerationsListTheirMembersInOrder) {
    EXPECT_EQ(user::memberName(user::member("korvan.engine.rest.Status.notrunning")), "notrunning");
    EXPECT_EQ(user::memberName(user::member("korvan.engine.rest.ClientAccessMode.remote")),
              "remote");
    EXPECT_EQ(errorIdOf([] { user::member("korvan.engine.rest.Status.stopped"); }),
              "KORVAN:class:NoSuchEnumMember");
    // The enumeration constructor converts through uint32: Status(1) is running.
    Value one = user::call("korvan.engine.rest.Status", {num(1)}).at(0);
    EXPECT_EQ(user::memberName(one), "running");
}

TEST_F(ClassSurfaceTest, EntryPointsCalledAgainChangeNothing) {
    void* library = ::dlopen(ModuleHarness::modulePath().c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr) << ::dlerror();
    using Entry = void (*)();
    auto init = reinterpret_cast<Entry>(::dlsym(library, "KVInitialize_libzxrestfcnconnector"));
    auto term = reinterpret_cast<Entry>(::dlsym(library, "KVTerminate_libzxrestfcnconnector"));
    auto initModule =
        reinterpret_cast<Entry>(::dlsym(library, "_ZN4rest2kv9connector3api16initializeModuleEv"));
    ASSERT_TRUE(init && term && initModule);

    Value c = user::connector();
    user::set(c, "Port", num(8282));
    const void* native = user::nativeOf(c);
    harness.run([&] {
        auto classOf = [](const char* name) {
            return kcos::COSClass::getClass(kcos::internal::makeInterned(name));
        };
        kcos::COSClass* before = classOf(kClass);
        kcos::COSClass* statusBefore = classOf("korvan.engine.rest.Status");
        const std::size_t blocks = kcos::hostLiveBlocks();
        // A second initialisation registers nothing (a second registration of the same names
        // would fail in the host or replace the classes).
        init();
        initModule();
        term();
        EXPECT_EQ(kcos::hostLiveBlocks(), blocks);
        EXPECT_EQ(classOf(kClass), before);
        EXPECT_EQ(classOf("korvan.engine.rest.Status"), statusBefore);
    });
    ::dlclose(library);

    // The terminator stopped nothing: the connector and its objects work as before.
    EXPECT_EQ(user::nativeOf(c), native);
    EXPECT_EQ(scalar(user::get(user::connector(), "Port")), 8282);
    EXPECT_EQ(client.countOf("stopConnector"), 0u);
}

}  // namespace
}  // namespace korvan::test
