#include "ClassErrors.hpp"
#include "kcos/Allocator.hpp"
#include "kcos/MethodInfo.hpp"

namespace kcos {

void* COSMethodSignature::operator new(std::size_t size) {
    return hostAlloc(size);
}
void COSMethodSignature::operator delete(void* block) noexcept {
    hostFree(block);
}

COSMethodSignature* COSMethodSignature::createMethodSignature() {
    return new COSMethodSignature;
}

COSMethodSignature::~COSMethodSignature() = default;

namespace {
const COSType* requireType(const char* label) {
    const COSType* type = COSTypeRepository::findType(label ? label : "");
    if (!type) internal::throwClassError("UnknownType", label);
    return type;
}
}  // namespace

void COSMethodSignature::addInputType(const char* typeLabel) {
    fInputs.push_back(requireType(typeLabel));
}

void COSMethodSignature::addOutputType(const char* typeLabel) {
    fOutputs.push_back(requireType(typeLabel));
}

}  // namespace kcos
