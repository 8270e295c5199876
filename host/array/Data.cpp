// Element access of host arrays (kx/kxArray.hpp).
#include <cstring>
#include <stdexcept>

#include "ArrayImpl.hpp"
#include "kx/kxUtf.hpp"

namespace {

// The array when it has the class (and, for numeric data, the complexity) asked for.
kxArray* checked(const kxArray* array, kxClassID classID, kxComplexity complexity,
                 const char* what) {
    const kxArray& a = kx::detail::requireArray(array, what);
    if (a.fClassID != classID || a.fComplexity != complexity) {
        throw std::invalid_argument(
            std::string(what) + ": wrong class for a " + kxGetClassName(array) +
            (a.fComplexity == kxComplexity::Complex ? " complex" : "") + " array");
    }
    return const_cast<kxArray*>(array);
}

void checkIndex(const kxArray* array, kxSize index, const char* what) {
    if (index >= array->fNumel) {
        throw std::out_of_range(std::string(what) + ": index " + std::to_string(index) +
                                " past the last of " + std::to_string(array->fNumel) + " elements");
    }
}

template <class T>
double readAs(const std::byte* data, kxSize index, kxSize stride) {
    T value;
    std::memcpy(&value, data + index * stride, sizeof value);
    return static_cast<double>(value);
}

}  // namespace

double* kxGetDoubles(kxArray* array) {
    return reinterpret_cast<double*>(
        checked(array, kxClassID::Double, kxComplexity::Real, "kxGetDoubles")->fData.get());
}

const double* kxGetDoubles(const kxArray* array) {
    return kxGetDoubles(const_cast<kxArray*>(array));
}

std::complex<double>* kxGetComplexDoubles(kxArray* array) {
    return reinterpret_cast<std::complex<double>*>(
        checked(array, kxClassID::Double, kxComplexity::Complex, "kxGetComplexDoubles")
            ->fData.get());
}

const std::complex<double>* kxGetComplexDoubles(const kxArray* array) {
    return kxGetComplexDoubles(const_cast<kxArray*>(array));
}

float* kxGetSingles(kxArray* array) {
    return reinterpret_cast<float*>(
        checked(array, kxClassID::Single, kxComplexity::Real, "kxGetSingles")->fData.get());
}

bool* kxGetLogicals(kxArray* array) {
    return reinterpret_cast<bool*>(
        checked(array, kxClassID::Logical, kxComplexity::Real, "kxGetLogicals")->fData.get());
}

const bool* kxGetLogicals(const kxArray* array) {
    return kxGetLogicals(const_cast<kxArray*>(array));
}

char16_t* kxGetChars(kxArray* array) {
    return reinterpret_cast<char16_t*>(
        checked(array, kxClassID::Char, kxComplexity::Real, "kxGetChars")->fData.get());
}

const char16_t* kxGetChars(const kxArray* array) {
    return kxGetChars(const_cast<kxArray*>(array));
}

void* kxGetData(kxArray* array) {
    const kxArray& a = kx::detail::requireArray(array, "kxGetData");
    if (!a.fData) {
        throw std::invalid_argument("kxGetData: a " + kxGetClassName(array) +
                                    " array has no raw element storage");
    }
    return array->fData.get();
}

const void* kxGetData(const kxArray* array) {
    return kxGetData(const_cast<kxArray*>(array));
}

std::size_t kxGetElementSize(const kxArray* array) {
    return array ? array->fElementSize : 0;
}

double kxGetScalar(const kxArray* array) {
    const kxArray& a = kx::detail::requireArray(array, "kxGetScalar");
    if (a.fNumel == 0 || !a.fData) {
        throw std::invalid_argument("kxGetScalar: no numeric first element in a " +
                                    kxGetClassName(array) + " array");
    }
    return kxGetElementAsDouble(array, 0);
}

double kxGetElementAsDouble(const kxArray* array, kxSize index) {
    const kxArray& a = kx::detail::requireArray(array, "kxGetElementAsDouble");
    if (!a.fData) {
        throw std::invalid_argument("kxGetElementAsDouble: a " + kxGetClassName(array) +
                                    " array has no numeric elements");
    }
    checkIndex(array, index, "kxGetElementAsDouble");
    const std::byte* data = a.fData.get();
    const kxSize stride = a.fElementSize;  // complex: the real part comes first
    switch (a.fClassID) {
        case kxClassID::Double:
            return readAs<double>(data, index, stride);
        case kxClassID::Single:
            return readAs<float>(data, index, stride);
        case kxClassID::Logical:
            return readAs<bool>(data, index, stride);
        case kxClassID::Char:
            return readAs<char16_t>(data, index, stride);
        case kxClassID::Int8:
            return readAs<std::int8_t>(data, index, stride);
        case kxClassID::UInt8:
            return readAs<std::uint8_t>(data, index, stride);
        case kxClassID::Int16:
            return readAs<std::int16_t>(data, index, stride);
        case kxClassID::UInt16:
            return readAs<std::uint16_t>(data, index, stride);
        case kxClassID::Int32:
            return readAs<std::int32_t>(data, index, stride);
        case kxClassID::UInt32:
            return readAs<std::uint32_t>(data, index, stride);
        case kxClassID::Int64:
            return readAs<std::int64_t>(data, index, stride);
        case kxClassID::UInt64:
            return readAs<std::uint64_t>(data, index, stride);
        case kxClassID::String:
        case kxClassID::Object:
        case kxClassID::Cell:
        case kxClassID::Struct:
            break;
    }
    throw std::invalid_argument("kxGetElementAsDouble: not a numeric array");
}

std::u16string kxGetCharText(const kxArray* array) {
    const char16_t* chars = kxGetChars(array);
    return std::u16string(chars, chars + array->fNumel);
}

std::string kxGetCharTextUtf8(const kxArray* array) {
    return kx::utf16ToUtf8(kxGetCharText(array));
}

const std::optional<std::u16string>& kxGetStringElement(const kxArray* array, kxSize index) {
    checked(array, kxClassID::String, kxComplexity::Real, "kxGetStringElement");
    checkIndex(array, index, "kxGetStringElement");
    return array->fStrings[index];
}

void kxSetStringElement(kxArray* array, kxSize index, std::optional<std::u16string> value) {
    checked(array, kxClassID::String, kxComplexity::Real, "kxSetStringElement");
    checkIndex(array, index, "kxSetStringElement");
    array->fStrings[index] = std::move(value);
}

kx::ObjectRef kxGetObject(const kxArray* array, kxSize index) {
    checked(array, kxClassID::Object, kxComplexity::Real, "kxGetObject");
    checkIndex(array, index, "kxGetObject");
    return array->fObjects[index];
}

void kxSetObject(kxArray* array, kxSize index, kx::ObjectRef object) {
    checked(array, kxClassID::Object, kxComplexity::Real, "kxSetObject");
    checkIndex(array, index, "kxSetObject");
    if (object && object->className() != array->fObjectClass) {
        throw std::invalid_argument("kxSetObject: a " + object->className() +
                                    " object cannot go into a " + array->fObjectClass + " array");
    }
    array->fObjects[index] = std::move(object);
}
