#include "korvan/services/connector/JsonValues.hpp"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>
#include <vector>

#include "foundation/json/Serializer.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::services::connector {
namespace {

using foundation::json::Array;
using foundation::json::Object;
using foundation::json::Value;

struct IntegerType {
    const char* fName;
    kxClassID fClass;
};

constexpr IntegerType kIntegerTypes[] = {
    {"int8", kxClassID::Int8},     {"uint8", kxClassID::UInt8},   {"int16", kxClassID::Int16},
    {"uint16", kxClassID::UInt16}, {"int32", kxClassID::Int32},   {"uint32", kxClassID::UInt32},
    {"int64", kxClassID::Int64},   {"uint64", kxClassID::UInt64},
};

const IntegerType* integerTypeByName(std::string_view name) {
    for (const auto& t : kIntegerTypes)
        if (name == t.fName) return &t;
    return nullptr;
}

const IntegerType* integerTypeByClass(kxClassID id) {
    for (const auto& t : kIntegerTypes)
        if (id == t.fClass) return &t;
    return nullptr;
}

// The elements of a scalar, a row or a list of rows, in row-major order.
struct Grid {
    kxSize fRows = 0;
    kxSize fColumns = 0;
    std::vector<const Value*> fLeaves;
};

Grid gridOf(const Value& value) {
    if (!value.isArray()) return {1, 1, {&value}};
    const Array& outer = value.asArray();
    if (outer.empty()) return {};
    Grid grid;
    if (!outer.front().isArray()) {
        grid.fRows = 1;
        grid.fColumns = outer.size();
        for (const auto& leaf : outer) {
            if (leaf.isArray()) throw ValueMappingError("an array mixes rows and elements");
            grid.fLeaves.push_back(&leaf);
        }
        return grid;
    }
    grid.fRows = outer.size();
    grid.fColumns = outer.front().size();
    for (const auto& row : outer) {
        if (!row.isArray()) throw ValueMappingError("an array mixes rows and elements");
        if (row.size() != grid.fColumns) throw ValueMappingError("rows of unequal length");
        for (const auto& leaf : row.asArray()) {
            if (leaf.isArray())
                throw ValueMappingError("arrays nested deeper than rows are not supported");
            grid.fLeaves.push_back(&leaf);
        }
    }
    return grid;
}

std::string envelopeType(const Value& value) {
    if (!value.isObject()) return {};
    const Value& type = value["zxtype"];
    return type.isString() ? type.asString() : std::string();
}

// NaN, Inf or -Inf from {"zxtype":"double","zxdata":...}.
double nonFinite(const Value& envelope) {
    const Value& data = envelope["zxdata"];
    if (data.isString()) {
        const auto& text = data.asString();
        if (text == "NaN") return std::numeric_limits<double>::quiet_NaN();
        if (text == "Inf") return std::numeric_limits<double>::infinity();
        if (text == "-Inf") return -std::numeric_limits<double>::infinity();
    }
    throw ValueMappingError("a \"double\" envelope holds \"NaN\", \"Inf\" or \"-Inf\"");
}

double numberOf(const Value& leaf) {
    if (leaf.isNumber()) return leaf.asNumber();
    if (envelopeType(leaf) == "double") return nonFinite(leaf);
    throw ValueMappingError(std::string("expected a number, found ") + leaf.kindName());
}

template <class T>
void fillIntegers(kxArray* array, const Grid& grid) {
    T* out = static_cast<T*>(kxGetData(array));
    for (kxSize i = 0; i < grid.fRows; ++i) {
        for (kxSize j = 0; j < grid.fColumns; ++j) {
            const Value& leaf = *grid.fLeaves[i * grid.fColumns + j];
            if (leaf.kind() != foundation::json::Kind::Int64 &&
                leaf.kind() != foundation::json::Kind::UInt64)
                throw ValueMappingError("integer data must be whole numbers of its type");
            if constexpr (std::is_signed_v<T>) {
                const auto v = leaf.asInt64();
                if (v < std::numeric_limits<T>::min() ||
                    v > static_cast<std::int64_t>(std::numeric_limits<T>::max()))
                    throw ValueMappingError("integer out of the range of its type");
                out[i + j * grid.fRows] = static_cast<T>(v);
            } else {
                const auto v = leaf.asUInt64();
                if (v > static_cast<std::uint64_t>(std::numeric_limits<T>::max()))
                    throw ValueMappingError("integer out of the range of its type");
                out[i + j * grid.fRows] = static_cast<T>(v);
            }
        }
    }
}

kx::ArrayPtr integersFromJson(const IntegerType& type, const Value& data) {
    const Grid grid = gridOf(data);
    kx::ArrayPtr array(kxCreateNumericMatrix(grid.fRows, grid.fColumns, type.fClass));
    switch (type.fClass) {
        case kxClassID::Int8:
            fillIntegers<std::int8_t>(array.get(), grid);
            break;
        case kxClassID::UInt8:
            fillIntegers<std::uint8_t>(array.get(), grid);
            break;
        case kxClassID::Int16:
            fillIntegers<std::int16_t>(array.get(), grid);
            break;
        case kxClassID::UInt16:
            fillIntegers<std::uint16_t>(array.get(), grid);
            break;
        case kxClassID::Int32:
            fillIntegers<std::int32_t>(array.get(), grid);
            break;
        case kxClassID::UInt32:
            fillIntegers<std::uint32_t>(array.get(), grid);
            break;
        case kxClassID::Int64:
            fillIntegers<std::int64_t>(array.get(), grid);
            break;
        default:
            fillIntegers<std::uint64_t>(array.get(), grid);
            break;
    }
    return array;
}

kx::ArrayPtr charsFromJson(const Value& data) {
    if (data.isString()) return kx::ArrayPtr(kxCreateCharFromUtf8(data.asString()));
    if (!data.isArray()) throw ValueMappingError("\"char\" data must be a text or a list of texts");
    std::vector<std::u16string> rows;
    for (const auto& row : data.asArray()) {
        if (!row.isString()) throw ValueMappingError("\"char\" rows must be texts");
        rows.push_back(kx::utf8ToUtf16(row.asString()));
        if (rows.back().size() != rows.front().size())
            throw ValueMappingError("\"char\" rows of unequal length");
    }
    const kxSize dims[2] = {rows.size(), rows.empty() ? 0 : rows.front().size()};
    kx::ArrayPtr array(kxCreateCharArray(2, dims));
    char16_t* out = kxGetChars(array.get());
    for (kxSize i = 0; i < dims[0]; ++i)
        for (kxSize j = 0; j < dims[1]; ++j) out[i + j * dims[0]] = rows[i][j];
    return array;
}

kx::ArrayPtr envelopeFromJson(const Value& value) {
    const std::string type = envelopeType(value);
    if (const IntegerType* t = integerTypeByName(type))
        return integersFromJson(*t, value["zxdata"]);
    if (type == "char") return charsFromJson(value["zxdata"]);
    if (type == "double") return kx::ArrayPtr(kxCreateDoubleScalar(nonFinite(value)));
    throw ValueMappingError(type.empty() ? "an object without \"zxtype\" has no host form"
                                         : "unknown \"zxtype\" \"" + type + "\"");
}

// ---- host array to JSON -------------------------------------------------------------------

Value envelope(const char* type, Value data) {
    Object object;
    object.emplace("zxtype", Value(type));
    object.emplace("zxdata", std::move(data));
    return Value(std::move(object));
}

Value doubleLeaf(double d) {
    if (std::isfinite(d)) return Value(d);
    return envelope("double", Value(std::isnan(d) ? "NaN" : (d > 0 ? "Inf" : "-Inf")));
}

// Scalar as the leaf, a row as a list, a matrix as a list of rows.
template <class Leaf>
Value shaped(kxSize m, kxSize n, Leaf&& leaf) {
    if (m == 1 && n == 1) return leaf(0);
    if (m == 1) {
        Array row;
        for (kxSize j = 0; j < n; ++j) row.push_back(leaf(j));
        return Value(std::move(row));
    }
    Array rows;
    for (kxSize i = 0; i < m; ++i) {
        Array row;
        for (kxSize j = 0; j < n; ++j) row.push_back(leaf(i + j * m));
        rows.push_back(Value(std::move(row)));
    }
    return Value(std::move(rows));
}

template <class T>
Value integerData(const kxArray* array, kxSize m, kxSize n) {
    const T* data = static_cast<const T*>(kxGetData(array));
    return shaped(m, n, [data](kxSize k) { return Value(data[k]); });
}

Value integersToJson(const kxArray* array, const IntegerType& type, kxSize m, kxSize n) {
    Value data;
    switch (type.fClass) {
        case kxClassID::Int8:
            data = integerData<std::int8_t>(array, m, n);
            break;
        case kxClassID::UInt8:
            data = integerData<std::uint8_t>(array, m, n);
            break;
        case kxClassID::Int16:
            data = integerData<std::int16_t>(array, m, n);
            break;
        case kxClassID::UInt16:
            data = integerData<std::uint16_t>(array, m, n);
            break;
        case kxClassID::Int32:
            data = integerData<std::int32_t>(array, m, n);
            break;
        case kxClassID::UInt32:
            data = integerData<std::uint32_t>(array, m, n);
            break;
        case kxClassID::Int64:
            data = integerData<std::int64_t>(array, m, n);
            break;
        default:
            data = integerData<std::uint64_t>(array, m, n);
            break;
    }
    return envelope(type.fName, std::move(data));
}

Value charsToJson(const kxArray* array, kxSize m, kxSize n) {
    const char16_t* chars = kxGetChars(array);
    auto rowText = [&](kxSize i) {
        std::u16string row;
        for (kxSize j = 0; j < n; ++j) row.push_back(chars[i + j * m]);
        return Value(kx::utf16ToUtf8(row));
    };
    if (m <= 1) return envelope("char", m == 0 ? Value("") : rowText(0));
    Array rows;
    for (kxSize i = 0; i < m; ++i) rows.push_back(rowText(i));
    return envelope("char", Value(std::move(rows)));
}

}  // namespace

