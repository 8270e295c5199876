// omCallMethod, omConstructObjectWithClient and the user-code call resolution.
#include <gtest/gtest.h>

#include <mutex>

#include "TestClasses.hpp"
#include "kcos/Allocator.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/host/Functions.hpp"
#include "korvan/host/UserCode.hpp"

// Sanitizer allocators abort on an impossible allocation instead of failing it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KCOS_TEST_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KCOS_TEST_UNDER_SANITIZER 1
#endif
#endif
#ifndef KCOS_TEST_UNDER_SANITIZER
#define KCOS_TEST_UNDER_SANITIZER 0
#endif

namespace {

using kcos::internal::makeInterned;
using korvan::test::errorIdOf;

// Collects what omCallMethod reports while a test runs.
class SinkGuard {
  public:
    SinkGuard() {
        fPrevious =
            kcos::setCallErrorSink([this](const std::string& name, const std::exception& e) {
                fReports.push_back(name + ": " + e.what());
            });
    }
    ~SinkGuard() { kcos::setCallErrorSink(fPrevious); }
    std::vector<std::string> fReports;

  private:
    kcos::CallErrorSink fPrevious;
};

bool callPackage(const char* package, const char* function, kx::ArrayPtr& out, bool handleErrors,
                 std::vector<const kxArray*> args = {},
                 kcos::COSClient* client = COSGetPublicClient(), int nlhs = 1) {
    kxArray* slot[1] = {nullptr};
    bool ok = omCallMethod(makeInterned(package), makeInterned(function), client, nlhs, slot,
                           static_cast<int>(args.size()), args.data(), handleErrors);
    out = kx::ArrayPtr(slot[0]);
    return ok;
}

TEST(CallEntriesTest, MissingFunctionReportsFailureWithoutThrowing) {
    SinkGuard sink;
    kx::ArrayPtr out;
    for (bool handleErrors : {true, false}) {
        bool ok = true;
        EXPECT_NO_THROW(ok = callPackage("kcostest.none", "showDialog", out, handleErrors));
        EXPECT_FALSE(ok);
        EXPECT_FALSE(out);
        EXPECT_NO_THROW(ok = callPackage("datetime", "noSuchMethod", out, handleErrors));
        EXPECT_FALSE(ok);
    }
    EXPECT_TRUE(sink.fReports.empty());
}

TEST(CallEntriesTest, PackageFunctionIsCalledWithItsOutput) {
    korvan::host::registerFunction("kcostest.pkg.showDialog",
                                   [](int nlhs, kxArray** plhs, int nrhs, const kxArray**) {
                                       kxCheckArgumentCounts(nlhs, 1, nrhs, 0, 0);
                                       plhs[0] = kxCreateLogicalScalar(true);
                                   });
    kx::ArrayPtr out;
    EXPECT_TRUE(callPackage("kcostest.pkg", "showDialog", out, true));
    EXPECT_TRUE(kxIsLogicalScalarTrue(out.get()));
}

TEST(CallEntriesTest, ErrorsAreHandledOrPropagatedByTheFlag) {
    korvan::host::registerFunction("kcostest.pkg.fails", [](int, kxArray**, int, const kxArray**) {
        korvan::host::throwError("KORVAN:test", "Broken");
    });
    SinkGuard sink;
    kx::ArrayPtr out;
    EXPECT_FALSE(callPackage("kcostest.pkg", "fails", out, true));
    ASSERT_EQ(sink.fReports.size(), 1u);
    EXPECT_EQ(sink.fReports[0].rfind("kcostest.pkg.fails: ", 0), 0u);
    EXPECT_EQ(errorIdOf([&] { callPackage("kcostest.pkg", "fails", out, false); }),
              "KORVAN:test:Broken");
    EXPECT_EQ(sink.fReports.size(), 1u);
}

TEST(CallEntriesTest, ClassMethodsThroughThePackageNameWithTheClientsRights) {
    korvan::test::registerTestClasses();
    kx::ArrayPtr out;
    ASSERT_TRUE(callPackage("datetime", "empty", out, false));
    EXPECT_EQ(kxGetClassName(out.get()), "datetime");
    EXPECT_EQ(kxGetNumberOfElements(out.get()), 0u);

    auto w =
        korvan::host::UserCode(kcos::COSClient::privilegedClient()).construct("kcostest.Widget");
    SinkGuard sink;
    kcos::COSClient* user = COSGetPublicClient();
    EXPECT_EQ(errorIdOf([&] {
                  callPackage("kcostest.Widget", "delete", out, false, {w.get()}, user, 0);
              }),
              "KORVAN:class:MethodAccess");
    EXPECT_FALSE(callPackage("kcostest.Widget", "delete", out, true, {w.get()}, user, 0));
    EXPECT_EQ(sink.fReports.size(), 1u);
    EXPECT_EQ(korvan::test::widgetOf(w.get())->fDeletes, 0);
    EXPECT_TRUE(callPackage("kcostest.Widget", "delete", out, false, {w.get()},
                            kcos::COSClient::privilegedClient(), 0));
    EXPECT_EQ(korvan::test::widgetOf(w.get())->fDeletes, 1);
}

// A namespace that provides its functions only when asked for them.
class LazyFunctions final : public kcos::COSNamespaceInfo {
  public:
    const char* getName() const override { return "kcostestlazy"; }
    void notifyContentsChanged(kcos::InternedString) override {}
    bool attemptToLoadFunction(kcos::InternedString name) override {
        if (name.view() != "hello") return false;
        korvan::host::registerFunction("kcostestlazy.hello",
                                       [](int, kxArray** plhs, int, const kxArray**) {
                                           plhs[0] = kxCreateStringScalarFromUtf8("hello");
                                       });
        return true;
    }
};

TEST(CallEntriesTest, NamespaceLoadsAMissingFunctionOnDemand) {
    static std::once_flag once;
    std::call_once(once, [] { kcos::COSNamespace::addNamespace(new LazyFunctions); });
    kx::ArrayPtr out;
    EXPECT_FALSE(korvan::host::findFunction("kcostestlazy.hello").has_value());
    EXPECT_TRUE(callPackage("kcostestlazy", "hello", out, false));
    EXPECT_FALSE(callPackage("kcostestlazy", "bye", out, false));
    EXPECT_EQ(korvan::host::UserCode().call("kcostestlazy.hello").size(), 1u);
}

TEST(CallEntriesTest, UserCallResolutionAndUnknownNames) {
    korvan::host::UserCode user;
    kx::ArrayPtr seven(kxCreateDoubleScalar(7));
    auto d = user.call("days", {seven.get()})[0];  // a built-in of the function table
    EXPECT_EQ(kxGetClassName(d.get()), "duration");
    EXPECT_EQ(kxGetScalar(user.call("days", {d.get()})[0].get()), 7);             // function table
    EXPECT_EQ(kxGetScalar(user.callMethod(d.get(), "days")[0].get()), 7);         // dot form
    EXPECT_EQ(kxGetClassName(user.call("datetime.empty")[0].get()), "datetime");  // static method
    EXPECT_EQ(errorIdOf([&] { user.call("kcostest.nothing"); }), "KORVAN:class:UndefinedFunction");
    EXPECT_EQ(errorIdOf([&] { user.construct("kcostest.Nothing"); }),
              "KORVAN:class:UndefinedClass");
    EXPECT_EQ(errorIdOf([&] {
                  kx::ArrayPtr(omConstructObjectWithClient("no.Such", 0, nullptr, nullptr));
              }),
              "KORVAN:class:UndefinedClass");
}

TEST(CallEntriesTest, DescriptionsUseTheHostAllocator) {
    const std::size_t before = kcos::hostLiveBlocks();
    kcos::COSMethodSignature* signature = kcos::COSMethodSignature::createMethodSignature();
    EXPECT_EQ(kcos::hostLiveBlocks(), before + 1);
    signature->addInputType("any");
    signature->setAcceptsFurtherArguments();
    EXPECT_TRUE(signature->acceptsFurtherArguments());
    EXPECT_EQ(errorIdOf([&] { signature->addOutputType("no.such.Class scalar"); }),
              "KORVAN:class:UnknownType");
    delete signature;
    EXPECT_EQ(kcos::hostLiveBlocks(), before);
#if !KCOS_TEST_UNDER_SANITIZER
    EXPECT_EQ(errorIdOf([] { kcos::hostAlloc(static_cast<std::size_t>(-1) / 2); }),
              "KORVAN:host:OutOfMemory");
    EXPECT_EQ(kcos::hostLiveBlocks(), before);
#endif
}

}  // namespace
