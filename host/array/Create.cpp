// Creation, duplication and ownership of host arrays (kx/kxArray.hpp).
#include <algorithm>
#include <cstring>
#include <iostream>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "ArrayImpl.hpp"
#include "korvan/host/Errors.hpp"
#include "kx/kxUtf.hpp"

namespace kx::detail {

std::vector<kxSize> normaliseDims(kxSize ndim, const kxSize* dims) {
    if (ndim > 0 && dims == nullptr) {
        throw std::invalid_argument("kxArray: dimensions missing");
    }
    std::vector<kxSize> out(dims, dims + ndim);
    if (out.empty()) {
        out = {0, 0};
    } else if (out.size() == 1) {
        out.push_back(1);
    }
    while (out.size() > 2 && out.back() == 1) {
        out.pop_back();
    }
    return out;
}

kxSize elementCount(const std::vector<kxSize>& dims) {
    kxSize count = 1;
    for (kxSize d : dims) {
        if (d != 0 && count > std::numeric_limits<kxSize>::max() / d) {
            kxErrOutOfMemory();
        }
        count *= d;
    }
    return count;
}

std::size_t realElementSize(kxClassID classID) {
    switch (classID) {
        case kxClassID::Double:
        case kxClassID::Int64:
        case kxClassID::UInt64:
            return 8;
        case kxClassID::Single:
        case kxClassID::Int32:
        case kxClassID::UInt32:
            return 4;
        case kxClassID::Char:
        case kxClassID::Int16:
        case kxClassID::UInt16:
            return 2;
        case kxClassID::Logical:
        case kxClassID::Int8:
        case kxClassID::UInt8:
            return 1;
        case kxClassID::String:
        case kxClassID::Object:
        case kxClassID::Cell:
        case kxClassID::Struct:
            return 0;
    }
    return 0;
}

kxArray* allocateArray(kxClassID classID, kxComplexity complexity, std::vector<kxSize> dims) {
    const bool complexAllowed = classID != kxClassID::Logical && classID != kxClassID::Char &&
                                classID != kxClassID::String && classID != kxClassID::Object &&
                                classID != kxClassID::Cell && classID != kxClassID::Struct;
    if (complexity == kxComplexity::Complex && !complexAllowed) {
        throw std::invalid_argument("kxArray: class " + std::to_string(static_cast<int>(classID)) +
                                    " cannot be complex");
    }
    const kxSize count = elementCount(dims);
    try {
        auto array = std::make_unique<kxArray>();
        array->fClassID = classID;
        array->fComplexity = complexity;
        array->fDims = std::move(dims);
        array->fNumel = count;
        if (classID == kxClassID::String) {
            array->fStrings.assign(count, std::u16string());
        } else if (classID == kxClassID::Object) {
            array->fObjects.resize(count);
        } else if (classID == kxClassID::Cell || classID == kxClassID::Struct) {
            array->fElements.resize(count);  // a struct's fields multiply this when added
        } else {
            array->fElementSize =
                realElementSize(classID) * (complexity == kxComplexity::Complex ? 2 : 1);
            if (count > std::numeric_limits<std::size_t>::max() / array->fElementSize) {
                kxErrOutOfMemory();
            }
            array->fData.reset(new std::byte[count * array->fElementSize]());
        }
        return array.release();
    } catch (const std::bad_alloc&) {
        kxErrOutOfMemory();
    } catch (const std::length_error&) {
        kxErrOutOfMemory();
    }
}

const kxArray& requireArray(const kxArray* array, const char* what) {
    if (array == nullptr) {
        throw std::invalid_argument(std::string(what) + ": null array");
    }
    return *array;
}

}  // namespace kx::detail

using kx::detail::allocateArray;
using kx::detail::normaliseDims;

