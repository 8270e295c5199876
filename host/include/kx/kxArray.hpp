// Host arrays: every value of the host language (numbers, logicals, text, strings, objects,
// cells and structs) is a kxArray, an N-dimensional column-major array of one class.
//
// Ownership: every function that returns `kxArray*` from `kxCreate...` or `kxDuplicateArray`
// hands the caller one reference. The caller gives it back exactly once, with
// `kxReleaseArray` (drop one reference; the array is destroyed with the last one) or, when it
// is the sole owner, `kxDestroyArray`. `kxShareArray` adds a reference for a second owner.
// Accessors never transfer ownership. All functions accept a null array where that makes
// sense (release/destroy of null do nothing; queries on null answer false/0).
//
// Threads: an array may be shared between threads (reference counting is atomic), but its
// contents are not synchronised: only one thread may modify an array, and not while others
// read it. In practice arrays live on the interpreter thread.
//
// Errors: misuse of a typed accessor (kxGetDoubles on a char array, an index out of range)
// throws std::invalid_argument / std::out_of_range; allocation failure throws the host's
// out-of-memory error.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "korvan/host/Export.hpp"

struct kxArray;

using kxSize = std::size_t;

/// The class of a host array. Object arrays hold handles on native objects (kx::Object),
/// whose class name (e.g. "datetime", "korvan.engine.rest.Status") is the array's class.
enum class kxClassID : int {
    Double,
    Single,
    Logical,
    Char,
    String,
    Int8,
    UInt8,
    Int16,
    UInt16,
    Int32,
    UInt32,
    Int64,
    UInt64,
    Object,
    Cell,    // each element holds any host array
    Struct,  // each element holds one host array per field; all elements share the fields
};

enum class kxComplexity { Real, Complex };

namespace kx {

/// Base of every native object that an element of a host object array refers to. The class
/// system (kcos) derives its instances from it. Elements are shared handles: copying an
/// object array copies handles, never the objects.
class KORVAN_HOST_EXPORT Object {
  public:
    virtual ~Object();
    /// Full class name as user code sees it, e.g. "korvan.engine.rest.RESTFunctionConnector".
    virtual const std::string& className() const = 0;
};

using ObjectRef = std::shared_ptr<Object>;

}  // namespace kx

// ---- creation: the caller owns one reference to the result -------------------------------

KORVAN_HOST_EXPORT kxArray* kxCreateNumericArray(kxSize ndim, const kxSize* dims, kxClassID classID,
                                                 kxComplexity complexity = kxComplexity::Real);
KORVAN_HOST_EXPORT kxArray* kxCreateNumericMatrix(kxSize m, kxSize n, kxClassID classID,
                                                  kxComplexity complexity = kxComplexity::Real);
/// m-by-n double array, zero-filled. kxCreateDoubleMatrix(0, 0) is the empty array [].
KORVAN_HOST_EXPORT kxArray* kxCreateDoubleMatrix(kxSize m, kxSize n,
                                                 kxComplexity complexity = kxComplexity::Real);
KORVAN_HOST_EXPORT kxArray* kxCreateDoubleScalar(double value);
KORVAN_HOST_EXPORT kxArray* kxCreateComplexScalar(double re, double im);
KORVAN_HOST_EXPORT kxArray* kxCreateLogicalMatrix(kxSize m, kxSize n);
KORVAN_HOST_EXPORT kxArray* kxCreateLogicalScalar(bool value);
/// Integer scalars of the eight integer classes (value converted with saturation).
KORVAN_HOST_EXPORT kxArray* kxCreateIntegerScalar(kxClassID classID, std::int64_t value);
KORVAN_HOST_EXPORT kxArray* kxCreateUnsignedScalar(kxClassID classID, std::uint64_t value);

/// Character arrays hold UTF-16 code units.
KORVAN_HOST_EXPORT kxArray* kxCreateCharArray(kxSize ndim, const kxSize* dims);
/// 1-by-N character row vector; the empty text gives a 0-by-0 character array.
KORVAN_HOST_EXPORT kxArray* kxCreateCharFromUtf16(std::u16string_view text);
KORVAN_HOST_EXPORT kxArray* kxCreateCharFromUtf8(std::string_view text);

/// String arrays: each element is a text (UTF-16) or the missing value. New elements are "".
KORVAN_HOST_EXPORT kxArray* kxCreateStringArray(kxSize ndim, const kxSize* dims);
KORVAN_HOST_EXPORT kxArray* kxCreateStringMatrix(kxSize m, kxSize n);
KORVAN_HOST_EXPORT kxArray* kxCreateStringScalar(std::u16string_view text);
KORVAN_HOST_EXPORT kxArray* kxCreateStringScalarFromUtf8(std::string_view text);
KORVAN_HOST_EXPORT kxArray* kxCreateMissingString();

/// Object arrays of one class; new elements are empty handles until set.
KORVAN_HOST_EXPORT kxArray* kxCreateObjectMatrix(kxSize m, kxSize n, const std::string& className);
/// 1-by-1 object array holding `object` (of the object's class).
KORVAN_HOST_EXPORT kxArray* kxCreateObjectScalar(kx::ObjectRef object);

