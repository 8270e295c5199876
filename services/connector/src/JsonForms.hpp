// What the decoder and the encoder of host values share (private to the connector service):
// the envelope keys, the integer classes by name, and how a JSON array is read, so that the
// encoder wraps in an envelope exactly the arrays that would otherwise read back as something
// else.
#pragma once

#include <cstdint>
#include <string_view>

#include "foundation/json/Value.hpp"
#include "kx/kxArray.hpp"

namespace korvan::services::connector::detail {

inline constexpr std::string_view kTypeKey = "zxtype";
inline constexpr std::string_view kDataKey = "zxdata";
inline constexpr std::string_view kSizeKey = "zxsize";
inline constexpr std::string_view kFieldsKey = "zxfields";

struct IntegerType {
    const char* fName;
    kxClassID fClass;
};
const IntegerType* integerTypeByName(std::string_view name);
const IntegerType* integerTypeByClass(kxClassID id);

/// Calls `f(T{})` with the C++ type of an integer class (uint64 for any other class).
template <class F>
decltype(auto) withIntegerType(kxClassID id, F&& f) {
    switch (id) {
        case kxClassID::Int8:
            return f(std::int8_t{});
        case kxClassID::UInt8:
            return f(std::uint8_t{});
        case kxClassID::Int16:
            return f(std::int16_t{});
        case kxClassID::UInt16:
            return f(std::uint16_t{});
        case kxClassID::Int32:
            return f(std::int32_t{});
        case kxClassID::UInt32:
            return f(std::uint32_t{});
        case kxClassID::Int64:
            return f(std::int64_t{});
        default:
            return f(std::uint64_t{});
    }
}

/// The "zxtype" of an object, empty for an object without one (or for any other value).
std::string_view envelopeType(const foundation::json::Value& value);

/// What one element of a JSON array is, for deciding the host class of the array.
enum class LeafKind {
    Number,  // a number, or a non-finite double envelope ("NaN", "Infinity", ...)
    Null,    // NaN inside a numeric array (what JavaScript writes); [] when alone
    Bool,
    String,
    Object,  // an object without "zxtype": a struct
    Array,
    Other,  // any other envelope
};
LeafKind leafKind(const foundation::json::Value& value);

/// How a JSON array reads: a row or a matrix of one leaf kind (numbers and nulls together
/// are Number; objects only when they have the same keys), or else a cell.
struct ArrayForm {
    enum class Form { Empty, Row, Matrix, Cell } fForm = Form::Empty;
    LeafKind fKind = LeafKind::Number;
    kxSize fRows = 0;
    kxSize fColumns = 0;
};
ArrayForm classifyArray(const foundation::json::Array& array);

}  // namespace korvan::services::connector::detail
