#include "TestClasses.hpp"

#include <mutex>
#include <stdexcept>

#include "kcos/Allocator.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::test {
namespace {

using kcos::internal::makeInterned;

class TestNamespace final : public kcos::COSNamespaceInfo {
  public:
    explicit TestNamespace(const char* name) : fName(kcos::hostStrdup(name)) {}
    ~TestNamespace() override { kcos::hostFree(fName); }
    const char* getName() const override { return fName; }
    void notifyContentsChanged(kcos::InternedString) override {}

  private:
    char* fName;
};

// ---- kcostest.Mode ------------------------------------------------------------------------

class ModeValueInfo final : public kcos::COSEnumInfo {
  public:
    ModeValueInfo(const char* name, std::uint32_t value, kcos::COSClient* client,
                  kcos::COSClass* owner)
        : fName(kcos::hostStrdup(name)), fValue(value), fClient(client), fOwner(owner) {}
    ~ModeValueInfo() override {
        kxReleaseArray(fCached);
        kcos::hostFree(fName);
    }
    const char* getName() const override { return fName; }
    kxArray* getValue() override {
        if (fCached) return fCached;
        kx::ArrayPtr value(kxCreateUnsignedScalar(kxClassID::UInt32, fValue));
        const kxArray* args[] = {value.get()};
        kxArray* made = omConstructObjectWithClient(fOwner->getName().view(), 1, args, fClient);
        ++counters().fModeValuesMade;
        kxReleaseArray(fCached);
        fCached = made;
        return fCached;
    }

  private:
    char* fName;
    std::uint32_t fValue;
    kxArray* fCached = nullptr;
    kcos::COSClient* fClient;
    kcos::COSClass* fOwner;
};

class ModeCtor final : public kcos::COSMethodInfo {
  public:
    explicit ModeCtor(kcos::COSClass* owner) : fOwner(owner) {
        fSignature = kcos::COSMethodSignature::createMethodSignature();
        fSignature->addInputType("uint32");
        fSignature->addOutputType(owner->getName().c_str());
    }
    ~ModeCtor() override { delete fSignature; }
    const char* getName() const override { return "Mode"; }
    const kcos::COSMethodSignature* getMethodSignature() const override { return fSignature; }
    bool isFirstArgDispatch() const override { return false; }
    void invoke(int, kxArray**, int, const kxArray** prhs) override {
        kx::ObjectRef element = kxGetObject(prhs[0], 0);
        kcos::COSClass* uint32Class = kcos::COSClass::getClass(makeInterned("uint32"));
        kcos::COSMethodInfo* method = uint32Class->findMethods(makeInterned("uint32")).front();
        kcos::COSMethodCall call{makeInterned("uint32"), method, prhs + 1, 1};
        fOwner->invokeOnInstance(element, call);
    }

  private:
    kcos::COSClass* fOwner;
    kcos::COSMethodSignature* fSignature = nullptr;
};

class ModeClassInfo final : public kcos::COSClassInfo {
  public:
    const char* getName() const override { return "Mode"; }
    const char* getDescription() const override { return "Modes of a widget"; }
    void defineClass(kcos::COSClass* cls, kcos::COSClient* client) override {
        cls->setUnderlyingClass(makeInterned("uint32"), 0, 0, 1);
        std::uint32_t value = 0;
        for (const char* name : {"alpha", "beta", "gamma"}) {
            cls->addEnumMember(new ModeValueInfo(name, value++, client, cls));
        }
        cls->addMethod(new ModeCtor(cls));
    }
    void* createInstanceData(kcos::COSClass*) override { return nullptr; }
    int getClassKind() const override { return 0; }
    bool isEnumeration() const override { return true; }
    bool isConstructedOnLoad() const override { return false; }
};

kxArray* modeMember(std::uint32_t value) {
    kcos::COSClass* cls = kcos::COSClass::getClass(makeInterned("kcostest.Mode"));
    auto it = cls->getMemberIterator(kcos::MemberKind::EnumMember);
    for (std::uint32_t position = 0; it.hasMoreElements(); ++position) {
        kcos::COSEnumInfo* member = kcos::cosiToEnum(it.nextElement());
        if (position == value) return member->getValue();
    }
    return nullptr;
}

// ---- kcostest.Widget ----------------------------------------------------------------------

class WidgetCtor final : public kcos::COSMethodInfo {
  public:
    explicit WidgetCtor(kcos::COSClass* owner) {
        fSignature = kcos::COSMethodSignature::createMethodSignature();
        fSignature->addOutputType((owner->getName().str() + " scalar").c_str());
    }
    ~WidgetCtor() override { delete fSignature; }
    const char* getName() const override { return "Widget"; }
    kcos::MemberAccess getMemberAccess() const override { return kcos::MemberAccess::Private; }
    const kcos::COSMethodSignature* getMethodSignature() const override { return fSignature; }
    void invoke(int, kxArray**, int, const kxArray**) override {}

