// Any: a type-safe container for one value of any copyable type, used for service properties
// and framework configuration values.
//
// Matching is by exact type: any_cast<long> of an Any holding an int fails. An Any cannot hold
// an array, so Any("text") does not compile; write std::string("text"). Nor can it hold a type
// without operator<<(std::ostream&): every held value can be rendered as text.
//
// Threads: an Any is a value; concurrent reads are safe, writes need external locking.
// Errors: the reference forms of any_cast throw BadAnyCastException on a type mismatch; the
// pointer forms return nullptr. ToString() throws std::logic_error("empty any") when empty.
#pragma once

#include <cppmicroservices/GlobalConfig.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <unordered_map>
#include <utility>
#include <vector>

namespace cppmicroservices {

class Any;

namespace detail {

template <class T, class = void>
struct IsEqualityComparable : std::false_type {};
template <class T>
struct IsEqualityComparable<
    T, std::void_t<decltype(std::declval<T const&>() == std::declval<T const&>())>>
    : std::true_type {};

template <class T, class = void>
struct IsStreamable : std::false_type {};
template <class T>
struct IsStreamable<
    T, std::void_t<decltype(std::declval<std::ostream&>() << std::declval<T const&>())>>
    : std::true_type {};

US_Framework_EXPORT void anyValueToStream(std::ostream& os, Any const& value);

template <class T>
void valueToStream(std::ostream& os, T const& value);

template <class Range>
void rangeToStream(std::ostream& os, Range const& range) {
    os << '[';
    bool first = true;
    for (auto const& element : range) {
        if (!first) os << ',';
        first = false;
        valueToStream(os, element);
    }
    os << ']';
}

template <class Map>
void mapToStream(std::ostream& os, Map const& map) {
    os << '{';
    bool first = true;
    for (auto const& [key, element] : map) {
        if (!first) os << ", ";
        first = false;
        valueToStream(os, key);
        os << " : ";
        valueToStream(os, element);
    }
    os << '}';
}

template <class T>
struct IsSequence : std::false_type {};
template <class T, class A>
struct IsSequence<std::vector<T, A>> : std::true_type {};
template <class T, class A>
struct IsSequence<std::list<T, A>> : std::true_type {};

template <class T>
struct IsFunction : std::false_type {};
template <class R, class... Args>
struct IsFunction<std::function<R(Args...)>> : std::true_type {};

template <class T>
struct IsMap : std::false_type {};
template <class K, class V, class C, class A>
struct IsMap<std::map<K, V, C, A>> : std::true_type {};
template <class K, class V, class H, class E, class A>
struct IsMap<std::unordered_map<K, V, H, E, A>> : std::true_type {};

template <class T>
void valueToStream(std::ostream& os, T const& value) {
    if constexpr (std::is_same_v<T, Any>) {
        anyValueToStream(os, value);
    } else if constexpr (std::is_same_v<T, bool>) {
        os << (value ? "true" : "false");
    } else if constexpr (IsSequence<T>::value) {
        rangeToStream(os, value);
    } else if constexpr (IsMap<T>::value) {
        mapToStream(os, value);
    } else if constexpr (IsFunction<T>::value) {
        // a held function prints as nothing
    } else {
        // Any renders every held value as text, so a type without operator<< cannot be held
        // (the installed library refuses it in the same place).
        static_assert(IsStreamable<T>::value,
                      "cppmicroservices::Any cannot hold a type without operator<<(std::ostream&)");
        os << value;
    }
}

}  // namespace detail

class Any {
  public:
    Any() = default;

    template <class V, class Stored = std::remove_cv_t<std::remove_reference_t<V>>,
              class = std::enable_if_t<!std::is_same_v<Stored, Any>>>
    Any(V&& value) : fContent(std::make_unique<Holder<Stored>>(std::forward<V>(value))) {
        static_assert(!std::is_array_v<Stored>,
                      "cppmicroservices::Any cannot hold an array; use std::string for text");
    }

    Any(Any const& other) : fContent(other.fContent ? other.fContent->clone() : nullptr) {}
    Any(Any&& other) noexcept = default;
    ~Any() = default;

    Any& Swap(Any& rhs) noexcept {
        std::swap(fContent, rhs.fContent);
        return *this;
    }

    template <class V>
    bool operator==(V const& value) const {
        static_assert(!std::is_array_v<V>, "compare with std::string, not with a literal");
        return Type() == typeid(V) &&
               static_cast<Holder<V> const*>(fContent.get())->equalsValue(value);
    }
    bool operator==(Any const& rhs) const {
        if (!fContent || !rhs.fContent) return !fContent && !rhs.fContent;
        return fContent->type() == rhs.fContent->type() && fContent->equals(*rhs.fContent);
    }
    template <class V>
    bool operator!=(V const& value) const {
        return !(*this == value);
    }

