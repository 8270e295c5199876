// The typed-number envelope {"zxtype": "<integer type>", "zxdata": <number or arrays of numbers>}.
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include "Builder.hpp"

namespace foundation::json::detail {

namespace {

struct IntegerType {
    std::string_view fName;
    bool fSigned;
    std::int64_t fMin;   // signed types
    std::uint64_t fMax;  // both: the largest value
};

template <class T>
constexpr IntegerType integerType(std::string_view name) {
    return {name, std::numeric_limits<T>::is_signed,
            static_cast<std::int64_t>(std::numeric_limits<T>::min()),
            static_cast<std::uint64_t>(std::numeric_limits<T>::max())};
}

constexpr IntegerType kIntegerTypes[] = {
    integerType<std::int64_t>("int64"), integerType<std::uint64_t>("uint64"),
    integerType<std::int32_t>("int32"), integerType<std::uint32_t>("uint32"),
    integerType<std::int16_t>("int16"), integerType<std::uint16_t>("uint16"),
    integerType<std::int8_t>("int8"),   integerType<std::uint8_t>("uint8"),
};

const IntegerType* findIntegerType(const Value& zxtype) {
    if (!zxtype.isString()) {
        return nullptr;
    }
    for (const auto& type : kIntegerTypes) {
        if (zxtype.asString() == type.fName) {
            return &type;
        }
    }
    return nullptr;
}

// Stores a signed integer as the type's kind when it lies in the type's range.
bool storeSigned(Value& v, std::int64_t i, const IntegerType& t) {
    if (t.fSigned) {
        if (i < t.fMin || (i > 0 && static_cast<std::uint64_t>(i) > t.fMax)) {
            return false;
        }
        v = Value(i);
        return true;
    }
    if (i < 0 || static_cast<std::uint64_t>(i) > t.fMax) {
        return false;
    }
    v = Value(static_cast<std::uint64_t>(i));
    return true;
}

bool storeUnsigned(Value& v, std::uint64_t u, const IntegerType& t) {
    if (u > t.fMax) {
        return false;
    }
    v = t.fSigned ? Value(static_cast<std::int64_t>(u)) : Value(u);
    return true;
}

// Converts the numbers of v (a number or arrays of numbers) to exact integers of type t.
bool toInteger(Value& v, const IntegerType& t) {
    switch (v.kind()) {
        case Kind::Array:
            for (Value& element : v.asArray()) {
                if (!toInteger(element, t)) {
                    return false;
                }
            }
            return true;
        case Kind::Int64:
            return storeSigned(v, v.asInt64(), t);
        case Kind::UInt64:
            return storeUnsigned(v, v.asUInt64(), t);
        case Kind::Double: {
            // "1e3" or "5.0": accepted when the value is an integer; 2^63 and 2^64 are exact.
            const double d = v.asNumber();
            if (!std::isfinite(d) || std::trunc(d) != d) {
                return false;
            }
            if (d < 0) {
                return d >= -0x1p63 && storeSigned(v, static_cast<std::int64_t>(d), t);
            }
            return d < 0x1p64 && storeUnsigned(v, static_cast<std::uint64_t>(d), t);
        }
        default:
            return false;
    }
}

// Without an integer type the numbers kept exact while parsing become doubles, as everywhere.
void toDouble(Value& v) {
    switch (v.kind()) {
        case Kind::Array:
            for (Value& element : v.asArray()) {
                toDouble(element);
            }
            break;
        case Kind::Int64:
        case Kind::UInt64:
            v = Value(v.asNumber());
            break;
        default:
            break;
    }
}

}  // namespace

bool resolveEnvelope(Object& object) {
    const auto data = object.find("zxdata");
    if (data == object.end()) {
        return true;
    }
    const auto type = object.find("zxtype");
    const IntegerType* integer = type == object.end() ? nullptr : findIntegerType(type->second);
    if (integer == nullptr) {
        toDouble(data->second);
        return true;
    }
    return toInteger(data->second, *integer);
}

}  // namespace foundation::json::detail

namespace foundation::json {

bool isIntegerEnvelope(const Value& value) noexcept {
    return value.isObject() && detail::findIntegerType(value["zxtype"]) != nullptr;
}

}  // namespace foundation::json