namespace {

bool isIntegerClassID(kxClassID classID) {
    return classID >= kxClassID::Int8 && classID <= kxClassID::UInt64;
}

// Stores a value of an integer class, clamped to the class's range.
template <class T, class V>
void storeSaturated(kxArray* array, V value) {
    T stored;
    if (std::cmp_less(value, std::numeric_limits<T>::min())) {
        stored = std::numeric_limits<T>::min();
    } else if (std::cmp_greater(value, std::numeric_limits<T>::max())) {
        stored = std::numeric_limits<T>::max();
    } else {
        stored = static_cast<T>(value);
    }
    std::memcpy(array->fData.get(), &stored, sizeof stored);
}

template <class V>
kxArray* createIntegerScalar(kxClassID classID, V value) {
    if (!isIntegerClassID(classID)) {
        throw std::invalid_argument("kxCreateIntegerScalar: not an integer class");
    }
    kxArray* array = allocateArray(classID, kxComplexity::Real, {1, 1});
    switch (classID) {
        case kxClassID::Int8:
            storeSaturated<std::int8_t>(array, value);
            break;
        case kxClassID::UInt8:
            storeSaturated<std::uint8_t>(array, value);
            break;
        case kxClassID::Int16:
            storeSaturated<std::int16_t>(array, value);
            break;
        case kxClassID::UInt16:
            storeSaturated<std::uint16_t>(array, value);
            break;
        case kxClassID::Int32:
            storeSaturated<std::int32_t>(array, value);
            break;
        case kxClassID::UInt32:
            storeSaturated<std::uint32_t>(array, value);
            break;
        case kxClassID::Int64:
            storeSaturated<std::int64_t>(array, value);
            break;
        default:
            storeSaturated<std::uint64_t>(array, value);
            break;
    }
    return array;
}

}  // namespace

kxArray* kxCreateNumericArray(kxSize ndim, const kxSize* dims, kxClassID classID,
                              kxComplexity complexity) {
    if (classID == kxClassID::String || classID == kxClassID::Object ||
        classID == kxClassID::Cell || classID == kxClassID::Struct) {
        throw std::invalid_argument(
            "kxCreateNumericArray: string, object, cell and struct arrays need their own"
            " creation functions");
    }
    return allocateArray(classID, complexity, normaliseDims(ndim, dims));
}

kxArray* kxCreateNumericMatrix(kxSize m, kxSize n, kxClassID classID, kxComplexity complexity) {
    const kxSize dims[] = {m, n};
    return kxCreateNumericArray(2, dims, classID, complexity);
}

kxArray* kxCreateDoubleMatrix(kxSize m, kxSize n, kxComplexity complexity) {
    return kxCreateNumericMatrix(m, n, kxClassID::Double, complexity);
}

kxArray* kxCreateDoubleScalar(double value) {
    kxArray* array = kxCreateDoubleMatrix(1, 1);
    kxGetDoubles(array)[0] = value;
    return array;
}

kxArray* kxCreateComplexScalar(double re, double im) {
    kxArray* array = kxCreateDoubleMatrix(1, 1, kxComplexity::Complex);
    kxGetComplexDoubles(array)[0] = {re, im};
    return array;
}

kxArray* kxCreateLogicalMatrix(kxSize m, kxSize n) {
    return kxCreateNumericMatrix(m, n, kxClassID::Logical);
}

kxArray* kxCreateLogicalScalar(bool value) {
    kxArray* array = kxCreateLogicalMatrix(1, 1);
    kxGetLogicals(array)[0] = value;
    return array;
}

kxArray* kxCreateIntegerScalar(kxClassID classID, std::int64_t value) {
    return createIntegerScalar(classID, value);
}

kxArray* kxCreateUnsignedScalar(kxClassID classID, std::uint64_t value) {
    return createIntegerScalar(classID, value);
}

kxArray* kxCreateCharArray(kxSize ndim, const kxSize* dims) {
    return kxCreateNumericArray(ndim, dims, kxClassID::Char);
}

