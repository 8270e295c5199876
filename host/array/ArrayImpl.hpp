// The inside of a host array (private to host/array).
//
// One struct for every class: numeric, logical and char elements live in one zero-filled
// byte block (complex elements interleaved real, imaginary), string elements in fStrings,
// object elements in fObjects, cell and struct elements in fElements (a struct's element i,
// field f at i * fFieldNames.size() + f). The class, complexity and storage kind never change after
// creation; only kxSetDimensions changes the shape (same element count).
//
// fRefCount is atomic; everything else is unsynchronised (see kx/kxArray.hpp).
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kx/kxArray.hpp"

struct kxArray {
    std::atomic<std::size_t> fRefCount{1};
    kxClassID fClassID = kxClassID::Double;
    kxComplexity fComplexity = kxComplexity::Real;
    std::vector<kxSize> fDims;  // at least two, no trailing singletons past the second
    kxSize fNumel = 0;
    std::size_t fElementSize = 0;        // bytes per element in fData (0: not stored there)
    std::unique_ptr<std::byte[]> fData;  // numeric, logical, char
    std::vector<std::optional<std::u16string>> fStrings;  // string
    std::vector<kx::ObjectRef> fObjects;                  // object
    std::string fObjectClass;                             // object
    std::vector<kx::ArrayPtr> fElements;                  // cell, struct (null: never set)
    std::vector<std::string> fFieldNames;                 // struct
};

namespace kx::detail {

/// Normalised dimensions (ndim 0 gives 0-by-0, ndim 1 gives n-by-1, trailing singletons
/// dropped); throws std::invalid_argument for dims == nullptr with ndim > 0.
std::vector<kxSize> normaliseDims(kxSize ndim, const kxSize* dims);
/// The product of the dimensions; an overflow is an out-of-memory error.
kxSize elementCount(const std::vector<kxSize>& dims);
/// Bytes of one real element of a class stored in the byte block (0 for string, object).
std::size_t realElementSize(kxClassID classID);
/// Allocates an array of the given class and shape, elements zero / "" / empty handles.
/// Throws the host's out-of-memory error when an allocation fails.
kxArray* allocateArray(kxClassID classID, kxComplexity complexity, std::vector<kxSize> dims);
/// Throws std::invalid_argument naming `what` when the array is null.
const kxArray& requireArray(const kxArray* array, const char* what);

}  // namespace kx::detail
