// The attribute word of properties and its sixteen queries.
#include <gtest/gtest.h>

#include <mutex>

#include "TestClasses.hpp"

namespace {

using kcos::COSProperty;
using kcos::internal::makeInterned;

// One property per (attribute word, type) pair, plus one per single bit.
class AttributesInfo final : public kcos::COSClassInfo {
  public:
    const char* getName() const override { return "Attributes"; }
    void defineClass(kcos::COSClass* cls, kcos::COSClient*) override {
        auto add = [cls](const std::string& name, const char* label, std::uint32_t word) {
            cls->addProperty(name.c_str(), kcos::COSTypeRepository::findType(label),
                             kcos::MemberAccess::Public, kcos::MemberAccess::Private, word, "",
                             kcos::PropMethods<void, double>{[](void*) { return 0.0; }, {}});
        };
        add("Any3022", "any", 3022);
        add("Any19406", "any", 19406);
        add("Text3022", "string scalar", 3022);
        add("Text19406", "string scalar", 19406);
        for (int bit = 0; bit < 16; ++bit) add("Bit" + std::to_string(bit), "any", 1u << bit);
    }
};

const COSProperty* property(const char* name) {
    static std::once_flag once;
    std::call_once(
        once, [] { kcos::COSNamespace::getRootNamespace()->addClass(new AttributesInfo, 0, 2); });
    kcos::COSClass* cls = kcos::COSClass::getClass(makeInterned("Attributes"));
    return cls->findProperty(name);
}

struct Query {
    const char* name;
    bool (COSProperty::*ask)() const noexcept;
    bool at3022;
    bool at19406;
};

// Bit order of the attribute word: query k reads bit k.
// clang-format off
const Query kQueries[] = {
    {"isAbstract", &COSProperty::isAbstract, false, false},
    {"isInitAllowed", &COSProperty::isInitAllowed, true, true},
    {"isDefaultAllowed", &COSProperty::isDefaultAllowed, true, true},
    {"isResetAllowed", &COSProperty::isResetAllowed, true, true},
    {"isSealed", &COSProperty::isSealed, false, false},
    {"isTransient", &COSProperty::isTransient, false, false},
    {"isCopyAllowed", &COSProperty::isCopyAllowed, true, true},
    {"isListenerGetAllowed", &COSProperty::isListenerGetAllowed, true, true},
    {"isListenerSetAllowed", &COSProperty::isListenerSetAllowed, true, true},
    {"isInspectAllowed", &COSProperty::isInspectAllowed, true, true},
    {"isAbortSet", &COSProperty::isAbortSet, false, false},
    {"isVisible", &COSProperty::isVisible, true, true},
    {"isStatic", &COSProperty::isStatic, false, false},
    {"isDependent", &COSProperty::isDependent, false, false},
    {"canContainInterfaces", &COSProperty::canContainInterfaces, true, false},  // with type "any"
    {"isWarnOnCopyError", &COSProperty::isWarnOnCopyError, false, false},
};
// clang-format on

TEST(PropertyAttributesTest, WordsOfTheConnectorAnswerTheSixteenQueries) {
    const COSProperty* a = property("Any3022");
    const COSProperty* b = property("Any19406");
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->getAttributes(), 3022u);
    for (const Query& q : kQueries) {
        const bool at3022 = (a->*q.ask)(), at19406 = (b->*q.ask)();
        EXPECT_EQ(at3022, q.at3022) << q.name << " of 3022";
        EXPECT_EQ(at19406, q.at19406) << q.name << " of 19406";
    }
}

TEST(PropertyAttributesTest, EachQueryReadsItsOwnBit) {
    for (int bit = 0; bit < 16; ++bit) {
        const COSProperty* p = property(("Bit" + std::to_string(bit)).c_str());
        ASSERT_NE(p, nullptr);
        for (int k = 0; k < 16; ++k) {
            // Bit 14 turns canContainInterfaces off; without it the type ("any") answers yes.
            const Query& query = kQueries[k];
            const bool expected = k == 14 ? bit != 14 : k == bit;
            const bool actual = (p->*query.ask)();
            EXPECT_EQ(actual, expected) << query.name << " with only bit " << bit;
        }
    }
}

TEST(PropertyAttributesTest, CanContainInterfacesAsksTheTypeOnlyWithoutBit14) {
    EXPECT_FALSE(property("Text3022")->canContainInterfaces());   // the type says no
    EXPECT_FALSE(property("Text19406")->canContainInterfaces());  // bit 14
    EXPECT_TRUE(property("Any3022")->canContainInterfaces());
    EXPECT_FALSE(property("Any19406")->canContainInterfaces());
}

}  // namespace
