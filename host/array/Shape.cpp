// Shape and class queries of host arrays (kx/kxArray.hpp).
#include <cstring>
#include <stdexcept>

#include "ArrayImpl.hpp"

using kx::detail::requireArray;

kxClassID kxGetClassID(const kxArray* array) {
    return requireArray(array, "kxGetClassID").fClassID;
}

std::string kxGetClassName(const kxArray* array) {
    if (array == nullptr) {
        return {};
    }
    switch (array->fClassID) {
        case kxClassID::Double:
            return "double";
        case kxClassID::Single:
            return "single";
        case kxClassID::Logical:
            return "logical";
        case kxClassID::Char:
            return "char";
        case kxClassID::String:
            return "string";
        case kxClassID::Int8:
            return "int8";
        case kxClassID::UInt8:
            return "uint8";
        case kxClassID::Int16:
            return "int16";
        case kxClassID::UInt16:
            return "uint16";
        case kxClassID::Int32:
            return "int32";
        case kxClassID::UInt32:
            return "uint32";
        case kxClassID::Int64:
            return "int64";
        case kxClassID::UInt64:
            return "uint64";
        case kxClassID::Object:
            return array->fObjectClass;
        case kxClassID::Cell:
            return "cell";
        case kxClassID::Struct:
            return "struct";
    }
    return {};
}

bool kxIsClass(const kxArray* array, const char* className) {
    return array != nullptr && className != nullptr && kxGetClassName(array) == className;
}

kxSize kxGetNumberOfDimensions(const kxArray* array) {
    return array ? array->fDims.size() : 0;
}

const kxSize* kxGetDimensions(const kxArray* array) {
    return array ? array->fDims.data() : nullptr;
}

kxSize kxGetM(const kxArray* array) {
    return array ? array->fDims[0] : 0;
}

kxSize kxGetN(const kxArray* array) {
    return array ? array->fDims[1] : 0;
}

kxSize kxGetNumberOfElements(const kxArray* array) {
    return array ? array->fNumel : 0;
}

void kxSetDimensions(kxArray* array, kxSize ndim, const kxSize* dims) {
    requireArray(array, "kxSetDimensions");
    std::vector<kxSize> normalised = kx::detail::normaliseDims(ndim, dims);
    if (kx::detail::elementCount(normalised) != array->fNumel) {
        throw std::invalid_argument("kxSetDimensions: the new shape has another element count");
    }
    array->fDims = std::move(normalised);
}

bool kxIsEmpty(const kxArray* array) {
    return array != nullptr && array->fNumel == 0;
}

bool kxIsScalar(const kxArray* array) {
    return array != nullptr && array->fNumel == 1;
}

bool kxIsDouble(const kxArray* array) {
    return array != nullptr && array->fClassID == kxClassID::Double;
}

bool kxIsSingle(const kxArray* array) {
    return array != nullptr && array->fClassID == kxClassID::Single;
}

bool kxIsLogical(const kxArray* array) {
    return array != nullptr && array->fClassID == kxClassID::Logical;
}

bool kxIsChar(const kxArray* array) {
    return array != nullptr && array->fClassID == kxClassID::Char;
}

bool kxIsStringArray(const kxArray* array) {
    return array != nullptr && array->fClassID == kxClassID::String;
}

bool kxIsObject(const kxArray* array) {
    return array != nullptr && array->fClassID == kxClassID::Object;
}

bool kxIsIntegerClass(const kxArray* array) {
    return array != nullptr && array->fClassID >= kxClassID::Int8 &&
           array->fClassID <= kxClassID::UInt64;
}

bool kxIsNumeric(const kxArray* array) {
    return kxIsDouble(array) || kxIsSingle(array) || kxIsIntegerClass(array);
}

bool kxIsComplex(const kxArray* array) {
    return array != nullptr && array->fComplexity == kxComplexity::Complex;
}

bool kxIsRealScalar(const kxArray* array) {
    return (kxIsNumeric(array) || kxIsLogical(array)) && !kxIsComplex(array) && kxIsScalar(array);
}

bool kxIsRealDoubleScalar(const kxArray* array) {
    return kxIsDouble(array) && !kxIsComplex(array) && kxIsScalar(array);
}

bool kxIsLogicalScalar(const kxArray* array) {
    return kxIsLogical(array) && kxIsScalar(array);
}

bool kxIsLogicalScalarTrue(const kxArray* array) {
    if (!kxIsLogicalScalar(array)) {
        return false;
    }
    bool value = false;
    std::memcpy(&value, array->fData.get(), sizeof value);
    return value;
}
