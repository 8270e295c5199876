// Quillon::String: the host's text helpers over host arrays.
//
// Host text comes in two forms: character arrays (UTF-16 code units) and string arrays
// (each element a UTF-16 text or the missing value). These helpers answer "is this one piece
// of text?" and extract it. They never take ownership of the array; any thread may call them
// on an array that nobody modifies meanwhile.
#pragma once

#include <string>

#include "korvan/host/Export.hpp"
#include "kx/kxArray.hpp"

namespace Quillon::String {

/// Which character arrays count as one text. The numeric values are the shape flag of the
/// host's text-argument checks.
enum class CharTolerance : int {
    AnyShape = 0,    // every character array (its characters, column-major)
    RowVector = 1,   // a 1-by-N character row vector or the 0-by-0 character array
    StringOnly = 2,  // no character array: only string arrays count
};

/// A host string array (any shape, any element count, missing elements included).
KORVAN_HOST_EXPORT bool isString(const kxArray* array);

/// A 1-by-1 string array whose element is not missing.
KORVAN_HOST_EXPORT bool isStringScalar(const kxArray* array);

/// Whether the array is one non-missing text: a string scalar that is not missing, or a
/// character array accepted by `tolerance`. False for null.
KORVAN_HOST_EXPORT bool isNonMissingScalarText(const kxArray* array,
                                               CharTolerance tolerance = CharTolerance::RowVector);

/// Whether a character array has the shape `tolerance` accepts.
bool isTextCharArray(const kxArray* array, CharTolerance tolerance);

/// The text of a non-missing string scalar or of a character array (any shape, column-major),
/// as UTF-16. Throws a host error otherwise: "KORVAN:string:MissingNotSupported" for a
/// missing string scalar, "KORVAN:string:MustBeStringScalarOrCharacterVector" for anything
/// else (null, other classes, string arrays of other than one element).
KORVAN_HOST_EXPORT std::u16string getScalarText(const kxArray* array);

/// getScalarText as UTF-8.
KORVAN_HOST_EXPORT std::string getScalarTextUtf8(const kxArray* array);

}  // namespace Quillon::String
