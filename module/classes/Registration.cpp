// The namespace korvan.engine.rest, the registration of the module's three classes in it,
// and the look-up of enumeration members by position.
#include "classes/Registration.hpp"

#include "classes/Enumerations.hpp"
#include "classes/RestFcnConnectorInfo.hpp"
#include "kcos/Allocator.hpp"
#include "kcos/Class.hpp"
#include "kcos/EnumInfo.hpp"
#include "kcos/Members.hpp"
#include "kcos/Namespace.hpp"
#include "kcos/NamespaceInfo.hpp"

namespace rest::kv::connector {

namespace {

// Arguments of the namespace's add-class operation: an existing class of the same name is an
// error (0), and the host defines the class when it is first used (2), so that the connector
// class may name the enumerations as property types before they are defined.
constexpr int kReplaceExisting = 0;
constexpr int kDefinitionTime = 2;

/// A namespace the module creates. It holds only what registration adds: no lazy loading.
/// Owned by the host once added; used on the thread that looks names up.
class RestNamespace final : public kcos::COSNamespaceInfo {
  public:
    explicit RestNamespace(const char* shortName) : fName(kcos::hostStrdup(shortName)) {}
    ~RestNamespace() override { kcos::hostFree(fName); }

    const char* getName() const override { return fName; }
    void notifyContentsChanged(kcos::InternedString) override {}

  private:
    char* fName = nullptr;  // host block
};

kcos::COSNamespace* findOrCreateNamespace(const char* name) {
    const kcos::InternedString fullName = kcos::internal::makeInterned(name);
    if (kcos::COSNamespace* existing = kcos::COSNamespace::getNamespace(fullName)) {
        return existing;
    }
    kcos::COSNamespace::addNamespace(new RestNamespace(name));
    return kcos::COSNamespace::getNamespace(fullName);
}

kcos::COSNamespace* findOrCreateInnerNamespace(kcos::COSNamespace* parent, const char* name) {
    if (!parent) return nullptr;
    const kcos::InternedString fullName =
        kcos::internal::makeInterned(parent->getName().str() + "." + name);
    if (kcos::COSNamespace* existing = kcos::COSNamespace::getNamespace(fullName)) {
        return existing;
    }
    parent->addInnerNamespace(new RestNamespace(name));
    return kcos::COSNamespace::getNamespace(fullName);
}

}  // namespace

void registerClasses() {
    kcos::COSNamespace* top = findOrCreateNamespace("korvan");
    kcos::COSNamespace* engine = findOrCreateInnerNamespace(top, "engine");
    kcos::COSNamespace* rest = findOrCreateInnerNamespace(engine, "rest");
    rest->addClass(new RestFcnConnectorInfo, kReplaceExisting, kDefinitionTime);
    rest->addClass(new StatusEnumClassInfo, kReplaceExisting, kDefinitionTime);
    rest->addClass(new AccessModeEnumClassInfo, kReplaceExisting, kDefinitionTime);
}

kxArray* enumMemberForValue(std::uint32_t value, const std::string& className) {
    kcos::COSClass* cls = kcos::COSClass::getClass(kcos::internal::makeInterned(className));
    if (!cls) return nullptr;
    // By position: every enumeration of the module has the values 0, 1, ... in order.
    kcos::COSIterator members = cls->getMemberIterator(kcos::MemberKind::EnumMember);
    std::uint32_t position = 0;
    while (members.hasMoreElements()) {
        kcos::COSEnumInfo* member = kcos::cosiToEnum(members.nextElement());
        if (!member) continue;
        if (position == value) return member->getValue();
        ++position;
    }
    return nullptr;
}

}  // namespace rest::kv::connector