kx::ArrayPtr arrayFromJson(const Value& value) {
    if (value.isNull()) return kx::ArrayPtr(kxCreateDoubleMatrix(0, 0));
    if (value.isObject()) return envelopeFromJson(value);
    if (value.isUndefined()) throw ValueMappingError("a value is missing");
    const Grid grid = gridOf(value);
    if (grid.fLeaves.empty()) return kx::ArrayPtr(kxCreateDoubleMatrix(grid.fRows, grid.fColumns));
    const kxSize m = grid.fRows, n = grid.fColumns;
    const Value& first = *grid.fLeaves.front();
    if (first.isBool()) {
        kx::ArrayPtr array(kxCreateLogicalMatrix(m, n));
        bool* out = kxGetLogicals(array.get());
        for (kxSize i = 0; i < m; ++i)
            for (kxSize j = 0; j < n; ++j) {
                const Value& leaf = *grid.fLeaves[i * n + j];
                if (!leaf.isBool()) throw ValueMappingError("an array mixes logicals and others");
                out[i + j * m] = leaf.asBool();
            }
        return array;
    }
    if (first.isString()) {
        kx::ArrayPtr array(kxCreateStringMatrix(m, n));
        for (kxSize i = 0; i < m; ++i)
            for (kxSize j = 0; j < n; ++j) {
                const Value& leaf = *grid.fLeaves[i * n + j];
                if (!leaf.isString()) throw ValueMappingError("an array mixes strings and others");
                kxSetStringElement(array.get(), i + j * m, kx::utf8ToUtf16(leaf.asString()));
            }
        return array;
    }
    if (first.isObject() && m == 1 && n == 1) return envelopeFromJson(first);
    kx::ArrayPtr array(kxCreateDoubleMatrix(m, n));
    double* out = kxGetDoubles(array.get());
    for (kxSize i = 0; i < m; ++i)
        for (kxSize j = 0; j < n; ++j) out[i + j * m] = numberOf(*grid.fLeaves[i * n + j]);
    return array;
}

Value jsonFromArray(const kxArray* array) {
    if (array == nullptr) throw ValueMappingError("no value");
    if (kxGetNumberOfDimensions(array) > 2)
        throw ValueMappingError("values of more than two dimensions have no JSON form");
    if (kxIsComplex(array)) throw ValueMappingError("complex values have no JSON form");
    const kxSize m = kxGetM(array), n = kxGetN(array);
    const kxClassID id = kxGetClassID(array);
    if (id == kxClassID::Char) return charsToJson(array, m, n);
    if (kxIsEmpty(array) && id != kxClassID::Object) return Value(nullptr);
    if (const IntegerType* type = integerTypeByClass(id)) return integersToJson(array, *type, m, n);
    switch (id) {
        case kxClassID::Double:
        case kxClassID::Single:
            return shaped(m, n,
                          [array](kxSize k) { return doubleLeaf(kxGetElementAsDouble(array, k)); });
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
            throw ValueMappingError("values of class " + kxGetClassName(array) +
                                    " have no JSON form");
    }
}

std::string writeJson(const Value& value) {
    foundation::json::SerializeOptions options;
    options.fFullPrecision = false;  // the shortest text that reads back to the same double
    return foundation::json::serialize(value, options);
}

}  // namespace korvan::services::connector