/// Deep copy of the array's data (object elements are copied as handles).
KORVAN_HOST_EXPORT kxArray* kxDuplicateArray(const kxArray* array);

// ---- ownership -----------------------------------------------------------------------------

/// Adds one reference and returns the same array.
KORVAN_HOST_EXPORT kxArray* kxShareArray(kxArray* array);
/// Drops one reference; destroys the array when it was the last. Returns true if destroyed.
KORVAN_HOST_EXPORT bool kxReleaseArray(kxArray* array);
/// Ends the life of an array the caller owns alone. Destroying an array that still has other
/// owners is a programming error: it only drops the caller's reference and reports it on
/// stderr, so that a shared value (an enumeration member) is never freed under its owners.
KORVAN_HOST_EXPORT void kxDestroyArray(kxArray* array);
KORVAN_HOST_EXPORT std::size_t kxGetReferenceCount(const kxArray* array);

// ---- shape and class -----------------------------------------------------------------------

KORVAN_HOST_EXPORT kxClassID kxGetClassID(const kxArray* array);
/// "double", "single", "logical", "char", "string", "int8" ... "uint64", or an object's class.
KORVAN_HOST_EXPORT std::string kxGetClassName(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsClass(const kxArray* array, const char* className);

KORVAN_HOST_EXPORT kxSize kxGetNumberOfDimensions(const kxArray* array);
/// Dimensions: at least two; trailing singleton dimensions beyond the second are dropped.
KORVAN_HOST_EXPORT const kxSize* kxGetDimensions(const kxArray* array);
KORVAN_HOST_EXPORT kxSize kxGetM(const kxArray* array);
KORVAN_HOST_EXPORT kxSize kxGetN(const kxArray* array);
KORVAN_HOST_EXPORT kxSize kxGetNumberOfElements(const kxArray* array);
/// Changes the shape; the element count must stay the same.
KORVAN_HOST_EXPORT void kxSetDimensions(kxArray* array, kxSize ndim, const kxSize* dims);

KORVAN_HOST_EXPORT bool kxIsEmpty(const kxArray* array);
bool kxIsScalar(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsDouble(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsSingle(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsLogical(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsChar(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsStringArray(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsObject(const kxArray* array);
/// double, single and the integer classes.
KORVAN_HOST_EXPORT bool kxIsNumeric(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsIntegerClass(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsComplex(const kxArray* array);
/// A 1-by-1 numeric or logical array without imaginary part.
KORVAN_HOST_EXPORT bool kxIsRealScalar(const kxArray* array);
/// A 1-by-1 real double.
KORVAN_HOST_EXPORT bool kxIsRealDoubleScalar(const kxArray* array);
KORVAN_HOST_EXPORT bool kxIsLogicalScalar(const kxArray* array);
/// A 1-by-1 logical array whose value is true (nothing else counts, not even the number 1).
KORVAN_HOST_EXPORT bool kxIsLogicalScalarTrue(const kxArray* array);

// ---- data ----------------------------------------------------------------------------------

/// Typed element storage, column-major. Each throws std::invalid_argument for another class
/// (or, for the real/complex pair, the other complexity).
KORVAN_HOST_EXPORT double* kxGetDoubles(kxArray* array);
KORVAN_HOST_EXPORT const double* kxGetDoubles(const kxArray* array);
KORVAN_HOST_EXPORT std::complex<double>* kxGetComplexDoubles(kxArray* array);
KORVAN_HOST_EXPORT const std::complex<double>* kxGetComplexDoubles(const kxArray* array);
KORVAN_HOST_EXPORT float* kxGetSingles(kxArray* array);
KORVAN_HOST_EXPORT bool* kxGetLogicals(kxArray* array);
KORVAN_HOST_EXPORT const bool* kxGetLogicals(const kxArray* array);
KORVAN_HOST_EXPORT char16_t* kxGetChars(kxArray* array);
KORVAN_HOST_EXPORT const char16_t* kxGetChars(const kxArray* array);
/// Raw element storage of numeric, logical and char arrays (element size by class).
KORVAN_HOST_EXPORT void* kxGetData(kxArray* array);
KORVAN_HOST_EXPORT const void* kxGetData(const kxArray* array);
KORVAN_HOST_EXPORT std::size_t kxGetElementSize(const kxArray* array);

/// First element's real part as a double, for any numeric, logical or char array.
/// Throws std::invalid_argument for empty, string and object arrays.
KORVAN_HOST_EXPORT double kxGetScalar(const kxArray* array);
/// Element i (column-major) of a numeric, logical or char array as a double.
KORVAN_HOST_EXPORT double kxGetElementAsDouble(const kxArray* array, kxSize index);

/// Characters of a char array as UTF-16 / UTF-8 text (all elements, column-major).
KORVAN_HOST_EXPORT std::u16string kxGetCharText(const kxArray* array);
KORVAN_HOST_EXPORT std::string kxGetCharTextUtf8(const kxArray* array);

/// String elements: the text, or nullopt for the missing value.
KORVAN_HOST_EXPORT const std::optional<std::u16string>& kxGetStringElement(const kxArray* array,
                                                                           kxSize index);
KORVAN_HOST_EXPORT void kxSetStringElement(kxArray* array, kxSize index,
                                           std::optional<std::u16string> value);

/// Object elements (shared handles; an empty handle for an unset element).
KORVAN_HOST_EXPORT kx::ObjectRef kxGetObject(const kxArray* array, kxSize index);
KORVAN_HOST_EXPORT void kxSetObject(kxArray* array, kxSize index, kx::ObjectRef object);

// ---- cell and struct arrays ---------------------------------------------------------------
/// A cell element holds any host array, or nothing (an element never set), which reads as
/// the empty array []. A struct array has named fields; every element holds one value per
/// field (nothing until set). Elements are shared handles: kxDuplicateArray copies the
/// handles, not the arrays they hold, so an element is changed only by setting a new array
/// into it, never by writing into the one it holds.
kxArray* kxCreateCellArray(kxSize ndim, const kxSize* dims);
KORVAN_HOST_EXPORT kxArray* kxCreateCellMatrix(kxSize m, kxSize n);
KORVAN_HOST_EXPORT bool kxIsCell(const kxArray* array);
/// Element `index` of a cell array, or null for an element never set.
KORVAN_HOST_EXPORT const kxArray* kxGetCell(const kxArray* array, kxSize index);
/// Sets element `index`, taking over the caller's reference to `value` (null empties it).
KORVAN_HOST_EXPORT void kxSetCell(kxArray* array, kxSize index, kxArray* value);

/// Field names: a letter, then letters, digits and underscores; at most kxMaxFieldName bytes.
inline constexpr std::size_t kxMaxFieldName = 63;
KORVAN_HOST_EXPORT bool kxIsValidFieldName(std::string_view name);
/// Throws std::invalid_argument for a field name that is not valid or given twice.
kxArray* kxCreateStructArray(kxSize ndim, const kxSize* dims,
                             const std::vector<std::string>& fieldNames);
KORVAN_HOST_EXPORT kxArray* kxCreateStructMatrix(kxSize m, kxSize n,
                                                 const std::vector<std::string>& fieldNames);
KORVAN_HOST_EXPORT bool kxIsStruct(const kxArray* array);
KORVAN_HOST_EXPORT kxSize kxGetNumberOfFields(const kxArray* array);
KORVAN_HOST_EXPORT const std::string& kxGetFieldNameByNumber(const kxArray* array, kxSize field);
/// The field's number, or -1 when the struct has no field of that name.
KORVAN_HOST_EXPORT int kxGetFieldNumber(const kxArray* array, std::string_view name);
/// Adds a field, empty in every element, at the end; returns its number (the number of the
/// field already there when the name exists).
KORVAN_HOST_EXPORT int kxAddField(kxArray* array, std::string_view name);
KORVAN_HOST_EXPORT void kxRemoveField(kxArray* array, kxSize field);
/// The value of a field in element `index`, or null when it was never set.
KORVAN_HOST_EXPORT const kxArray* kxGetFieldByNumber(const kxArray* array, kxSize index,
                                                     kxSize field);
/// Null also when the struct has no field of that name.
KORVAN_HOST_EXPORT const kxArray* kxGetField(const kxArray* array, kxSize index,
                                             std::string_view name);
/// Sets a field of element `index`, taking over the caller's reference to `value`.
KORVAN_HOST_EXPORT void kxSetFieldByNumber(kxArray* array, kxSize index, kxSize field,
                                           kxArray* value);
/// As kxSetFieldByNumber; adds the field first when the struct does not have it.
KORVAN_HOST_EXPORT void kxSetField(kxArray* array, kxSize index, std::string_view name,
                                   kxArray* value);

// ---- RAII helper ---------------------------------------------------------------------------

namespace kx {

/// Owns one reference to an array; releases it on destruction. For host code and tests that
/// juggle several temporaries on error paths.
class ArrayPtr {
  public:
    ArrayPtr() = default;
    explicit ArrayPtr(kxArray* owned) noexcept : fArray(owned) {}
    ArrayPtr(const ArrayPtr& other) noexcept
        : fArray(other.fArray ? kxShareArray(other.fArray) : nullptr) {}
    ArrayPtr(ArrayPtr&& other) noexcept : fArray(other.release()) {}
    ArrayPtr& operator=(ArrayPtr other) noexcept {
        std::swap(fArray, other.fArray);
        return *this;
    }
    ~ArrayPtr() { kxReleaseArray(fArray); }

    kxArray* get() const noexcept { return fArray; }
    kxArray* release() noexcept {
        kxArray* a = fArray;
        fArray = nullptr;
        return a;
    }
    explicit operator bool() const noexcept { return fArray != nullptr; }

  private:
    kxArray* fArray = nullptr;
};

}  // namespace kx