    template <class V, class = std::enable_if_t<!std::is_same_v<std::decay_t<V>, Any>>>
    Any& operator=(V const& rhs) {
        Any(rhs).Swap(*this);
        return *this;
    }
    Any& operator=(Any const& rhs) {
        Any(rhs).Swap(*this);
        return *this;
    }
    Any& operator=(Any&& rhs) noexcept = default;

    bool Empty() const { return !fContent; }

    /// The value as text: strings as they are, sequences as "[a,b]", maps as "{k : v, ...}".
    /// Throws std::logic_error("empty any") when empty.
    US_Framework_EXPORT std::string ToString() const;
    /// As ToString(), but "" when empty.
    US_Framework_EXPORT std::string ToStringNoExcept() const;

    std::type_info const& Type() const { return fContent ? fContent->type() : typeid(void); }

  private:
    struct Placeholder {
        virtual ~Placeholder() = default;
        virtual std::type_info const& type() const = 0;
        virtual std::unique_ptr<Placeholder> clone() const = 0;
        virtual void toStream(std::ostream& os) const = 0;
        virtual bool equals(Placeholder const& other) const = 0;
    };

    template <class V>
    struct Holder final : Placeholder {
        template <class Arg>
        explicit Holder(Arg&& value) : fHeld(std::forward<Arg>(value)) {}
        std::type_info const& type() const override { return typeid(V); }
        std::unique_ptr<Placeholder> clone() const override {
            return std::make_unique<Holder<V>>(fHeld);
        }
        void toStream(std::ostream& os) const override { detail::valueToStream(os, fHeld); }
        bool equalsValue(V const& value) const {
            if constexpr (detail::IsEqualityComparable<V>::value) {
                return static_cast<bool>(fHeld == value);
            } else {
                return &fHeld == &value;
            }
        }
        bool equals(Placeholder const& other) const override {
            return equalsValue(static_cast<Holder<V> const&>(other).fHeld);
        }
        V fHeld;
    };

    template <class V>
    friend V* unsafe_any_cast(Any* operand) noexcept;
    friend void detail::anyValueToStream(std::ostream& os, Any const& value);

    std::unique_ptr<Placeholder> fContent;
};

/// Thrown by the reference forms of any_cast when the held type is not the requested one.
class US_Framework_EXPORT BadAnyCastException : public std::bad_cast {
  public:
    explicit BadAnyCastException(std::string message = "cppmicroservices::BadAnyCastException")
        : fMessage(std::move(message)) {}
    ~BadAnyCastException() override;
    char const* what() const noexcept override { return fMessage.c_str(); }

  private:
    std::string fMessage;
};

namespace detail {
[[noreturn]] US_Framework_EXPORT void throwBadAnyCast(std::type_info const& held,
                                                      std::type_info const& wanted);
}

template <class ValueType>
ValueType* unsafe_any_cast(Any* operand) noexcept {
    return &static_cast<Any::Holder<std::remove_cv_t<ValueType>>*>(operand->fContent.get())->fHeld;
}
template <class ValueType>
ValueType const* unsafe_any_cast(Any const* operand) noexcept {
    return unsafe_any_cast<ValueType>(const_cast<Any*>(operand));
}

template <class ValueType>
ValueType* any_cast(Any* operand) {
    return operand && operand->Type() == typeid(ValueType) ? unsafe_any_cast<ValueType>(operand)
                                                           : nullptr;
}
template <class ValueType>
ValueType const* any_cast(Any const* operand) {
    return any_cast<ValueType>(const_cast<Any*>(operand));
}

template <class ValueType>
ValueType any_cast(Any const& operand) {
    using Stored = std::remove_cv_t<std::remove_reference_t<ValueType>>;
    Stored const* result = any_cast<Stored>(&operand);
    if (!result) detail::throwBadAnyCast(operand.Type(), typeid(Stored));
    return *result;
}
template <class ValueType>
ValueType any_cast(Any& operand) {
    using Stored = std::remove_cv_t<std::remove_reference_t<ValueType>>;
    Stored* result = any_cast<Stored>(&operand);
    if (!result) detail::throwBadAnyCast(operand.Type(), typeid(Stored));
    return *result;
}

template <class ValueType>
ValueType const& ref_any_cast(Any const& operand) {
    ValueType const* result = any_cast<ValueType>(&operand);
    if (!result) detail::throwBadAnyCast(operand.Type(), typeid(ValueType));
    return *result;
}
template <class ValueType>
ValueType& ref_any_cast(Any& operand) {
    ValueType* result = any_cast<ValueType>(&operand);
    if (!result) detail::throwBadAnyCast(operand.Type(), typeid(ValueType));
    return *result;
}

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, Any const& any);

}  // namespace cppmicroservices
