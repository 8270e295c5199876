// JSON to host values (see JsonValues.hpp and the table in docs/services/connector-service.md).
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "JsonForms.hpp"
#include "korvan/services/connector/JsonValues.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::services::connector {
namespace {

using detail::ArrayForm;
using detail::LeafKind;
using foundation::json::Array;
using foundation::json::Object;
using foundation::json::Value;

// Element (i, j) of a row (i is 0) or of a list of rows.
const Value& leafAt(const Array& array, const ArrayForm& form, kxSize i, kxSize j) {
    return form.fForm == ArrayForm::Form::Row ? array[j] : array[i].asArray()[j];
}

std::optional<double> nonFiniteText(std::string_view text) {
    if (text == "NaN") return std::numeric_limits<double>::quiet_NaN();
    if (text == "Infinity" || text == "Inf") return std::numeric_limits<double>::infinity();
    if (text == "-Infinity" || text == "-Inf") return -std::numeric_limits<double>::infinity();
    return std::nullopt;
}

// A number of a double array: a number, null (NaN, as JavaScript writes it), a non-finite
// text inside a "double" envelope's data, or a non-finite envelope as an element.
double doubleOf(const Value& leaf, bool textAllowed) {
    if (leaf.isNumber()) return leaf.asNumber();
    if (leaf.isNull()) return std::numeric_limits<double>::quiet_NaN();
    const Value* text = textAllowed && leaf.isString() ? &leaf : nullptr;
    if (!text && detail::envelopeType(leaf) == "double") text = &leaf[detail::kDataKey];
    if (text && text->isString())
        if (auto d = nonFiniteText(text->asString())) return *d;
    throw ValueMappingError(
        "a number is written as a number, null (NaN), or in a \"double\" envelope as \"NaN\", "
        "\"Infinity\" or \"-Infinity\"");
}

void requireFieldName(const std::string& key) {
    if (!kxIsValidFieldName(key))
        throw ValueMappingError("the key \"" + key +
                                "\" cannot name a struct field: a field name starts with a "
                                "letter, then letters, digits and underscores (at most 63)");
}

// An m-by-n struct array from objects that have the same keys; `objectAt(k)` gives element k
// in column-major order. With no element, the fields are `emptyFields`.
template <class ObjectAt>
kx::ArrayPtr structOf(kxSize m, kxSize n, ObjectAt objectAt,
                      const std::vector<std::string>& emptyFields = {}) {
    std::vector<std::string> fields = emptyFields;
    if (m * n > 0) {
        fields.clear();
        for (const auto& [key, value] : objectAt(0).asObject()) fields.push_back(key);
    }
    for (const auto& f : fields) requireFieldName(f);
    kx::ArrayPtr array(kxCreateStructMatrix(m, n, fields));
    for (kxSize k = 0; k < m * n; ++k) {
        const Object& object = objectAt(k).asObject();
        if (object.size() != fields.size())
            throw ValueMappingError("the objects of a struct array must have the same keys");
        kxSize f = 0;
        for (const auto& [key, value] : object) {
            if (key != fields[f])
                throw ValueMappingError("the objects of a struct array must have the same keys");
            kxSetFieldByNumber(array.get(), k, f++, arrayFromJson(value).release());
        }
    }
    return array;
}

// A row or matrix of one leaf kind (classifyArray said which).
kx::ArrayPtr homogeneous(const Array& array, const ArrayForm& form) {
    const kxSize m = form.fRows, n = form.fColumns;
    auto leaf = [&](kxSize i, kxSize j) -> const Value& { return leafAt(array, form, i, j); };
    switch (form.fKind) {
        case LeafKind::Bool: {
            kx::ArrayPtr out(kxCreateLogicalMatrix(m, n));
            bool* data = kxGetLogicals(out.get());
            for (kxSize i = 0; i < m; ++i)
                for (kxSize j = 0; j < n; ++j) data[i + j * m] = leaf(i, j).asBool();
            return out;
        }
        case LeafKind::String: {
            kx::ArrayPtr out(kxCreateStringMatrix(m, n));
            for (kxSize i = 0; i < m; ++i)
                for (kxSize j = 0; j < n; ++j)
                    kxSetStringElement(out.get(), i + j * m,
                                       kx::utf8ToUtf16(leaf(i, j).asString()));
            return out;
        }
        case LeafKind::Object:
            return structOf(m, n, [&](kxSize k) -> const Value& { return leaf(k % m, k / m); });
        default: {
            kx::ArrayPtr out(kxCreateDoubleMatrix(m, n));
            double* data = kxGetDoubles(out.get());
            for (kxSize i = 0; i < m; ++i)
                for (kxSize j = 0; j < n; ++j) {
                    const Value& v = leaf(i, j);
                    data[i + j * m] = v.isNumber() ? v.asNumber() : doubleOf(v, false);
                }
            return out;
        }
    }
}

kx::ArrayPtr fromArray(const Array& array) {
    const ArrayForm form = detail::classifyArray(array);
    if (form.fForm == ArrayForm::Form::Empty) return kx::ArrayPtr(kxCreateDoubleMatrix(0, 0));
    if (form.fForm != ArrayForm::Form::Cell) return homogeneous(array, form);
    kx::ArrayPtr cell(kxCreateCellMatrix(1, array.size()));
    for (kxSize j = 0; j < array.size(); ++j)
        kxSetCell(cell.get(), j, arrayFromJson(array[j]).release());
    return cell;
}

// ---- envelopes ----------------------------------------------------------------------------

// The elements of a scalar, a row or a list of rows of an envelope's data.
struct Grid {
    kxSize fRows = 0;
    kxSize fColumns = 0;
    std::vector<const Value*> fLeaves;  // row-major
};

Grid gridOf(const Value& value) {
    if (!value.isArray()) return {1, 1, {&value}};
    const Array& outer = value.asArray();
    if (outer.empty()) return {};
    Grid grid;
    const bool rows = outer.front().isArray();
    grid.fRows = rows ? outer.size() : 1;
    grid.fColumns = rows ? outer.front().size() : outer.size();
    for (const auto& item : outer) {
        if (item.isArray() != rows) throw ValueMappingError("an array mixes rows and elements");
        if (!rows) {
            grid.fLeaves.push_back(&item);
            continue;
        }
        if (item.size() != grid.fColumns) throw ValueMappingError("rows of unequal length");
        for (const auto& leaf : item.asArray()) {
            if (leaf.isArray())
                throw ValueMappingError("arrays nested deeper than rows are not supported");
            grid.fLeaves.push_back(&leaf);
        }
    }
    return grid;
}

template <class T>
void fillIntegers(kxArray* array, const Grid& grid) {
    T* out = static_cast<T*>(kxGetData(array));
    for (kxSize k = 0; k < grid.fLeaves.size(); ++k) {
        const Value& leaf = *grid.fLeaves[k];
        if (leaf.kind() != foundation::json::Kind::Int64 &&
            leaf.kind() != foundation::json::Kind::UInt64)
            throw ValueMappingError("integer data must be whole numbers of its type");
        T v;
        if constexpr (std::is_signed_v<T>) {
            const auto x = leaf.asInt64();
            if (x < std::numeric_limits<T>::min() ||
                x > static_cast<std::int64_t>(std::numeric_limits<T>::max()))
                throw ValueMappingError("integer out of the range of its type");
            v = static_cast<T>(x);
        } else {
            const auto x = leaf.asUInt64();
            if (x > static_cast<std::uint64_t>(std::numeric_limits<T>::max()))
                throw ValueMappingError("integer out of the range of its type");
            v = static_cast<T>(x);
        }
        out[k / grid.fColumns + (k % grid.fColumns) * grid.fRows] = v;
    }
}

kx::ArrayPtr integersOf(kxClassID id, const Value& data) {
    const Grid grid = gridOf(data);
    kx::ArrayPtr array(kxCreateNumericMatrix(grid.fRows, grid.fColumns, id));
    detail::withIntegerType(id, [&](auto t) { fillIntegers<decltype(t)>(array.get(), grid); });
    return array;
}

// Doubles of a "double" envelope: numbers, null, and "NaN" / "Infinity" / "-Infinity".
kx::ArrayPtr doublesOf(const Value& data, kxComplexity complexity = kxComplexity::Real) {
    const Grid grid = gridOf(data);
    kx::ArrayPtr array(kxCreateDoubleMatrix(grid.fRows, grid.fColumns, complexity));
    if (complexity == kxComplexity::Complex) return array;
    double* out = kxGetDoubles(array.get());
    for (kxSize k = 0; k < grid.fLeaves.size(); ++k)
        out[k / grid.fColumns + (k % grid.fColumns) * grid.fRows] =
            doubleOf(*grid.fLeaves[k], true);
    return array;
}

kx::ArrayPtr complexOf(const Value& data) {
    const Value& re = data["real"];
    const Value& im = data["imag"];
    if (re.isUndefined() || im.isUndefined() || data.size() != 2)
        throw ValueMappingError("complex data is an object {\"real\": ..., \"imag\": ...}");
    kx::ArrayPtr real = doublesOf(re), imag = doublesOf(im);
    const kxSize m = kxGetM(real.get()), n = kxGetN(real.get());
    if (kxGetM(imag.get()) != m || kxGetN(imag.get()) != n)
        throw ValueMappingError("the real and imaginary parts must have the same size");
    kx::ArrayPtr out(kxCreateDoubleMatrix(m, n, kxComplexity::Complex));
    auto* z = kxGetComplexDoubles(out.get());
    for (kxSize k = 0; k < m * n; ++k)
        z[k] = {kxGetDoubles(real.get())[k], kxGetDoubles(imag.get())[k]};
    return out;
}

kx::ArrayPtr charsOf(const Value& data) {
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

// "zxsize": [m, n], or nothing when absent.
std::optional<std::pair<kxSize, kxSize>> sizeOf(const Value& envelope) {
    const Value& size = envelope[detail::kSizeKey];
    if (size.isUndefined()) return std::nullopt;
    const char* expected = "\"zxsize\" must be [rows, columns], two whole numbers from 0";
    if (!size.isArray() || size.size() != 2) throw ValueMappingError(expected);
    kxSize d[2];
    for (int i = 0; i < 2; ++i) {
        const Value& x = size.at(static_cast<std::size_t>(i));
        const double v = x.isNumber() ? x.asNumber() : -1;
        if (!(v >= 0 && v <= 1e12 && v == std::floor(v))) throw ValueMappingError(expected);
        d[i] = static_cast<kxSize>(v);
    }
    if (d[1] != 0 && d[0] > std::numeric_limits<kxSize>::max() / d[1])
        throw ValueMappingError(expected);
    return std::pair{d[0], d[1]};
}

kx::ArrayPtr requireClass(kx::ArrayPtr array, kxClassID id, const char* type) {
    if (kxGetClassID(array.get()) != id)
        throw ValueMappingError(std::string("the data of a \"") + type + "\" envelope must be " +
                                (id == kxClassID::Logical ? "true or false" : "texts"));
    return array;
}

// An empty array of the envelope's class and size.
kx::ArrayPtr emptyOf(std::string_view type, kxSize m, kxSize n, const Value& envelope) {
    const Value& data = envelope[detail::kDataKey];
    if (m * n != 0 || !(data.isUndefined() || (data.isArray() && data.size() == 0)))
        throw ValueMappingError("\"zxsize\" is given with [] as data, for empty arrays only");
    const kxSize dims[2] = {m, n};
    if (const auto* t = detail::integerTypeByName(type))
        return kx::ArrayPtr(kxCreateNumericMatrix(m, n, t->fClass));
    if (type == "double") return kx::ArrayPtr(kxCreateDoubleMatrix(m, n));
    if (type == "logical") return kx::ArrayPtr(kxCreateLogicalMatrix(m, n));
    if (type == "char") return kx::ArrayPtr(kxCreateCharArray(2, dims));
    if (type == "string") return kx::ArrayPtr(kxCreateStringMatrix(m, n));
    throw ValueMappingError("unknown \"zxtype\" \"" + std::string(type) + "\"");
}

// A cell or struct array from its envelope: data is a flat list in row-major order.
kx::ArrayPtr containerOf(std::string_view type, const Value& envelope) {
    const Value& data = envelope[detail::kDataKey];
    if (!data.isArray()) throw ValueMappingError("the data of a \"cell\" or \"struct\" is a list");
    const Array& items = data.asArray();
    const auto size = sizeOf(envelope);
    const kxSize m = size ? size->first : 1, n = size ? size->second : items.size();
    if (m * n != items.size())
        throw ValueMappingError("\"zxsize\" does not match the number of elements in \"zxdata\"");
    if (type == "cell") {
        kx::ArrayPtr cell(kxCreateCellMatrix(m, n));
        for (kxSize k = 0; k < items.size(); ++k)
            kxSetCell(cell.get(), k / n + (k % n) * m, arrayFromJson(items[k]).release());
        return cell;
    }
    std::vector<std::string> fields;
    if (const Value& names = envelope[detail::kFieldsKey]; names.isArray())
        for (const auto& name : names.asArray())
            fields.push_back(name.isString() ? name.asString() : std::string());
    for (const auto& item : items)
        if (!item.isObject())
            throw ValueMappingError("the data of a \"struct\" is a list of objects");
    return structOf(
        m, n, [&](kxSize k) -> const Value& { return items[(k % m) * n + k / m]; }, fields);
}

kx::ArrayPtr fromEnvelope(const Value& envelope) {
    const std::string_view type = detail::envelopeType(envelope);
    if (type.empty()) throw ValueMappingError("\"zxtype\" must be a text naming a class");
    for (const auto& [key, value] : envelope.asObject())
        if (key != detail::kTypeKey && key != detail::kDataKey && key != detail::kSizeKey &&
            key != detail::kFieldsKey)
            throw ValueMappingError(
                "an envelope has only the keys \"zxtype\", \"zxdata\", "
                "\"zxsize\" and \"zxfields\"; found \"" +
                key + "\"");
    if (type == "cell" || type == "struct") return containerOf(type, envelope);
    if (const auto size = sizeOf(envelope))
        return emptyOf(type, size->first, size->second, envelope);
    const Value& data = envelope[detail::kDataKey];
    if (data.isUndefined()) throw ValueMappingError("the envelope has no \"zxdata\"");
    if (const auto* t = detail::integerTypeByName(type)) return integersOf(t->fClass, data);
    if (type == "double") return data.isObject() ? complexOf(data) : doublesOf(data);
    if (type == "char") return charsOf(data);
    if (type == "logical") return requireClass(arrayFromJson(data), kxClassID::Logical, "logical");
    if (type == "string") return requireClass(arrayFromJson(data), kxClassID::String, "string");
    throw ValueMappingError("unknown \"zxtype\" \"" + std::string(type) + "\"");
}

}  // namespace

kx::ArrayPtr arrayFromJson(const Value& value) {
    switch (value.kind()) {
        case foundation::json::Kind::Undefined:
            throw ValueMappingError("a value is missing");
        case foundation::json::Kind::Null:
            return kx::ArrayPtr(kxCreateDoubleMatrix(0, 0));
        case foundation::json::Kind::Boolean:
            return kx::ArrayPtr(kxCreateLogicalScalar(value.asBool()));
        case foundation::json::Kind::String:
            return kx::ArrayPtr(kxCreateStringScalarFromUtf8(value.asString()));
        case foundation::json::Kind::Array:
            return fromArray(value.asArray());
        case foundation::json::Kind::Object:
            if (value.asObject().find(detail::kTypeKey) != value.asObject().end())
                return fromEnvelope(value);
            return structOf(1, 1, [&](kxSize) -> const Value& { return value; });
        default:
            return kx::ArrayPtr(kxCreateDoubleScalar(value.asNumber()));
    }
}

}  // namespace korvan::services::connector
