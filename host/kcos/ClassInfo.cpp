// Base behaviour of class descriptions.
#include "kcos/ClassInfo.hpp"

#include "kcos/Allocator.hpp"

namespace kcos {

void* COSClassInfo::operator new(std::size_t size) {
    return hostAlloc(size);
}
void COSClassInfo::operator delete(void* block) noexcept {
    hostFree(block);
}

COSClassInfo::~COSClassInfo() = default;
const char* COSClassInfo::getDescription() const {
    return "";
}
const char* COSClassInfo::getDetailedDescription() const {
    return "";
}
MemberAccess COSClassInfo::getAccess() const {
    return MemberAccess::Public;
}
void COSClassInfo::defineClass(COSClass*, COSClient*) {}
void* COSClassInfo::createInstanceData(COSClass*) {
    return nullptr;
}
void COSClassInfo::destroyInstanceData(void*) {}
void COSClassInfo::updateInstance(void*) {}
int COSClassInfo::getClassOption() const {
    return 0;
}
bool COSClassInfo::isHidden() const {
    return false;
}
bool COSClassInfo::isCompatibleInexactProperties() const {
    return false;
}
bool COSClassInfo::isFullNameDisplayed() const {
    return true;
}
bool COSClassInfo::isPropertyNameReservedByThisClass(const char*) const {
    return false;
}
bool COSClassInfo::canOtherClassContainThisClass(const COSClass*) const {
    return true;
}
bool COSClassInfo::canThisClassContainOtherClass(const COSClass*) const {
    return true;
}
int COSClassInfo::getClassKind() const {
    return 0;
}
bool COSClassInfo::isHandleCompatible() const {
    return false;
}
bool COSClassInfo::isEnumeration() const {
    return false;
}
MemberAccess COSClassInfo::getConnectAccess() const {
    return MemberAccess::Public;
}
int COSClassInfo::getConnectivity() const {
    return 0;
}
bool COSClassInfo::areChildrenSaved() const {
    return false;
}
bool COSClassInfo::isAbstract() const {
    return false;
}
bool COSClassInfo::useClassDefaultsOnLoad() const {
    return false;
}
bool COSClassInfo::isSealed() const {
    return false;
}
bool COSClassInfo::isPropertyTruncationAllowed() const {
    return false;
}
bool COSClassInfo::isConstructedOnLoad() const {
    return true;
}
bool COSClassInfo::arePropertiesCaseInsensitive() const {
    return false;
}
bool COSClassInfo::isInstanceLeaf() const {
    return true;
}
bool COSClassInfo::isDestructible() const {
    return true;
}
bool COSClassInfo::isLocked() const {
    return false;
}
void COSClassInfo::instanceLoaded(void*) {}
bool COSClassInfo::customSave(void*, kxArray**) {
    return false;
}
bool COSClassInfo::customLoad(void*, const kxArray*) {
    return false;
}
const char* COSClassInfo::getModule() const {
    return nullptr;
}
bool COSClassInfo::areClassFunctionsAllowed() const {
    return true;
}
bool COSClassInfo::areExtensionMethodsAllowed() const {
    return false;
}
bool COSClassInfo::usesRootRecords() const {
    return false;
}
bool COSClassInfo::doEventsHaveSeparateNamespace() const {
    return false;
}
bool COSClassInfo::doesInexactPropertyNameIssueWarning() const {
    return true;
}
bool COSClassInfo::usesCustomChildrenList() const {
    return false;
}
int COSClassInfo::getArrayNature() const {
    return 0;
}
std::vector<void*> COSClassInfo::getChildrenOfInstance(void*) const {
    return {};
}
bool COSClassInfo::classIsAbstract() const {
    return isAbstract();
}
bool COSClassInfo::allowInstanceUpdates() const {
    return false;
}
bool COSClassInfo::isIDConsistent() const {
    return true;
}
void* COSClassInfo::copyData(void* data) {
    return data;
}
bool COSClassInfo::willAllocateData() const {
    return true;
}

}  // namespace kcos
