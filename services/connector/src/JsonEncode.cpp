// Host values to JSON (see JsonValues.hpp and the table in docs/services/connector-service.md).
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

#include "JsonForms.hpp"
#include "foundation/json/Serializer.hpp"
#include "korvan/services/connector/JsonValues.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::services::connector {
namespace {

using detail::ArrayForm;
using foundation::json::Array;
using foundation::json::Object;
using foundation::json::Value;

Value envelope(std::string_view type, Value data) {
    Object object;
    object.emplace(detail::kTypeKey, Value(type));
    object.emplace(detail::kDataKey, std::move(data));
    return Value(std::move(object));
}

Value sizeValue(kxSize m, kxSize n) {
    return Value(Array{Value(static_cast<std::uint64_t>(m)), Value(static_cast<std::uint64_t>(n))});
}

// Scalar as the leaf, a row as a list, a matrix as a list of rows.
template <class Leaf>
Value shaped(kxSize m, kxSize n, Leaf&& leaf) {
    if (m == 1 && n == 1) return leaf(0);
    auto row = [&](kxSize i) {
        Array out;
        out.reserve(n);
        for (kxSize j = 0; j < n; ++j) out.push_back(leaf(i + j * m));
        return Value(std::move(out));
    };
    if (m == 1) return row(0);
    Array rows;
    rows.reserve(m);
    for (kxSize i = 0; i < m; ++i) rows.push_back(row(i));
    return Value(std::move(rows));
}

// A double as a number, or as "NaN" / "Infinity" / "-Infinity" inside a "double" envelope.
Value doubleLeaf(double d) {
    if (std::isfinite(d)) return Value(d);
    return Value(std::isnan(d) ? "NaN" : (d > 0 ? "Infinity" : "-Infinity"));
}

Value doublesToJson(const kxArray* array, kxSize m, kxSize n) {
    const kxSize count = m * n;
    if (kxIsComplex(array)) {
        if (!kxIsDouble(array) && !kxIsSingle(array))
            throw ValueMappingError("complex integers have no JSON form");
        auto part = [&](bool imaginary) {
            return shaped(m, n, [&](kxSize k) {
                const std::size_t at = 2 * k + (imaginary ? 1 : 0);
                return doubleLeaf(kxIsSingle(array)
                                      ? static_cast<const float*>(kxGetData(array))[at]
                                      : static_cast<const double*>(kxGetData(array))[at]);
            });
        };
        Object data;
        data.emplace("real", part(false));
        data.emplace("imag", part(true));
        return envelope("double", Value(std::move(data)));
    }
    if (kxIsDouble(array)) {
        const double* data = kxGetDoubles(array);
        bool finite = true;
        for (kxSize k = 0; k < count && finite; ++k) finite = std::isfinite(data[k]);
        if (finite) return shaped(m, n, [data](kxSize k) { return Value(data[k]); });
        return envelope("double", shaped(m, n, [data](kxSize k) { return doubleLeaf(data[k]); }));
    }
    bool finite = true;
    for (kxSize k = 0; k < count && finite; ++k)
        finite = std::isfinite(kxGetElementAsDouble(array, k));
    Value data =
        shaped(m, n, [array](kxSize k) { return doubleLeaf(kxGetElementAsDouble(array, k)); });
    return finite ? data : envelope("double", std::move(data));
}

template <class T>
Value integerData(const kxArray* array, kxSize m, kxSize n) {
    const T* data = static_cast<const T*>(kxGetData(array));
    return shaped(m, n, [data](kxSize k) { return Value(data[k]); });
}

Value integersToJson(const kxArray* array, const detail::IntegerType& type, kxSize m, kxSize n) {
    Value data = detail::withIntegerType(
        type.fClass, [&](auto t) { return integerData<decltype(t)>(array, m, n); });
    return envelope(type.fName, std::move(data));
}

// A char array as plain text: a row as one string, a matrix as a list of its rows.
Value charsToJson(const kxArray* array, kxSize m, kxSize n) {
    const char16_t* chars = kxGetChars(array);
    auto rowText = [&](kxSize i) {
        std::u16string row;
        for (kxSize j = 0; j < n; ++j) row.push_back(chars[i + j * m]);
        return Value(kx::utf16ToUtf8(row));
    };
    if (m <= 1 || n == 0) return Value(m == 1 ? rowText(0) : Value(""));
    Array rows;
    for (kxSize i = 0; i < m; ++i) rows.push_back(rowText(i));
    return Value(std::move(rows));
}

Value elementToJson(const kxArray* element) {
    if (element == nullptr) return Value(Array{});  // never set: []
    return jsonFromArray(element);
}

// A plain list when it reads back as a cell; else the envelope, whose data is row-major.
Value cellToJson(const kxArray* array, kxSize m, kxSize n) {
    Array items;
    items.reserve(m * n);
    for (kxSize i = 0; i < m; ++i)
        for (kxSize j = 0; j < n; ++j) items.push_back(elementToJson(kxGetCell(array, i + j * m)));
    if (m == 1 && n > 0 && detail::classifyArray(items).fForm == ArrayForm::Form::Cell)
        return Value(std::move(items));
    Value out = envelope("cell", Value(std::move(items)));
    if (m != 1) out.set(std::string(detail::kSizeKey), sizeValue(m, n));
    return out;
}

Value structElement(const kxArray* array, kxSize k) {
    Object object;
    for (kxSize f = 0; f < kxGetNumberOfFields(array); ++f)
        object.emplace(kxGetFieldNameByNumber(array, f),
                       elementToJson(kxGetFieldByNumber(array, k, f)));
    return Value(std::move(object));
}

// An object for one element, a list of objects for a row; else (or when a field is named
// "zxtype", which would read as an envelope) the envelope, whose data is row-major.
Value structToJson(const kxArray* array, kxSize m, kxSize n) {
    const bool plain = kxGetFieldNumber(array, detail::kTypeKey) < 0;
    if (plain && m == 1 && n == 1) return structElement(array, 0);
    Array items;
    items.reserve(m * n);
    for (kxSize i = 0; i < m; ++i)
        for (kxSize j = 0; j < n; ++j) items.push_back(structElement(array, i + j * m));
    if (plain && m == 1 && n > 1) return Value(std::move(items));
    Value out = envelope("struct", Value(std::move(items)));
    out.set(std::string(detail::kSizeKey), sizeValue(m, n));
    if (m * n == 0) {
        Array names;
        for (kxSize f = 0; f < kxGetNumberOfFields(array); ++f)
            names.push_back(Value(kxGetFieldNameByNumber(array, f)));
        out.set(std::string(detail::kFieldsKey), Value(std::move(names)));
    }
    return out;
}

std::string_view typeName(const kxArray* array) {
    if (const auto* t = detail::integerTypeByClass(kxGetClassID(array))) return t->fName;
    switch (kxGetClassID(array)) {
        case kxClassID::Logical:
            return "logical";
        case kxClassID::String:
            return "string";
        default:
            return "double";  // double and single
    }
}

}  // namespace