  private:
    kcos::COSMethodSignature* fSignature = nullptr;
};

class WidgetInfo final : public kcos::COSClassInfo {
  public:
    const char* getName() const override { return "Widget"; }
    void* createInstanceData(kcos::COSClass*) override {
        ++counters().fWidgetsCreated;
        return new Widget;
    }
    void destroyInstanceData(void* data) override {
        ++counters().fWidgetsDestroyed;
        delete static_cast<Widget*>(data);
    }
    int getClassOption() const override { return 0; }
    int getClassKind() const override { return 1; }
    int getArrayNature() const override { return 1; }

    void defineClass(kcos::COSClass* cls, kcos::COSClient*) override {
        using kcos::MemberAccess;
        auto type = [cls](const char* name, const char* label) {
            const kcos::COSType* t = kcos::COSTypeRepository::findType(label);
            if (!t) cls->throwPropertyAddedWithNonexistingTypeError(name, label);
            return t;
        };
        cls->addProperty("Port", type("Port", "double scalar"), MemberAccess::Public,
                         MemberAccess::Public, 3022, "Port",
                         kcos::PropMethods<Widget, double>{
                             [](Widget* w) { return w->fPort; },
                             [](Widget* w, double v) { w->fPort = v, ++w->fPortSets; }});
        cls->addProperty("Name", type("Name", "string scalar"), MemberAccess::Public,
                         MemberAccess::Public, 3022, "Name",
                         kcos::PropMethods<Widget, kxArray*>{
                             [](Widget* w) { return kxCreateStringScalarFromUtf8(w->fName); },
                             [](Widget* w, const kxArray* v) {
                                 w->fName = kx::utf16ToUtf8(*kxGetStringElement(v, 0));
                             },
                             [](kxArray* a) {
                                 ++counters().fNameReleases;
                                 if (a) kxDestroyArray(a);
                             }});
        cls->addProperty(
            "Mode", type("Mode", "kcostest.Mode"), MemberAccess::Public, MemberAccess::Private,
            3022, "Mode",
            kcos::PropMethods<Widget, kxArray*>{[](Widget* w) { return modeMember(w->fMode); },
                                                [](Widget*, const kxArray*) {},
                                                {}});
        cls->addProperty(
            "Secret", type("Secret", "any"), MemberAccess::Private, MemberAccess::Private, 3022,
            "Secret",
            kcos::PropMethods<Widget, double>{[](Widget*) { return 42.0; },
                                              [](Widget* w, double) { ++w->fSecretSets; }});
        cls->addProperty(
            "Expiry", type("Expiry", "any"), MemberAccess::Public, MemberAccess::Private, 19406,
            "Expiry",
            kcos::PropMethods<Widget, kxArray*>{[](Widget*) { return kxCreateDoubleMatrix(0, 0); },
                                                [](Widget*, const kxArray*) {},
                                                [](kxArray* a) {
                                                    if (a) kxDestroyArray(a);
                                                }});
        cls->addMethod(new WidgetCtor(cls));
        cls->addMethod<Widget>("start", MemberAccess::Public, 0, 0, [](Widget* w) {
            if (w) ++w->fStarts;
        });
        cls->addMethod<Widget>("delete", MemberAccess::Private, 0, 0, [](Widget* w) {
            if (w) ++w->fDeletes;
        });
    }
};

// ---- kcostest.Open ------------------------------------------------------------------------

class OpenInfo final : public kcos::COSClassInfo {
  public:
    const char* getName() const override { return "Open"; }
    int getClassKind() const override { return 1; }
    void defineClass(kcos::COSClass* cls, kcos::COSClient*) override {
        cls->addMethod<void>("delete", kcos::MemberAccess::Public, 0, 0,
                             [](void*) { ++counters().fOpenDeletes; });
    }
};

}  // namespace

Counters& counters() {
    static Counters c;
    return c;
}

void registerTestClasses() {
    static std::once_flag once;
    std::call_once(once, [] {
        kcos::COSNamespace* ns = kcos::COSNamespace::addNamespace(new TestNamespace("kcostest"));
        ns->addClass(new WidgetInfo, 0, 2);
        ns->addClass(new ModeClassInfo, 0, 2);
        ns->addClass(new OpenInfo, 0, 2);
    });
}

Widget* widgetOf(const kxArray* object) {
    return static_cast<Widget*>(
        kcos::instanceDataOf(object, 0, kcos::COSClass::getClass(makeInterned("kcostest.Widget"))));
}

}  // namespace korvan::test
