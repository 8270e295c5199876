// Namespaces, class registration and definition, and the type repository.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "TestClasses.hpp"
#include "kcos/Allocator.hpp"
#include "korvan/host/Errors.hpp"

namespace {

using kcos::COSNamespace;
using kcos::internal::makeInterned;
using korvan::test::errorIdOf;

class NamedNamespace final : public kcos::COSNamespaceInfo {
  public:
    explicit NamedNamespace(const char* name) : fName(kcos::hostStrdup(name)) {}
    ~NamedNamespace() override { kcos::hostFree(fName); }
    const char* getName() const override { return fName; }
    void notifyContentsChanged(kcos::InternedString name) override { fAdded.push_back(name.str()); }
    std::vector<std::string> fAdded;

  private:
    char* fName;
};

// The find-or-create steps a module uses for its namespaces.
COSNamespace* findOrCreateNamespace(const char* name) {
    kcos::InternedString interned = makeInterned(name);
    if (COSNamespace* ns = COSNamespace::getNamespace(interned)) return ns;
    COSNamespace::addNamespace(new NamedNamespace(name));
    return COSNamespace::getNamespace(interned);
}

COSNamespace* findOrCreateInnerNamespace(COSNamespace* parent, const char* child) {
    if (!parent) return nullptr;
    kcos::InternedString full = makeInterned(parent->getName().str() + "." + child);
    if (COSNamespace* ns = COSNamespace::getNamespace(full)) return ns;
    parent->addInnerNamespace(new NamedNamespace(child));
    return COSNamespace::getNamespace(full);
}

TEST(NamespaceTest, NestedNamespacesAreCreatedOnceAndReused) {
    COSNamespace* top = findOrCreateNamespace("kcosns");
    COSNamespace* engine = findOrCreateInnerNamespace(top, "engine");
    COSNamespace* rest = findOrCreateInnerNamespace(engine, "rest");
    ASSERT_TRUE(top && engine && rest);
    EXPECT_EQ(rest->getName().str(), "kcosns.engine.rest");
    EXPECT_EQ(rest->getShortName().str(), "rest");
    EXPECT_EQ(rest->getParent(), engine);
    EXPECT_EQ(static_cast<NamedNamespace*>(engine->getInfo())->fAdded,
              std::vector<std::string>{"rest"});

    const std::size_t blocks = kcos::hostLiveBlocks();
    EXPECT_EQ(findOrCreateInnerNamespace(
                  findOrCreateInnerNamespace(findOrCreateNamespace("kcosns"), "engine"), "rest"),
              rest);
    EXPECT_EQ(kcos::hostLiveBlocks(), blocks);
    EXPECT_EQ(top->getInnerNamespaceNames(),
              std::vector<kcos::InternedString>{makeInterned("engine")});
}

TEST(NamespaceTest, AddingAnExistingNameRaisesThroughTheParentAndFreesTheDescription) {
    COSNamespace* top = findOrCreateNamespace("kcosdup");
    findOrCreateInnerNamespace(top, "inner");
    const std::size_t blocks = kcos::hostLiveBlocks();
    EXPECT_EQ(errorIdOf([&] { top->addInnerNamespace(new NamedNamespace("inner")); }),
              "KORVAN:class:NameExists");
    EXPECT_EQ(errorIdOf([&] { COSNamespace::addNamespace(new NamedNamespace("kcosdup")); }),
              "KORVAN:class:NameExists");
    EXPECT_EQ(errorIdOf([&] { top->addInnerNamespace(new NamedNamespace("not.simple")); }),
              "KORVAN:class:InvalidName");
    EXPECT_EQ(kcos::hostLiveBlocks(), blocks);
}

// A class that counts its definitions and can be told to fail the next one half way.
class CountingInfo final : public kcos::COSClassInfo {
  public:
    explicit CountingInfo(const char* name) : fName(name) {}
    const char* getName() const override { return fName; }
    void defineClass(kcos::COSClass* cls, kcos::COSClient*) override {
        ++fDefinitions;
        cls->addProperty("Value", kcos::COSTypeRepository::findType("double scalar"),
                         kcos::MemberAccess::Public, kcos::MemberAccess::Public, 3022, "",
                         kcos::PropMethods<void, double>{[](void*) { return 1.0; }, {}});
        if (fFailNext) {
            fFailNext = false;
            korvan::host::throwError("KORVAN:test", "DefinitionFailed");
        }
    }
    const char* fName;
    int fDefinitions = 0;
    bool fFailNext = false;
};

int propertyCount(kcos::COSClass* cls) {
    int n = 0;
    for (auto it = cls->getMemberIterator(kcos::MemberKind::Property); it.hasMoreElements();
         it.nextElement())
        ++n;
    return n;
}

TEST(NamespaceTest, DefinitionTimeIsHonoured) {
    COSNamespace* ns = findOrCreateNamespace("kcosdef");
    auto* now = new CountingInfo("Now");
    auto* onNamespaceUse = new CountingInfo("OnNamespaceUse");
    auto* onUse = new CountingInfo("OnUse");
    ns->addClass(now, 0, 0);
    ns->addClass(onNamespaceUse, 0, 1);
    ns->addClass(onUse, 0, 2);
    EXPECT_EQ(now->fDefinitions, 1);
    EXPECT_EQ(onNamespaceUse->fDefinitions, 0);
    EXPECT_EQ(onUse->fDefinitions, 0);
    // Known as a type before it is defined (a class may name another one of its namespace).
    EXPECT_NE(kcos::COSTypeRepository::findType("kcosdef.OnUse scalar"), nullptr);

    ns->getClass(makeInterned("Now"));
    EXPECT_EQ(onNamespaceUse->fDefinitions, 1);
    EXPECT_EQ(onUse->fDefinitions, 0);
    kcos::COSClass* cls = kcos::COSClass::getClass(makeInterned("kcosdef.OnUse"));
    kcos::COSClass::getClass(makeInterned("kcosdef.OnUse"));
    EXPECT_EQ(onUse->fDefinitions, 1);
    EXPECT_TRUE(cls->isDefined());
    EXPECT_EQ(ns->getClassNames().size(), 3u);
}

TEST(NamespaceTest, FailedDefinitionIsForgottenAndRetried) {
    COSNamespace* ns = findOrCreateNamespace("kcosfail");
    auto* info = new CountingInfo("Flaky");
    info->fFailNext = true;
    ns->addClass(info, 0, 2);
    EXPECT_EQ(errorIdOf([] { kcos::COSClass::getClass(makeInterned("kcosfail.Flaky")); }),
              "KORVAN:test:DefinitionFailed");
    kcos::COSClass* cls = kcos::COSClass::getClass(makeInterned("kcosfail.Flaky"));
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(info->fDefinitions, 2);
    EXPECT_EQ(propertyCount(cls), 1);  // nothing left over from the failed attempt
    EXPECT_EQ(errorIdOf([&] { ns->addClass(new CountingInfo("Flaky"), 0, 2); }),
              "KORVAN:class:NameExists");
    EXPECT_EQ(errorIdOf([&] {
                  cls->addProperty("Value", kcos::COSTypeRepository::findType("any"),
                                   kcos::MemberAccess::Public, kcos::MemberAccess::Public, 0, "",
                                   kcos::PropMethods<void, double>{});
              }),
              "KORVAN:class:NameExists");
}

// A namespace that makes its classes when they are first asked for.
class LoadingNamespace final : public kcos::COSNamespaceInfo {
  public:
    const char* getName() const override { return "kcosload"; }
    void notifyContentsChanged(kcos::InternedString) override {}
    kcos::COSClassInfo* attemptToLoadClass(kcos::InternedString name) override {
        return name.view() == "Made" ? new CountingInfo("Made") : nullptr;
    }
};

TEST(NamespaceTest, NamespaceDescriptionLoadsMissingClasses) {
    if (!COSNamespace::getNamespace(makeInterned("kcosload")))
        COSNamespace::addNamespace(new LoadingNamespace);
    EXPECT_NE(kcos::COSClass::getClass(makeInterned("kcosload.Made")), nullptr);
    EXPECT_EQ(kcos::COSClass::getClass(makeInterned("kcosload.Other")), nullptr);
    EXPECT_EQ(kcos::COSClass::getClass(makeInterned("kcosnowhere.Made")), nullptr);
}

TEST(NamespaceTest, TypeRepositoryKnowsTheLabelsTheModuleUses) {
    korvan::test::registerTestClasses();
    struct Case {
        const char* label;
        bool known;
        kcos::COSType::Shape shape;
    };
    const Case cases[] = {
        {"double scalar", true, kcos::COSType::Shape::Scalar},
        {"string scalar", true, kcos::COSType::Shape::Scalar},
        {"string vector", true, kcos::COSType::Shape::Vector},
        {"any", true, kcos::COSType::Shape::Any},
        {"uint32", true, kcos::COSType::Shape::Any},
        {"kcostest.Mode", true, kcos::COSType::Shape::Any},
        {"kcostest.Widget scalar", true, kcos::COSType::Shape::Scalar},
        {"datetime", true, kcos::COSType::Shape::Any},
        {"kcostest.Missing", false, {}},
        {"double matrix", false, {}},
        {"string  scalar", false, {}},
        {"", false, {}},
    };
    for (const Case& c : cases) {
        const kcos::COSType* type = kcos::COSTypeRepository::findType(c.label);
        ASSERT_EQ(type != nullptr, c.known) << c.label;
        if (!type) continue;
        EXPECT_EQ(type->getLabel(), c.label);
        EXPECT_EQ(type->getShape(), c.shape) << c.label;
        EXPECT_EQ(kcos::COSTypeRepository::findType(c.label), type) << "types are kept";
    }
    EXPECT_FALSE(kcos::COSTypeRepository::findType("string scalar")->canContainInterfaces());
    EXPECT_TRUE(kcos::COSTypeRepository::findType("kcostest.Mode")->canContainInterfaces());
}

TEST(NamespaceTest, LookupsFromOtherThreadsWhileClassesAreAdded) {
    korvan::test::registerTestClasses();
    kcos::COSClass::getClass(makeInterned("kcostest.Mode"));  // defined before the readers start
    COSNamespace* ns = findOrCreateNamespace("kcosthreads");
    constexpr int kClasses = 100;
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 3; ++r) {
        readers.emplace_back([&] {
            while (!done.load()) {
                if (!COSNamespace::getNamespace(makeInterned("kcosthreads"))) ++failures;
                if (!kcos::COSTypeRepository::findType("kcostest.Mode scalar")) ++failures;
                kcos::COSClass* mode = kcos::COSClass::getClass(makeInterned("kcostest.Mode"));
                if (!mode || !mode->findMethod(makeInterned("Mode"))) ++failures;
                auto it = mode->getMemberIterator(kcos::MemberKind::EnumMember);
                int n = 0;
                while (it.hasMoreElements()) n += it.nextElement() != nullptr;
                if (n != 3) ++failures;
                ns->getClassNames();
            }
        });
    }
    for (int i = 0; i < kClasses; ++i) {
        ns->addClass(
            new CountingInfo(kcos::internal::makeInterned("C" + std::to_string(i)).c_str()), 0, 2);
    }
    done = true;
    for (auto& t : readers) t.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(ns->getClassNames().size(), static_cast<std::size_t>(kClasses));
    EXPECT_NE(kcos::COSClass::getClass(makeInterned("kcosthreads.C99")), nullptr);
}

}  // namespace
