// The host's JSON value: one of ten kinds, with checked accessors.
//
// A Value holds exactly one of: undefined (the value of a missing member), null, boolean,
// signed 64-bit integer, unsigned 64-bit integer, double, float, string (UTF-8), array
// (ordered list of values) and object (map from key to value, ordered by key, keys unique).
// Each kind has a name, traits<T>::name, used in conversion errors.
//
// Reading: member lookup (operator[] with a key) on an object never fails: a missing key
// yields Value::UNDEFINED. The as...() accessors return the content of the matching kind and
// otherwise throw ConversionError "invalid conversion: <stored kind> to <requested kind>".
//
// Numbers: the parser stores plain JSON numbers as double; integers appear only through the
// typed-number envelope (Parser.hpp) or when built by code. asNumber() reads any of the four
// numeric kinds as a double (an integer beyond 2^53 is rounded); asInt64()/asUInt64() are
// exact and accept only the two integer kinds when the value fits.
//
// Threads: a Value is a plain value type; concurrent reads are safe, writes need the caller's
// own exclusion. Values own their children; copies are deep.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "korvan/host/Export.hpp"

namespace foundation::json {

class Value;

struct Undefined {
    friend bool operator==(Undefined, Undefined) noexcept { return true; }
};
struct Null {
    friend bool operator==(Null, Null) noexcept { return true; }
};
using String = std::string;
using Array = std::vector<Value>;
using Object = std::map<std::string, Value, std::less<>>;

/// The kinds, in the order of the variant that stores them.
enum class Kind { Undefined, Null, Boolean, Int64, UInt64, Double, Float, String, Array, Object };

/// Name and kind of each stored type: traits<double>::name is "double".
template <class T>
struct traits;
template <>
struct traits<Undefined> {
    static constexpr const char* name = "undefined";
    static constexpr Kind kind = Kind::Undefined;
};
template <>
struct traits<Null> {
    static constexpr const char* name = "null";
    static constexpr Kind kind = Kind::Null;
};
template <>
struct traits<bool> {
    static constexpr const char* name = "boolean";
    static constexpr Kind kind = Kind::Boolean;
};
template <>
struct traits<std::int64_t> {
    static constexpr const char* name = "int64";
    static constexpr Kind kind = Kind::Int64;
};
template <>
struct traits<std::uint64_t> {
    static constexpr const char* name = "uint64";
    static constexpr Kind kind = Kind::UInt64;
};
template <>
struct traits<double> {
    static constexpr const char* name = "double";
    static constexpr Kind kind = Kind::Double;
};
template <>
struct traits<float> {
    static constexpr const char* name = "float";
    static constexpr Kind kind = Kind::Float;
};
template <>
struct traits<String> {
    static constexpr const char* name = "string";
    static constexpr Kind kind = Kind::String;
};
template <>
struct traits<Array> {
    static constexpr const char* name = "array";
    static constexpr Kind kind = Kind::Array;
};
template <>
struct traits<Object> {
    static constexpr const char* name = "object";
    static constexpr Kind kind = Kind::Object;
};

/// The name of a kind, as traits<T>::name.
KORVAN_HOST_EXPORT const char* kindName(Kind kind) noexcept;

/// A read of the wrong kind: "invalid conversion: <stored kind> to <requested kind>".
class KORVAN_HOST_EXPORT ConversionError : public std::runtime_error {
  public:
    ConversionError(Kind stored, const char* requested);
};

class KORVAN_HOST_EXPORT Value {
  public:
    /// The undefined value; what lookups of missing members return.
    static const Value UNDEFINED;

    Value() noexcept = default;  // undefined
    Value(Undefined) noexcept {}
    Value(Null) noexcept : fData(Null{}) {}
    Value(std::nullptr_t) noexcept : fData(Null{}) {}
    Value(bool b) noexcept : fData(b) {}
    template <std::signed_integral T>
    requires(!std::same_as<T, char>) Value(T i)
    noexcept : fData(static_cast<std::int64_t>(i)) {}
    template <std::unsigned_integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char>) Value(T u)
    noexcept : fData(static_cast<std::uint64_t>(u)) {}
    Value(double d) noexcept : fData(d) {}
    Value(float f) noexcept : fData(f) {}
    Value(const char* s) : fData(String(s)) {}
    Value(std::string_view s) : fData(String(s)) {}
    Value(String s) noexcept : fData(std::move(s)) {}
    Value(Array a) noexcept : fData(std::move(a)) {}
    Value(Object o) noexcept : fData(std::move(o)) {}

    Kind kind() const noexcept { return static_cast<Kind>(fData.index()); }
    const char* kindName() const noexcept { return json::kindName(kind()); }
    bool isUndefined() const noexcept { return kind() == Kind::Undefined; }
    bool isNull() const noexcept { return kind() == Kind::Null; }
    bool isBool() const noexcept { return kind() == Kind::Boolean; }
    bool isNumber() const noexcept;  // int64, uint64, double or float
    bool isString() const noexcept { return kind() == Kind::String; }
    bool isArray() const noexcept { return kind() == Kind::Array; }
    bool isObject() const noexcept { return kind() == Kind::Object; }

    /// Member of an object; Value::UNDEFINED when the key is absent. A value that is not an
    /// object throws ConversionError (to "object").
    const Value& operator[](std::string_view key) const;

    /// Element of an array; throws ConversionError when not an array, std::out_of_range when
    /// the index is past the end.
    const Value& at(std::size_t index) const;

    /// Number of elements of an array or members of an object; ConversionError otherwise
    /// (to "array").
    std::size_t size() const;

    bool asBool() const;
    /// Any numeric kind as a double.
    double asNumber() const;
    /// float, or a double narrowed to float.
    float asFloat() const;
    /// int64, or a uint64 up to 2^63-1; else ConversionError (to "int64").
    std::int64_t asInt64() const;
    /// uint64, or a non-negative int64; else ConversionError (to "uint64").
    std::uint64_t asUInt64() const;
    const String& asString() const;
    const Array& asArray() const;
    Array& asArray();
    const Object& asObject() const;
    Object& asObject();

    /// Sets a member of an object; an undefined value becomes an empty object first.
    Value& set(std::string key, Value value);
    /// Appends to an array; an undefined value becomes an empty array first.
    Value& push(Value value);

    /// Deep equality; values of different kinds are unequal (int64 1 != double 1.0).
    friend bool operator==(const Value& a, const Value& b) { return a.fData == b.fData; }

  private:
    template <class T>
    const T& get() const;

    // Alternatives in the order of Kind.
    std::variant<Undefined, Null, bool, std::int64_t, std::uint64_t, double, float, String, Array,
                 Object>
        fData;
};

}  // namespace foundation::json
