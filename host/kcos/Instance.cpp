#include "kcos/Instance.hpp"

#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"

namespace kcos {

COSInstance::~COSInstance() {
    if (!fHasData) return;
    try {
        fClass->getInfo()->destroyInstanceData(fData);
    } catch (...) {
        // A destructor cannot report; the description broke its contract and the data is
        // given up.
    }
}

const std::string& COSInstance::className() const {
    return fClass->getName().str();
}

void* COSInstance::getInstanceData(const COSClass* cls) const noexcept {
    return (cls == fClass && !fDeleted.load()) ? fData : nullptr;
}

void markInstanceDeleted(COSInstance& instance) {
    if (instance.fDeleted.exchange(true)) return;
    if (!instance.fHasData) return;
    void* data = instance.fData;
    instance.fHasData = false;
    instance.fData = nullptr;
    instance.fClass->getInfo()->destroyInstanceData(data);
}

std::shared_ptr<COSInstance> instanceOf(const kxArray* object, kxSize index) {
    if (!object || !kxIsObject(object) || index >= kxGetNumberOfElements(object)) return nullptr;
    return std::dynamic_pointer_cast<COSInstance>(kxGetObject(object, index));
}

void* instanceDataOf(const kxArray* object, kxSize index, const COSClass* cls) {
    auto instance = instanceOf(object, index);
    return instance ? instance->getInstanceData(cls) : nullptr;
}

}  // namespace kcos
