// Base behaviour of method, enumeration-member and namespace descriptions.
#include "ClassErrors.hpp"
#include "kcos/Allocator.hpp"
#include "kcos/EnumInfo.hpp"
#include "kcos/MethodInfo.hpp"
#include "kcos/NamespaceInfo.hpp"

namespace kcos {

// ---- COSMethodInfo ---------------------------------------------------------------------

void* COSMethodInfo::operator new(std::size_t size) {
    return hostAlloc(size);
}
void COSMethodInfo::operator delete(void* block) noexcept {
    hostFree(block);
}

COSMethodInfo::~COSMethodInfo() = default;
const char* COSMethodInfo::getDescription() const {
    return "";
}
bool COSMethodInfo::isLookupScope() const {
    return false;
}
const char* COSMethodInfo::getDetailedDescription() const {
    return "";
}
MemberAccess COSMethodInfo::getMemberAccess() const {
    return MemberAccess::Public;
}
int COSMethodInfo::getExtendedAccess() const {
    return 0;
}
const COSMethodSignature* COSMethodInfo::getMethodSignature() const {
    return nullptr;
}
bool COSMethodInfo::isFirstArgDispatch() const {
    return true;
}
bool COSMethodInfo::isStatic() const {
    return false;
}
bool COSMethodInfo::isAbstract() const {
    return false;
}
bool COSMethodInfo::isSealed() const {
    return false;
}
bool COSMethodInfo::isVisible() const {
    return true;
}
bool COSMethodInfo::isDestructible() const {
    return true;
}
bool COSMethodInfo::isLocked() const {
    return false;
}
bool COSMethodInfo::isExplicit() const {
    return false;
}
bool COSMethodInfo::doesMethodOverrideAllSignatures() const {
    return false;
}

// ---- COSEnumInfo -----------------------------------------------------------------------

void* COSEnumInfo::operator new(std::size_t size) {
    return hostAlloc(size);
}
void COSEnumInfo::operator delete(void* block) noexcept {
    hostFree(block);
}

COSEnumInfo::~COSEnumInfo() = default;
const char* COSEnumInfo::getDescription() const {
    return "";
}
const char* COSEnumInfo::getDetailedDescription() const {
    return "";
}
bool COSEnumInfo::isDestructible() const {
    return true;
}
bool COSEnumInfo::isHidden() const {
    return false;
}

// ---- COSNamespaceInfo ------------------------------------------------------------------

void* COSNamespaceInfo::operator new(std::size_t size) {
    return hostAlloc(size);
}
void COSNamespaceInfo::operator delete(void* block) noexcept {
    hostFree(block);
}

COSNamespaceInfo::~COSNamespaceInfo() = default;
const char* COSNamespaceInfo::getDescription() const {
    return "";
}
const char* COSNamespaceInfo::getDetailedDescription() const {
    return "";
}
COSNamespaceInfo* COSNamespaceInfo::attemptToLoadInnerNamespace(InternedString) {
    return nullptr;
}
void COSNamespaceInfo::throwErrorForDefinitionOfExistingName(InternedString name) {
    internal::throwClassError("NameExists", name.str(), getName());
}
COSClassInfo* COSNamespaceInfo::attemptToLoadClass(InternedString) {
    return nullptr;
}
bool COSNamespaceInfo::attemptToLoadFunction(InternedString) {
    return false;
}
bool COSNamespaceInfo::attemptToLoadType(InternedString) {
    return false;
}
int COSNamespaceInfo::getMethodSelector() const {
    return 0;
}
bool COSNamespaceInfo::isDestructible() const {
    return true;
}
bool COSNamespaceInfo::isLocked() const {
    return false;
}
bool COSNamespaceInfo::canLoadDynamicContent() const {
    return false;
}

}  // namespace kcos
