// Value accessors and the conversion error.
#include <foundation/json/Value.hpp>

#include <limits>

namespace foundation::json {

const Value Value::UNDEFINED{};

const char* kindName(Kind kind) noexcept {
    switch (kind) {
        case Kind::Undefined:
            return traits<Undefined>::name;
        case Kind::Null:
            return traits<Null>::name;
        case Kind::Boolean:
            return traits<bool>::name;
        case Kind::Int64:
            return traits<std::int64_t>::name;
        case Kind::UInt64:
            return traits<std::uint64_t>::name;
        case Kind::Double:
            return traits<double>::name;
        case Kind::Float:
            return traits<float>::name;
        case Kind::String:
            return traits<String>::name;
        case Kind::Array:
            return traits<Array>::name;
        case Kind::Object:
            return traits<Object>::name;
    }
    return "unknown";
}

ConversionError::ConversionError(Kind stored, const char* requested)
    : std::runtime_error(std::string("invalid conversion: ") + json::kindName(stored) + " to " +
                         requested) {}

template <class T>
const T& Value::get() const {
    if (const T* p = std::get_if<T>(&fData)) {
        return *p;
    }
    throw ConversionError(kind(), traits<T>::name);
}

bool Value::isNumber() const noexcept {
    switch (kind()) {
        case Kind::Int64:
        case Kind::UInt64:
        case Kind::Double:
        case Kind::Float:
            return true;
        default:
            return false;
    }
}

const Value& Value::operator[](std::string_view key) const {
    const Object& members = get<Object>();
    const auto it = members.find(key);
    return it == members.end() ? UNDEFINED : it->second;
}

const Value& Value::at(std::size_t index) const {
    return get<Array>().at(index);
}

std::size_t Value::size() const {
    if (const Object* o = std::get_if<Object>(&fData)) {
        return o->size();
    }
    return get<Array>().size();
}

bool Value::asBool() const {
    return get<bool>();
}

double Value::asNumber() const {
    switch (kind()) {
        case Kind::Int64:
            return static_cast<double>(std::get<std::int64_t>(fData));
        case Kind::UInt64:
            return static_cast<double>(std::get<std::uint64_t>(fData));
        case Kind::Float:
            return std::get<float>(fData);
        default:
            return get<double>();
    }
}

float Value::asFloat() const {
    if (kind() == Kind::Double) {
        return static_cast<float>(std::get<double>(fData));
    }
    return get<float>();
}

std::int64_t Value::asInt64() const {
    if (kind() == Kind::UInt64) {
        const std::uint64_t u = std::get<std::uint64_t>(fData);
        if (u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return static_cast<std::int64_t>(u);
        }
        throw ConversionError(kind(), traits<std::int64_t>::name);
    }
    return get<std::int64_t>();
}

std::uint64_t Value::asUInt64() const {
    if (kind() == Kind::Int64) {
        const std::int64_t i = std::get<std::int64_t>(fData);
        if (i >= 0) {
            return static_cast<std::uint64_t>(i);
        }
        throw ConversionError(kind(), traits<std::uint64_t>::name);
    }
    return get<std::uint64_t>();
}

const String& Value::asString() const {
    return get<String>();
}
const Array& Value::asArray() const {
    return get<Array>();
}
Array& Value::asArray() {
    return const_cast<Array&>(get<Array>());
}
const Object& Value::asObject() const {
    return get<Object>();
}
Object& Value::asObject() {
    return const_cast<Object&>(get<Object>());
}

Value& Value::set(std::string key, Value value) {
    if (isUndefined()) {
        fData = Object{};
    }
    asObject().insert_or_assign(std::move(key), std::move(value));
    return *this;
}

Value& Value::push(Value value) {
    if (isUndefined()) {
        fData = Array{};
    }
    asArray().push_back(std::move(value));
    return *this;
}

}  // namespace foundation::json
