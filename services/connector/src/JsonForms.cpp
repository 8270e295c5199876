#include "JsonForms.hpp"

#include <algorithm>

namespace korvan::services::connector::detail {
namespace {

using foundation::json::Array;
using foundation::json::Object;
using foundation::json::Value;

constexpr IntegerType kIntegerTypes[] = {
    {"int8", kxClassID::Int8},     {"uint8", kxClassID::UInt8},   {"int16", kxClassID::Int16},
    {"uint16", kxClassID::UInt16}, {"int32", kxClassID::Int32},   {"uint32", kxClassID::UInt32},
    {"int64", kxClassID::Int64},   {"uint64", kxClassID::UInt64},
};

bool sameKeys(const Object& a, const Object& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](const auto& x, const auto& y) { return x.first == y.first; });
}

// Folds one more leaf into the kind of a row or matrix; false when the kinds do not agree.
bool agree(LeafKind& kind, const Value*& firstObject, const Value& leaf, bool first) {
    LeafKind k = leafKind(leaf);
    if (k == LeafKind::Array || k == LeafKind::Other) return false;
    if (first) {
        kind = k;
        if (k == LeafKind::Object) firstObject = &leaf;
        return true;
    }
    const bool numeric = [](LeafKind x) { return x == LeafKind::Number || x == LeafKind::Null; }(k);
    if (numeric && (kind == LeafKind::Number || kind == LeafKind::Null)) {
        if (k == LeafKind::Number) kind = LeafKind::Number;
        return true;
    }
    if (k != kind) return false;
    return k != LeafKind::Object || sameKeys(firstObject->asObject(), leaf.asObject());
}

}  // namespace

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

std::string_view envelopeType(const Value& value) {
    if (!value.isObject()) return {};
    const Value& type = value[kTypeKey];
    return type.isString() ? std::string_view(type.asString()) : std::string_view();
}

LeafKind leafKind(const Value& value) {
    switch (value.kind()) {
        case foundation::json::Kind::Null:
            return LeafKind::Null;
        case foundation::json::Kind::Boolean:
            return LeafKind::Bool;
        case foundation::json::Kind::String:
            return LeafKind::String;
        case foundation::json::Kind::Array:
            return LeafKind::Array;
        case foundation::json::Kind::Object: {
            if (value.asObject().find(kTypeKey) == value.asObject().end()) return LeafKind::Object;
            return envelopeType(value) == "double" && value[kDataKey].isString() ? LeafKind::Number
                                                                                 : LeafKind::Other;
        }
        case foundation::json::Kind::Undefined:
            return LeafKind::Other;
        default:
            return LeafKind::Number;
    }
}

ArrayForm classifyArray(const Array& array) {
    ArrayForm form;
    if (array.empty()) return form;
    const Value* firstObject = nullptr;
    if (!array.front().isArray()) {
        for (std::size_t i = 0; i < array.size(); ++i)
            if (!agree(form.fKind, firstObject, array[i], i == 0)) return {ArrayForm::Form::Cell};
        return {ArrayForm::Form::Row, form.fKind, 1, array.size()};
    }
    // Rows of equal length whose elements all agree make a matrix.
    const std::size_t columns = array.front().size();
    bool first = true;
    for (const Value& row : array) {
        if (!row.isArray() || row.size() != columns) return {ArrayForm::Form::Cell};
        for (const Value& leaf : row.asArray()) {
            if (!agree(form.fKind, firstObject, leaf, first)) return {ArrayForm::Form::Cell};
            first = false;
        }
    }
    return {ArrayForm::Form::Matrix, form.fKind, array.size(), columns};
}

}  // namespace korvan::services::connector::detail
