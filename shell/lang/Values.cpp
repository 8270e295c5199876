// Helpers over host arrays (see Values.hpp).
#include "Values.hpp"

#include <cmath>
#include <cstring>
#include <limits>

#include "kx/kxUtf.hpp"
#include "quillon/String.hpp"

namespace korvan::lang {

Value makeDouble(double v) {
    return Value(kxCreateDoubleScalar(v));
}
Value makeBool(bool v) {
    return Value(kxCreateLogicalScalar(v));
}
Value makeChar(std::string_view s) {
    return Value(kxCreateCharFromUtf8(s));
}
Value makeString(std::string_view s) {
    return Value(kxCreateStringScalarFromUtf8(s));
}
Value share(const kxArray* a) {
    return Value(kxShareArray(const_cast<kxArray*>(a)));
}

std::string utf8(std::u16string_view t) {
    return kx::utf16ToUtf8(t);
}
std::u16string utf16(std::string_view t) {
    return kx::utf8ToUtf16(t);
}
std::string textOf(const kxArray* a) {
    return Quillon::String::getScalarTextUtf8(a);
}

bool isArithmetic(const kxArray* a) {
    return kxIsNumeric(a) || kxIsLogical(a) || kxIsChar(a);
}

bool isTrue(const kxArray* a) {
    if (!isArithmetic(a)) langError("NotLogicalCondition", kxGetClassName(a));
    kxSize n = kxGetNumberOfElements(a);
    if (n == 0) return false;
    for (kxSize i = 0; i < n; ++i)
        if (complexAt(a, i) == std::complex<double>(0, 0)) return false;
    return true;
}

Value makeLike(const kxArray* a, kxSize m, kxSize n) {
    kxClassID cls = kxGetClassID(a);
    switch (cls) {
        case kxClassID::Logical:
            return Value(kxCreateLogicalMatrix(m, n));
        case kxClassID::Char: {
            kxSize dims[2] = {m, n};
            return Value(kxCreateCharArray(2, dims));
        }
        case kxClassID::String:
            return Value(kxCreateStringMatrix(m, n));
        case kxClassID::Object:
            return Value(kxCreateObjectMatrix(m, n, kxGetClassName(a)));
        case kxClassID::Cell:
            return Value(kxCreateCellMatrix(m, n));
        case kxClassID::Struct: {
            std::vector<std::string> names;
            for (kxSize f = 0; f < kxGetNumberOfFields(a); ++f)
                names.push_back(kxGetFieldNameByNumber(a, f));
            return Value(kxCreateStructMatrix(m, n, names));
        }
        default:
            return Value(kxCreateNumericMatrix(
                m, n, cls, kxIsComplex(a) ? kxComplexity::Complex : kxComplexity::Real));
    }
}

void copyElement(kxArray* dst, kxSize di, const kxArray* src, kxSize si) {
    switch (kxGetClassID(src)) {
        case kxClassID::String:
            kxSetStringElement(dst, di, kxGetStringElement(src, si));
            return;
        case kxClassID::Object:
            kxSetObject(dst, di, kxGetObject(src, si));
            return;
        case kxClassID::Cell:
            kxSetCell(dst, di, kxShareArray(const_cast<kxArray*>(kxGetCell(src, si))));
            return;
        case kxClassID::Struct:
            // By name: the two structs hold the same fields, perhaps in another order.
            for (kxSize f = 0; f < kxGetNumberOfFields(src); ++f)
                kxSetField(dst, di, kxGetFieldNameByNumber(src, f),
                           kxShareArray(const_cast<kxArray*>(kxGetFieldByNumber(src, si, f))));
            return;
        default: {
            std::size_t size = kxGetElementSize(src);
            std::memcpy(static_cast<char*>(kxGetData(dst)) + di * size,
                        static_cast<const char*>(kxGetData(src)) + si * size, size);
        }
    }
}

std::complex<double> complexAt(const kxArray* a, kxSize i) {
    if (kxIsComplex(a)) {
        if (kxIsDouble(a)) return kxGetComplexDoubles(a)[i];
        return {kxGetElementAsDouble(a, i), 0};  // other complex classes: real part only
    }
    return {kxGetElementAsDouble(a, i), 0};
}

double realAt(const kxArray* a, kxSize i) {
    return kxGetElementAsDouble(a, i);
}

namespace {

template <class T>
T saturate(double v) {
    if (std::isnan(v)) return 0;
    v = std::round(v);
    if (v <= static_cast<double>(std::numeric_limits<T>::lowest()))
        return std::numeric_limits<T>::lowest();
    if (v >= static_cast<double>(std::numeric_limits<T>::max()))
        return std::numeric_limits<T>::max();
    return static_cast<T>(v);
}

template <class T>
void fillInts(kxArray* out, const kxArray* a) {
    T* data = static_cast<T*>(kxGetData(out));
    for (kxSize i = 0, n = kxGetNumberOfElements(a); i < n; ++i)
        data[i] = saturate<T>(realAt(a, i));
}

}  // namespace

Value convertTo(const kxArray* a, kxClassID cls) {
    if (kxGetClassID(a) == cls) return share(a);
    kxSize m = kxGetM(a), n = kxGetN(a), count = kxGetNumberOfElements(a);
    if (cls == kxClassID::String) {
        Value out(kxCreateStringMatrix(m, n));
        if (kxIsChar(a)) {  // a char row is one text
            out = Value(kxCreateStringScalar(kxGetCharText(a)));
            return out;
        }
        if (!isArithmetic(a)) langError("CannotConvert", kxGetClassName(a), "string");
        for (kxSize i = 0; i < count; ++i) {
            char buf[64];
            std::snprintf(buf, sizeof buf, "%.15g", realAt(a, i));
            kxSetStringElement(out.get(), i, utf16(buf));
        }
        return out;
    }
    if (!isArithmetic(a)) {
        std::string target = cls == kxClassID::Char      ? "char"
                             : cls == kxClassID::Logical ? "logical"
                                                         : "numeric";
        langError("CannotConvert", kxGetClassName(a), target);
    }
    if (cls == kxClassID::Double && kxIsComplex(a)) return share(a);
    Value out;
    switch (cls) {
        case kxClassID::Logical: {
            out = Value(kxCreateLogicalMatrix(m, n));
            for (kxSize i = 0; i < count; ++i) {
                double v = realAt(a, i);
                if (std::isnan(v)) langError("CannotConvert", "NaN", "logical");
                kxGetLogicals(out.get())[i] = v != 0;
            }
            return out;
        }
        case kxClassID::Char: {
            kxSize dims[2] = {m, n};
            out = Value(kxCreateCharArray(2, dims));
            for (kxSize i = 0; i < count; ++i)
                kxGetChars(out.get())[i] = saturate<char16_t>(realAt(a, i));
            return out;
        }
        default:
            out = Value(kxCreateNumericMatrix(m, n, cls));
    }
    kxArray* o = out.get();
    switch (cls) {
        case kxClassID::Double:
            for (kxSize i = 0; i < count; ++i) kxGetDoubles(o)[i] = realAt(a, i);
            break;
        case kxClassID::Single:
            for (kxSize i = 0; i < count; ++i)
                kxGetSingles(o)[i] = static_cast<float>(realAt(a, i));
            break;
        case kxClassID::Int8:
            fillInts<std::int8_t>(o, a);
            break;
        case kxClassID::UInt8:
            fillInts<std::uint8_t>(o, a);
            break;
        case kxClassID::Int16:
            fillInts<std::int16_t>(o, a);
            break;
        case kxClassID::UInt16:
            fillInts<std::uint16_t>(o, a);
            break;
        case kxClassID::Int32:
            fillInts<std::int32_t>(o, a);
            break;
        case kxClassID::UInt32:
            fillInts<std::uint32_t>(o, a);
            break;
        case kxClassID::Int64:
            fillInts<std::int64_t>(o, a);
            break;
        case kxClassID::UInt64:
            fillInts<std::uint64_t>(o, a);
            break;
        default:
            break;
    }
    return out;
}

}  // namespace korvan::lang