Value jsonFromArray(const kxArray* array) {
    if (array == nullptr) throw ValueMappingError("no value");
    if (kxGetNumberOfDimensions(array) > 2)
        throw ValueMappingError("values of more than two dimensions have no JSON form");
    const kxSize m = kxGetM(array), n = kxGetN(array);
    const kxClassID id = kxGetClassID(array);
    switch (id) {
        case kxClassID::Cell:
            return cellToJson(array, m, n);
        case kxClassID::Struct:
            return structToJson(array, m, n);
        case kxClassID::Char:
            return charsToJson(array, m, n);
        case kxClassID::Object:
            throw ValueMappingError("values of class " + kxGetClassName(array) +
                                    " have no JSON form");
        default:
            break;
    }
    if (kxIsEmpty(array)) {
        if (id == kxClassID::Double && m == 0 && n == 0) return Value(Array{});
        Value out = envelope(typeName(array), Value(Array{}));
        out.set(std::string(detail::kSizeKey), sizeValue(m, n));
        return out;
    }
    if (const auto* type = detail::integerTypeByClass(id)) {
        if (kxIsComplex(array)) throw ValueMappingError("complex integers have no JSON form");
        return integersToJson(array, *type, m, n);
    }
    switch (id) {
        case kxClassID::Logical: {
            const bool* data = kxGetLogicals(array);
            return shaped(m, n, [data](kxSize k) { return Value(data[k]); });
        }
        case kxClassID::String:
            return shaped(m, n, [array](kxSize k) {
                const auto& element = kxGetStringElement(array, k);
                if (!element) throw ValueMappingError("missing strings have no JSON form");
                return Value(kx::utf16ToUtf8(*element));
            });
        default:
            return doublesToJson(array, m, n);
    }
}

std::string writeJson(const Value& value) {
    foundation::json::SerializeOptions options;
    options.fFullPrecision = false;  // the shortest text that reads back to the same double
    return foundation::json::serialize(value, options);
}

}  // namespace korvan::services::connector
