// Cell and struct arrays (kx/kxArray.hpp): arrays whose elements hold other host arrays.
#include <algorithm>
#include <cctype>
#include <new>
#include <stdexcept>
#include <utility>

#include "ArrayImpl.hpp"
#include "korvan/host/Errors.hpp"

using kx::detail::allocateArray;
using kx::detail::normaliseDims;

namespace {

kxArray& checkedClass(kxArray* array, kxClassID id, const char* what) {
    if (array == nullptr) throw std::invalid_argument(std::string(what) + ": null array");
    if (array->fClassID != id)
        throw std::invalid_argument(std::string(what) + ": not a " +
                                    (id == kxClassID::Cell ? "cell" : "struct") + " array");
    return *array;
}

const kxArray& checkedClass(const kxArray* array, kxClassID id, const char* what) {
    return checkedClass(const_cast<kxArray*>(array), id, what);
}

void checkIndex(const kxArray& array, kxSize index, const char* what) {
    if (index >= array.fNumel)
        throw std::out_of_range(std::string(what) + ": element " + std::to_string(index) + " of " +
                                std::to_string(array.fNumel));
}

void checkField(const kxArray& array, kxSize field, const char* what) {
    if (field >= array.fFieldNames.size())
        throw std::out_of_range(std::string(what) + ": field " + std::to_string(field) + " of " +
                                std::to_string(array.fFieldNames.size()));
}

kx::ArrayPtr& slot(kxArray& array, kxSize index, kxSize field) {
    return array.fElements[index * array.fFieldNames.size() + field];
}

}  // namespace

kxArray* kxCreateCellArray(kxSize ndim, const kxSize* dims) {
    return allocateArray(kxClassID::Cell, kxComplexity::Real, normaliseDims(ndim, dims));
}

kxArray* kxCreateCellMatrix(kxSize m, kxSize n) {
    const kxSize dims[] = {m, n};
    return kxCreateCellArray(2, dims);
}

bool kxIsCell(const kxArray* array) {
    return array != nullptr && array->fClassID == kxClassID::Cell;
}

const kxArray* kxGetCell(const kxArray* array, kxSize index) {
    const kxArray& a = checkedClass(array, kxClassID::Cell, "kxGetCell");
    checkIndex(a, index, "kxGetCell");
    return a.fElements[index].get();
}

void kxSetCell(kxArray* array, kxSize index, kxArray* value) {
    kx::ArrayPtr owned(value);  // released on a throw below
    kxArray& a = checkedClass(array, kxClassID::Cell, "kxSetCell");
    checkIndex(a, index, "kxSetCell");
    a.fElements[index] = std::move(owned);
}

bool kxIsValidFieldName(std::string_view name) {
    if (name.empty() || name.size() > kxMaxFieldName ||
        !std::isalpha(static_cast<unsigned char>(name.front())))
        return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
    });
}

kxArray* kxCreateStructArray(kxSize ndim, const kxSize* dims,
                             const std::vector<std::string>& fieldNames) {
    for (std::size_t i = 0; i < fieldNames.size(); ++i) {
        if (!kxIsValidFieldName(fieldNames[i]))
            throw std::invalid_argument("kxCreateStructArray: \"" + fieldNames[i] +
                                        "\" is not a valid field name");
        if (std::find(fieldNames.begin(), fieldNames.begin() + i, fieldNames[i]) !=
            fieldNames.begin() + i)
            throw std::invalid_argument("kxCreateStructArray: field \"" + fieldNames[i] +
                                        "\" given twice");
    }
    kx::ArrayPtr array(
        allocateArray(kxClassID::Struct, kxComplexity::Real, normaliseDims(ndim, dims)));
    kxArray& a = *array.get();
    try {
        a.fFieldNames = fieldNames;
        a.fElements.resize(a.fNumel * fieldNames.size());
    } catch (const std::bad_alloc&) {
        kxErrOutOfMemory();
    } catch (const std::length_error&) {
        kxErrOutOfMemory();
    }
    return array.release();
}

kxArray* kxCreateStructMatrix(kxSize m, kxSize n, const std::vector<std::string>& fieldNames) {
    const kxSize dims[] = {m, n};
    return kxCreateStructArray(2, dims, fieldNames);
}