kxArray* kxCreateCharFromUtf16(std::u16string_view text) {
    kxArray* array = text.empty() ? kxCreateNumericMatrix(0, 0, kxClassID::Char)
                                  : kxCreateNumericMatrix(1, text.size(), kxClassID::Char);
    std::copy(text.begin(), text.end(), kxGetChars(array));
    return array;
}

kxArray* kxCreateCharFromUtf8(std::string_view text) {
    return kxCreateCharFromUtf16(kx::utf8ToUtf16(text));
}

kxArray* kxCreateStringArray(kxSize ndim, const kxSize* dims) {
    return allocateArray(kxClassID::String, kxComplexity::Real, normaliseDims(ndim, dims));
}

kxArray* kxCreateStringMatrix(kxSize m, kxSize n) {
    const kxSize dims[] = {m, n};
    return kxCreateStringArray(2, dims);
}

namespace {

kxArray* stringScalarOf(std::u16string text) {
    kxArray* array = kxCreateStringMatrix(1, 1);
    array->fStrings[0] = std::move(text);
    return array;
}

}  // namespace

kxArray* kxCreateStringScalar(std::u16string_view text) {
    return stringScalarOf(std::u16string(text));
}

kxArray* kxCreateStringScalarFromUtf8(std::string_view text) {
    return stringScalarOf(kx::utf8ToUtf16(text));  // the converted text is moved, not copied
}

kxArray* kxCreateMissingString() {
    kxArray* array = kxCreateStringMatrix(1, 1);
    array->fStrings[0].reset();
    return array;
}

kxArray* kxCreateObjectMatrix(kxSize m, kxSize n, const std::string& className) {
    if (className.empty()) {
        throw std::invalid_argument("kxCreateObjectMatrix: empty class name");
    }
    kxArray* array = allocateArray(kxClassID::Object, kxComplexity::Real, {m, n});
    try {
        array->fObjectClass = className;
    } catch (const std::bad_alloc&) {
        delete array;
        kxErrOutOfMemory();
    }
    return array;
}

kxArray* kxCreateObjectScalar(kx::ObjectRef object) {
    if (!object) {
        throw std::invalid_argument("kxCreateObjectScalar: empty object handle");
    }
    kxArray* array = kxCreateObjectMatrix(1, 1, object->className());
    array->fObjects[0] = std::move(object);
    return array;
}

kxArray* kxDuplicateArray(const kxArray* array) {
    if (array == nullptr) {
        return nullptr;
    }
    kxArray* copy = allocateArray(array->fClassID, array->fComplexity, array->fDims);
    try {
        if (array->fData) {
            std::memcpy(copy->fData.get(), array->fData.get(), array->fNumel * array->fElementSize);
        }
        copy->fStrings = array->fStrings;
        copy->fObjects = array->fObjects;
        copy->fObjectClass = array->fObjectClass;
        copy->fElements = array->fElements;
        copy->fFieldNames = array->fFieldNames;
    } catch (const std::bad_alloc&) {
        delete copy;
        kxErrOutOfMemory();
    }
    return copy;
}

kxArray* kxShareArray(kxArray* array) {
    if (array != nullptr) {
        array->fRefCount.fetch_add(1, std::memory_order_relaxed);
    }
    return array;
}

bool kxReleaseArray(kxArray* array) {
    if (array == nullptr) {
        return false;
    }
    if (array->fRefCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete array;
        return true;
    }
    return false;
}

void kxDestroyArray(kxArray* array) {
    if (array == nullptr) {
        return;
    }
    const std::size_t owners = array->fRefCount.load(std::memory_order_acquire);
    if (owners > 1) {
        std::cerr << "korvan: kxDestroyArray on a " << kxGetClassName(array) << " array with "
                  << owners << " owners; only the caller's reference was dropped\n";
    }
    kxReleaseArray(array);
}

std::size_t kxGetReferenceCount(const kxArray* array) {
    return array ? array->fRefCount.load(std::memory_order_acquire) : 0;
}
