// Quillon::String text helpers (quillon/String.hpp).
#include "quillon/String.hpp"

#include "korvan/host/Errors.hpp"
#include "kx/kxUtf.hpp"

namespace Quillon::String {

bool isString(const kxArray* array) {
    return kxIsStringArray(array);
}

bool isStringScalar(const kxArray* array) {
    return isString(array) && kxGetNumberOfElements(array) == 1 &&
           kxGetStringElement(array, 0).has_value();
}

bool isTextCharArray(const kxArray* array, CharTolerance tolerance) {
    if (!kxIsChar(array)) {
        return false;
    }
    switch (tolerance) {
        case CharTolerance::AnyShape:
            return true;
        case CharTolerance::RowVector: {
            const bool twoDims = kxGetNumberOfDimensions(array) == 2;
            const bool row = twoDims && kxGetM(array) == 1;
            const bool empty0x0 = twoDims && kxGetM(array) == 0 && kxGetN(array) == 0;
            return row || empty0x0;
        }
        case CharTolerance::StringOnly:
            return false;
    }
    return false;
}

bool isNonMissingScalarText(const kxArray* array, CharTolerance tolerance) {
    return isStringScalar(array) || isTextCharArray(array, tolerance);
}

std::u16string getScalarText(const kxArray* array) {
    if (kxIsChar(array)) {
        return kxGetCharText(array);
    }
    if (isString(array) && kxGetNumberOfElements(array) == 1) {
        const auto& element = kxGetStringElement(array, 0);
        if (!element) {
            korvan::host::throwError("KORVAN:string", "MissingNotSupported");
        }
        return *element;
    }
    korvan::host::throwError("KORVAN:string", "MustBeStringScalarOrCharacterVector");
}

std::string getScalarTextUtf8(const kxArray* array) {
    return kx::utf16ToUtf8(getScalarText(array));
}

}  // namespace Quillon::String