bool kxIsStruct(const kxArray* array) {
    return array != nullptr && array->fClassID == kxClassID::Struct;
}

kxSize kxGetNumberOfFields(const kxArray* array) {
    return kxIsStruct(array) ? array->fFieldNames.size() : 0;
}

const std::string& kxGetFieldNameByNumber(const kxArray* array, kxSize field) {
    const kxArray& a = checkedClass(array, kxClassID::Struct, "kxGetFieldNameByNumber");
    checkField(a, field, "kxGetFieldNameByNumber");
    return a.fFieldNames[field];
}

int kxGetFieldNumber(const kxArray* array, std::string_view name) {
    if (!kxIsStruct(array)) return -1;
    const auto& names = array->fFieldNames;
    const auto it = std::find(names.begin(), names.end(), name);
    return it == names.end() ? -1 : static_cast<int>(it - names.begin());
}

int kxAddField(kxArray* array, std::string_view name) {
    kxArray& a = checkedClass(array, kxClassID::Struct, "kxAddField");
    if (int existing = kxGetFieldNumber(array, name); existing >= 0) return existing;
    if (!kxIsValidFieldName(name))
        throw std::invalid_argument("kxAddField: \"" + std::string(name) +
                                    "\" is not a valid field name");
    const kxSize fields = a.fFieldNames.size();
    try {
        // Element-major storage: every element gets its new last slot.
        std::vector<kx::ArrayPtr> grown(a.fNumel * (fields + 1));
        for (kxSize i = 0; i < a.fNumel; ++i)
            for (kxSize f = 0; f < fields; ++f)
                grown[i * (fields + 1) + f] = std::move(a.fElements[i * fields + f]);
        a.fFieldNames.emplace_back(name);
        a.fElements = std::move(grown);
    } catch (const std::bad_alloc&) {
        kxErrOutOfMemory();
    }
    return static_cast<int>(fields);
}

void kxRemoveField(kxArray* array, kxSize field) {
    kxArray& a = checkedClass(array, kxClassID::Struct, "kxRemoveField");
    checkField(a, field, "kxRemoveField");
    const kxSize fields = a.fFieldNames.size();
    std::vector<kx::ArrayPtr> kept;
    kept.reserve(a.fNumel * (fields - 1));
    for (kxSize i = 0; i < a.fNumel; ++i)
        for (kxSize f = 0; f < fields; ++f)
            if (f != field) kept.push_back(std::move(a.fElements[i * fields + f]));
    a.fFieldNames.erase(a.fFieldNames.begin() + static_cast<std::ptrdiff_t>(field));
    a.fElements = std::move(kept);
}

const kxArray* kxGetFieldByNumber(const kxArray* array, kxSize index, kxSize field) {
    const kxArray& a = checkedClass(array, kxClassID::Struct, "kxGetFieldByNumber");
    checkIndex(a, index, "kxGetFieldByNumber");
    checkField(a, field, "kxGetFieldByNumber");
    return slot(const_cast<kxArray&>(a), index, field).get();
}

const kxArray* kxGetField(const kxArray* array, kxSize index, std::string_view name) {
    const int field = kxGetFieldNumber(array, name);
    if (field < 0) return nullptr;
    return kxGetFieldByNumber(array, index, static_cast<kxSize>(field));
}

void kxSetFieldByNumber(kxArray* array, kxSize index, kxSize field, kxArray* value) {
    kx::ArrayPtr owned(value);
    kxArray& a = checkedClass(array, kxClassID::Struct, "kxSetFieldByNumber");
    checkIndex(a, index, "kxSetFieldByNumber");
    checkField(a, field, "kxSetFieldByNumber");
    slot(a, index, field) = std::move(owned);
}

void kxSetField(kxArray* array, kxSize index, std::string_view name, kxArray* value) {
    kx::ArrayPtr owned(value);
    // A refused element leaves the struct as it was: no field is added for it.
    checkIndex(checkedClass(array, kxClassID::Struct, "kxSetField"), index, "kxSetField");
    const int field = kxAddField(array, name);
    kxSetFieldByNumber(array, index, static_cast<kxSize>(field), owned.release());
}
