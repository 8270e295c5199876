// Enumerations: members in definition order, values made once, values stored by the
// underlying class's constructor, members read by full name.
#include <gtest/gtest.h>

#include "TestClasses.hpp"
#include "korvan/host/UserCode.hpp"

namespace {

using kcos::internal::makeInterned;
using korvan::test::errorIdOf;

class EnumerationTest : public ::testing::Test {
  protected:
    void SetUp() override {
        korvan::test::registerTestClasses();
        mode = kcos::COSClass::getClass(makeInterned("kcostest.Mode"));
        ASSERT_NE(mode, nullptr);
    }
    kcos::COSClass* mode = nullptr;
    korvan::host::UserCode user;
};

TEST_F(EnumerationTest, MembersIterateInDefinitionOrder) {
    std::vector<std::string> names;
    auto it = mode->getMemberIterator(kcos::MemberKind::EnumMember);
    while (it.hasMoreElements()) {
        kcos::COSMember* element = it.nextElement();
        ASSERT_NE(kcos::cosiToEnum(element), nullptr);
        EXPECT_EQ(kcos::cosiToMethod(element), nullptr);
        names.emplace_back(kcos::cosiToEnum(element)->getName());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"alpha", "beta", "gamma"}));
    EXPECT_EQ(it.nextElement(), nullptr);

    // All members: the three enumeration members, then the constructor.
    auto all = mode->getMemberIterator();
    int enums = 0, methods = 0;
    while (all.hasMoreElements()) {
        kcos::COSMember* element = all.nextElement();
        if (kcos::cosiToEnum(element)) {
            EXPECT_EQ(methods, 0) << "a method before an enumeration member";
            ++enums;
        } else if (kcos::COSMethodInfo* m = kcos::cosiToMethod(element)) {
            EXPECT_STREQ(m->getName(), "Mode");
            ++methods;
        }
    }
    EXPECT_EQ(enums, 3);
    EXPECT_EQ(methods, 1);
}

TEST_F(EnumerationTest, MemberValueIsMadeOnceAndShared) {
    kxArray* first = kcos::getEnumMemberValue(mode, "gamma");
    const int made = korvan::test::counters().fModeValuesMade;
    kxArray* second = kcos::getEnumMemberValue(mode, "gamma");
    auto copy1 = user.enumMember("kcostest.Mode.gamma");
    auto copy2 = user.call("kcostest.Mode.gamma")[0];
    EXPECT_EQ(first, second);
    EXPECT_EQ(korvan::test::counters().fModeValuesMade, made);
    EXPECT_NE(copy1.get(), first);  // user code gets its own array ...
    EXPECT_EQ(kxGetObject(copy1.get(), 0), kxGetObject(first, 0));  // ... of the same object
    EXPECT_EQ(kxGetObject(copy2.get(), 0), kxGetObject(first, 0));
    EXPECT_EQ(kxGetClassName(first), "kcostest.Mode");
}

TEST_F(EnumerationTest, UnderlyingConstructorStoresEachValue) {
    const char* names[] = {"alpha", "beta", "gamma"};
    for (std::uint32_t position = 0; position < 3; ++position) {
        kxArray* member = kcos::getEnumMemberValue(mode, names[position]);
        auto instance = kcos::instanceOf(member, 0);
        ASSERT_TRUE(instance);
        const kxArray* underlying = instance->getUnderlyingValue();
        ASSERT_NE(underlying, nullptr);
        EXPECT_EQ(kxGetClassID(underlying), kxClassID::UInt32);
        EXPECT_EQ(kxGetScalar(underlying), position);
        EXPECT_EQ(kcos::getEnumMemberName(member), names[position]);
        auto asNumber = user.call("uint32", {member})[0];
        EXPECT_EQ(kxGetClassID(asNumber.get()), kxClassID::UInt32);
        EXPECT_EQ(kxGetScalar(asNumber.get()), position);
        EXPECT_EQ(kxGetScalar(user.call("double", {member})[0].get()), position);
    }
}

TEST_F(EnumerationTest, ConstructorRunsThroughTheUnderlyingClass) {
    kx::ArrayPtr two(kxCreateUnsignedScalar(kxClassID::UInt32, 2));
    kx::ArrayPtr twoPointFour(kxCreateDoubleScalar(1.6));  // converted by uint32: rounds to 2
    auto made = user.construct("kcostest.Mode", {two.get()});
    auto converted = user.call("kcostest.Mode", {twoPointFour.get()})[0];
    EXPECT_EQ(kcos::getEnumMemberName(made.get()), "gamma");
    EXPECT_EQ(kcos::getEnumMemberName(converted.get()), "gamma");
    EXPECT_NE(kxGetObject(made.get(), 0), kxGetObject(kcos::getEnumMemberValue(mode, "gamma"), 0));

    EXPECT_EQ(errorIdOf([&] { user.construct("kcostest.Mode"); }), "KORVAN:host:NotEnoughInputs");
    EXPECT_EQ(errorIdOf([&] {
                  user.construct("kcostest.Mode", {two.get(), two.get()});
              }),
              "KORVAN:host:TooManyInputs");
}

TEST_F(EnumerationTest, MembersByFullNameAndUnknownNames) {
    EXPECT_EQ(kcos::getEnumMemberName(user.enumMember("kcostest.Mode.beta").get()), "beta");
    EXPECT_EQ(errorIdOf([&] { user.enumMember("kcostest.Mode.delta"); }),
              "KORVAN:class:NoSuchEnumMember");
    EXPECT_EQ(errorIdOf([&] { user.enumMember("kcostest.Nothing.beta"); }),
              "KORVAN:class:UndefinedClass");
    EXPECT_EQ(errorIdOf([&] { user.enumMember("kcostest.Widget.beta"); }),
              "KORVAN:class:NoSuchEnumMember");
    kx::ArrayPtr number(kxCreateDoubleScalar(1));
    EXPECT_EQ(kcos::getEnumMemberName(number.get()), "");
}

TEST_F(EnumerationTest, EnumerationDescriptionAnswersAsDeclared) {
    EXPECT_TRUE(mode->isEnumeration());
    EXPECT_FALSE(mode->isHandleClass());
    EXPECT_EQ(mode->getUnderlyingClassName(), makeInterned("uint32"));
    korvan::test::registerTestClasses();
    auto w =
        korvan::host::UserCode(kcos::COSClient::privilegedClient()).construct("kcostest.Widget");
    EXPECT_EQ(kcos::getEnumMemberName(user.getProperty(w.get(), "Mode").get()), "beta");
}

}  // namespace
