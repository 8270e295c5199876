// User-code access checks, property records and handle objects, on the test module's classes.
#include <gtest/gtest.h>

#include "TestClasses.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/host/UserCode.hpp"
#include "kx/kxUtf.hpp"

namespace {

using korvan::host::UserCode;
using korvan::test::errorIdOf;
using korvan::test::widgetOf;

class ClassAccessTest : public ::testing::Test {
  protected:
    void SetUp() override { korvan::test::registerTestClasses(); }
    kx::ArrayPtr newWidget() { return privileged.construct("kcostest.Widget"); }

    UserCode user;  // the public client
    UserCode privileged{kcos::COSClient::privilegedClient()};
};

TEST_F(ClassAccessTest, PrivateSetIsRefusedForUserCodeButReachesTheSetterForPrivilegedCode) {
    auto w = newWidget();
    kx::ArrayPtr value(kxCreateDoubleScalar(7));
    EXPECT_EQ(errorIdOf([&] { user.setProperty(w.get(), "Secret", value.get()); }),
              "KORVAN:class:PropertySetAccess");
    EXPECT_EQ(widgetOf(w.get())->fSecretSets, 0);
    EXPECT_EQ(errorIdOf([&] { user.getProperty(w.get(), "Secret"); }),
              "KORVAN:class:PropertyGetAccess");

    privileged.setProperty(w.get(), "Secret", value.get());
    EXPECT_EQ(widgetOf(w.get())->fSecretSets, 1);
    EXPECT_EQ(kxGetScalar(privileged.getProperty(w.get(), "Secret").get()), 42.0);

    // The class's own client has the same rights as privileged code for its members.
    kcos::COSClass* cls = kcos::COSClass::getClass(kcos::internal::makeInterned("kcostest.Widget"));
    UserCode(cls->getClient()).setProperty(w.get(), "Secret", value.get());
    EXPECT_EQ(widgetOf(w.get())->fSecretSets, 2);
}

TEST_F(ClassAccessTest, ReadOnlyPropertyIsRefusedWithTheSetterUntouched) {
    auto w = newWidget();
    kx::ArrayPtr value(kxCreateDoubleScalar(0));
    EXPECT_EQ(errorIdOf([&] { user.setProperty(w.get(), "Mode", value.get()); }),
              "KORVAN:class:PropertySetAccess");
    EXPECT_EQ(errorIdOf([&] { user.setProperty(w.get(), "Expiry", value.get()); }),
              "KORVAN:class:PropertySetAccess");
    EXPECT_EQ(errorIdOf([&] { user.setProperty(w.get(), "NoSuch", value.get()); }),
              "KORVAN:class:NoSuchProperty");
}

TEST_F(ClassAccessTest, NativeDoublePropertyConvertsBothWays) {
    auto w = newWidget();
    kx::ArrayPtr port(kxCreateDoubleScalar(8080));
    user.setProperty(w.get(), "Port", port.get());
    EXPECT_EQ(widgetOf(w.get())->fPort, 8080);
    auto read = user.getProperty(w.get(), "Port");
    ASSERT_TRUE(kxIsRealDoubleScalar(read.get()));
    EXPECT_EQ(kxGetScalar(read.get()), 8080);

    kx::ArrayPtr text(kxCreateStringScalarFromUtf8("8081"));
    kx::ArrayPtr pair(kxCreateDoubleMatrix(1, 2));
    EXPECT_EQ(errorIdOf([&] { user.setProperty(w.get(), "Port", text.get()); }),
              "KORVAN:class:InvalidPropertyValue");
    EXPECT_EQ(errorIdOf([&] { user.setProperty(w.get(), "Port", pair.get()); }),
              "KORVAN:class:InvalidPropertyValue");
    EXPECT_EQ(widgetOf(w.get())->fPortSets, 1);
}

TEST_F(ClassAccessTest, HostArrayGetterResultIsReleasedOnceAndTheCallerOwnsACopy) {
    auto w = newWidget();
    const int before = korvan::test::counters().fNameReleases;
    auto name = user.getProperty(w.get(), "Name");
    EXPECT_EQ(korvan::test::counters().fNameReleases, before + 1);
    EXPECT_EQ(kxGetReferenceCount(name.get()), 1u);
    EXPECT_EQ(kx::utf16ToUtf8(*kxGetStringElement(name.get(), 0)), "first");

    kx::ArrayPtr next(kxCreateStringScalarFromUtf8("second"));
    user.setProperty(w.get(), "Name", next.get());
    EXPECT_EQ(widgetOf(w.get())->fName, "second");
}

TEST_F(ClassAccessTest, SharedValueWithoutReleaseIsCopiedNotDestroyed) {
    auto w = newWidget();
    auto first = user.getProperty(w.get(), "Mode");
    kcos::COSClass* mode = kcos::COSClass::getClass(kcos::internal::makeInterned("kcostest.Mode"));
    kxArray* shared = kcos::getEnumMemberValue(mode, "beta");
    const auto sharedRefs = kxGetReferenceCount(shared);
    auto second = user.getProperty(w.get(), "Mode");
    EXPECT_EQ(kxGetReferenceCount(shared), sharedRefs);
    EXPECT_NE(first.get(), shared);
    EXPECT_EQ(kxGetObject(first.get(), 0), kxGetObject(second.get(), 0));
    EXPECT_EQ(kxGetObject(first.get(), 0), kxGetObject(shared, 0));
}

TEST_F(ClassAccessTest, PropertyOrderIsTheRegistrationOrder) {
    auto w = newWidget();
    EXPECT_EQ(user.propertyNames(w.get()),
              (std::vector<std::string>{"Port", "Name", "Mode", "Expiry"}));
    EXPECT_EQ(privileged.propertyNames(w.get()),
              (std::vector<std::string>{"Port", "Name", "Mode", "Secret", "Expiry"}));
}

TEST_F(ClassAccessTest, PrivateConstructorIsRefusedBeforeAnyInstanceDataIsMade) {
    const int created = korvan::test::counters().fWidgetsCreated;
    EXPECT_EQ(errorIdOf([&] { user.construct("kcostest.Widget"); }),
              "KORVAN:class:ConstructorAccess");
    EXPECT_EQ(errorIdOf([&] {
                  kx::ArrayPtr(omConstructObjectWithClient("kcostest.Widget", 0, nullptr, nullptr));
              }),
              "KORVAN:class:ConstructorAccess");
    EXPECT_EQ(korvan::test::counters().fWidgetsCreated, created);
    kx::ArrayPtr arg(kxCreateDoubleScalar(1));
    const kxArray* args[] = {arg.get()};
    EXPECT_EQ(errorIdOf([&] {
                  kx::ArrayPtr(omConstructObjectWithClient("kcostest.Widget", 1, args,
                                                           kcos::COSClient::privilegedClient()));
              }),
              "KORVAN:host:TooManyInputs");
}

TEST_F(ClassAccessTest, MethodsCheckAccessAndCountsInDotAndFunctionForm) {
    auto w = newWidget();
    user.callMethod(w.get(), "start", {}, 0);
    user.call("start", {w.get()}, 0);
    EXPECT_EQ(widgetOf(w.get())->fStarts, 2);

    kx::ArrayPtr extra(kxCreateDoubleScalar(1));
    EXPECT_EQ(errorIdOf([&] { user.callMethod(w.get(), "start", {extra.get()}, 0); }),
              "KORVAN:host:TooManyInputs");
    EXPECT_EQ(errorIdOf([&] { user.callMethod(w.get(), "start", {}, 1); }),
              "KORVAN:host:TooManyOutputs");
    EXPECT_EQ(errorIdOf([&] { user.callMethod(w.get(), "delete", {}, 0); }),
              "KORVAN:class:MethodAccess");
    EXPECT_EQ(errorIdOf([&] { user.call("delete", {w.get()}, 0); }), "KORVAN:class:MethodAccess");
    EXPECT_EQ(errorIdOf([&] { user.callMethod(w.get(), "stop", {}, 0); }),
              "KORVAN:class:NoSuchMethod");
    EXPECT_EQ(widgetOf(w.get())->fStarts, 2);
    EXPECT_EQ(widgetOf(w.get())->fDeletes, 0);
}

TEST_F(ClassAccessTest, HandlesShareOneInstance) {
    auto w = newWidget();
    kx::ArrayPtr copy(kxDuplicateArray(w.get()));
    kx::ArrayPtr port(kxCreateDoubleScalar(1234));
    user.setProperty(copy.get(), "Port", port.get());
    EXPECT_EQ(kxGetScalar(user.getProperty(w.get(), "Port").get()), 1234);
    EXPECT_EQ(widgetOf(w.get()), widgetOf(copy.get()));
}

TEST_F(ClassAccessTest, DeleteFollowsTheClassRules) {
    auto w = newWidget();
    kx::ArrayPtr copy(kxDuplicateArray(w.get()));
    const int destroyed = korvan::test::counters().fWidgetsDestroyed;

    EXPECT_EQ(errorIdOf([&] { user.deleteObject(w.get()); }), "KORVAN:class:DeleteAccess");
    EXPECT_NE(widgetOf(copy.get()), nullptr);

    privileged.deleteObject(w.get());  // runs the (private) delete method, then ends the handle
    EXPECT_EQ(korvan::test::counters().fWidgetsDestroyed, destroyed + 1);
    EXPECT_EQ(widgetOf(copy.get()), nullptr);
    EXPECT_EQ(errorIdOf([&] { user.getProperty(copy.get(), "Port"); }),
              "KORVAN:class:InvalidHandle");
    EXPECT_EQ(errorIdOf([&] { user.callMethod(copy.get(), "start", {}, 0); }),
              "KORVAN:class:InvalidHandle");
    privileged.deleteObject(copy.get());  // already deleted: nothing more happens
    w = {};
    copy = {};
    EXPECT_EQ(korvan::test::counters().fWidgetsDestroyed, destroyed + 1);

    auto open = user.construct("kcostest.Open");
    const int openDeletes = korvan::test::counters().fOpenDeletes;
    user.deleteObject(open.get());
    EXPECT_EQ(korvan::test::counters().fOpenDeletes, openDeletes + 1);
    EXPECT_EQ(errorIdOf([&] { user.propertyNames(open.get()); }), "KORVAN:class:InvalidHandle");

    auto member = user.enumMember("kcostest.Mode.alpha");
    EXPECT_EQ(errorIdOf([&] { user.deleteObject(member.get()); }), "KORVAN:class:DeleteNotHandle");
}

TEST_F(ClassAccessTest, InstanceDataLivesUntilTheLastHandleGoes) {
    kcos::COSClass* cls = kcos::COSClass::getClass(kcos::internal::makeInterned("kcostest.Widget"));
    const int destroyed = korvan::test::counters().fWidgetsDestroyed;
    kx::ArrayPtr object(kxCreateObjectScalar(cls->createInstance()));
    ASSERT_NE(widgetOf(object.get()), nullptr);
    kx::ArrayPtr second(kxDuplicateArray(object.get()));
    object = {};
    EXPECT_EQ(korvan::test::counters().fWidgetsDestroyed, destroyed);
    second = {};
    EXPECT_EQ(korvan::test::counters().fWidgetsDestroyed, destroyed + 1);
}

// A class whose instance data cannot be made: construction fails and leaves no instance.
class FragileInfo final : public kcos::COSClassInfo {
  public:
    const char* getName() const override { return "Fragile"; }
    void* createInstanceData(kcos::COSClass*) override {
        korvan::host::throwError("KORVAN:test", "NoData");
    }
    void destroyInstanceData(void*) override { ++fDestroyed; }
    static inline int fDestroyed = 0;
};

TEST_F(ClassAccessTest, FailingInstanceDataLeavesNoObject) {
    kcos::COSClass* cls = kcos::COSNamespace::getRootNamespace()->addClass(new FragileInfo, 1, 0);
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(errorIdOf([&] { user.construct("Fragile"); }), "KORVAN:test:NoData");
    EXPECT_EQ(errorIdOf([&] { cls->createInstance(); }), "KORVAN:test:NoData");
    EXPECT_EQ(FragileInfo::fDestroyed, 0);
}

}  // namespace
