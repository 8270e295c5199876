#include "kcos/Members.hpp"

#include "ClassErrors.hpp"
#include "kcos/Class.hpp"
#include "kcos/EnumInfo.hpp"
#include "kcos/MethodInfo.hpp"

namespace kcos {

COSMember::~COSMember() = default;

COSProperty::COSProperty(InternedString name, COSClass* owner, const COSType* type,
                         MemberAccess getAccess, MemberAccess setAccess, std::uint32_t attributes,
                         std::string description, PropertyBinding binding)
    : COSMember(MemberKind::Property, name, owner),
      fType(type),
      fGetAccess(getAccess),
      fSetAccess(setAccess),
      fAttributes(attributes),
      fDescription(std::move(description)),
      fBinding(std::move(binding)) {}

kxArray* COSProperty::readValue(void* data) const {
    const char* className = getOwner()->getName().c_str();
    if (fBinding.kind == PropertyBinding::ValueKind::NativeDouble) {
        if (!fBinding.getDouble)
            internal::throwClassError("PropertyNotGettable", getName().str(), className);
        return kxCreateDoubleScalar(fBinding.getDouble(data));
    }
    if (!fBinding.getArray)
        internal::throwClassError("PropertyNotGettable", getName().str(), className);
    kxArray* raw = fBinding.getArray(data);
    if (!raw) return kxCreateDoubleMatrix(0, 0);
    // Take our own copy first, then give the getter's array to its release operation (if
    // any): a shared value (an enumeration member) has none and is only copied.
    kxArray* copy = nullptr;
    try {
        copy = kxDuplicateArray(raw);
    } catch (...) {
        if (fBinding.release) fBinding.release(raw);
        throw;
    }
    if (fBinding.release) fBinding.release(raw);
    return copy;
}

void COSProperty::writeValue(void* data, const kxArray* value) const {
    const char* className = getOwner()->getName().c_str();
    if (fBinding.kind == PropertyBinding::ValueKind::NativeDouble) {
        if (!fBinding.setDouble)
            internal::throwClassError("PropertyNotSettable", getName().str(), className);
        if (!kxIsRealScalar(value)) {
            internal::throwClassError("InvalidPropertyValue", getName().str(),
                                      fType ? fType->getLabel() : std::string("double scalar"));
        }
        fBinding.setDouble(data, kxGetScalar(value));
        return;
    }
    if (!fBinding.setArray)
        internal::throwClassError("PropertyNotSettable", getName().str(), className);
    fBinding.setArray(data, value);
}

COSMethod::COSMethod(COSMethodInfo* info, COSClass* owner)
    : COSMember(MemberKind::Method, internal::makeInterned(info->getName()), owner), fInfo(info) {}

COSMethod::~COSMethod() {
    delete fInfo;
}

COSEnumMember::COSEnumMember(COSEnumInfo* info, COSClass* owner)
    : COSMember(MemberKind::EnumMember, internal::makeInterned(info->getName()), owner),
      fInfo(info) {}

COSEnumMember::~COSEnumMember() {
    delete fInfo;
}

COSEnumInfo* cosiToEnum(const COSMember* element) noexcept {
    if (!element || element->getKind() != MemberKind::EnumMember) return nullptr;
    return static_cast<const COSEnumMember*>(element)->getInfo();
}

COSMethodInfo* cosiToMethod(const COSMember* element) noexcept {
    if (!element || element->getKind() != MemberKind::Method) return nullptr;
    return static_cast<const COSMethod*>(element)->getInfo();
}

const COSProperty* cosiToProperty(const COSMember* element) noexcept {
    if (!element || element->getKind() != MemberKind::Property) return nullptr;
    return static_cast<const COSProperty*>(element);
}

}  // namespace kcos
