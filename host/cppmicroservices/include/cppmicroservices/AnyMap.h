// AnyMap: a map from std::string keys to Any values, with a key policy chosen at construction:
// ordered, unordered, or unordered with case-insensitive keys (the default of AnyMap).
//
// Iteration order is unspecified for the two unordered kinds (this implementation happens to
// iterate in key order). With case-insensitive keys, "Color" and "color" are the same key and
// the spelling of the first insertion is kept.
//
// Threads: a value type; concurrent reads are safe, writes need external locking.
// Errors: at() throws std::out_of_range for a missing key.
#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/GlobalConfig.h>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>

namespace cppmicroservices {

namespace detail {

/// Case-insensitive (ASCII) equality and ordering of keys.
US_Framework_EXPORT bool keysEqualIgnoreCase(std::string const& a, std::string const& b) noexcept;
US_Framework_EXPORT bool keyLessIgnoreCase(std::string const& a, std::string const& b) noexcept;

struct any_map_cihash {
    US_Framework_EXPORT std::size_t operator()(std::string const& key) const noexcept;
};
struct any_map_ciequal {
    bool operator()(std::string const& a, std::string const& b) const noexcept {
        return keysEqualIgnoreCase(a, b);
    }
};

/// The ordering of an any_map: plain or case-insensitive, fixed at construction.
struct AnyMapKeyLess {
    bool fIgnoreCase = false;
    bool operator()(std::string const& a, std::string const& b) const noexcept {
        return fIgnoreCase ? keyLessIgnoreCase(a, b) : a < b;
    }
};

}  // namespace detail

class any_map {
  public:
    enum map_type : std::uint8_t { ORDERED_MAP, UNORDERED_MAP, UNORDERED_MAP_CASEINSENSITIVE_KEYS };

    using key_type = std::string;
    using mapped_type = Any;
    using value_type = std::pair<std::string const, Any>;
    using size_type = std::size_t;
    using ordered_any_map = std::map<std::string, Any>;
    using unordered_any_map = std::unordered_map<std::string, Any>;
    using unordered_any_cimap =
        std::unordered_map<std::string, Any, detail::any_map_cihash, detail::any_map_ciequal>;

  private:
    using Storage = std::map<std::string, Any, detail::AnyMapKeyLess>;

  public:
    using iterator = Storage::iterator;
    using const_iterator = Storage::const_iterator;

    explicit any_map(map_type type) : fType(type), fStorage(lessFor(type)) {}
    any_map(map_type type, std::initializer_list<value_type> values) : any_map(type) {
        for (auto const& value : values) fStorage.insert(value);
    }
    explicit any_map(ordered_any_map const& values) : any_map(ORDERED_MAP) {
        fStorage.insert(values.begin(), values.end());
    }
    explicit any_map(unordered_any_map const& values) : any_map(UNORDERED_MAP) {
        fStorage.insert(values.begin(), values.end());
    }
    explicit any_map(unordered_any_cimap const& values)
        : any_map(UNORDERED_MAP_CASEINSENSITIVE_KEYS) {
        fStorage.insert(values.begin(), values.end());
    }

    map_type GetType() const { return fType; }

    iterator begin() { return fStorage.begin(); }
    const_iterator begin() const { return fStorage.begin(); }
    const_iterator cbegin() const { return fStorage.cbegin(); }
    iterator end() { return fStorage.end(); }
    const_iterator end() const { return fStorage.end(); }
    const_iterator cend() const { return fStorage.cend(); }

    bool empty() const { return fStorage.empty(); }
    size_type size() const { return fStorage.size(); }
    size_type count(key_type const& key) const { return fStorage.count(key); }
    void clear() { fStorage.clear(); }

    mapped_type& at(key_type const& key) { return fStorage.at(key); }
    mapped_type const& at(key_type const& key) const { return fStorage.at(key); }
    mapped_type& operator[](key_type const& key) { return fStorage[key]; }
    mapped_type& operator[](key_type&& key) { return fStorage[std::move(key)]; }

    std::pair<iterator, bool> insert(value_type const& value) { return fStorage.insert(value); }
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return fStorage.emplace(std::forward<Args>(args)...);
    }

    iterator find(key_type const& key) { return fStorage.find(key); }
    const_iterator find(key_type const& key) const { return fStorage.find(key); }
    size_type erase(key_type const& key) { return fStorage.erase(key); }
    iterator erase(const_iterator position) { return fStorage.erase(position); }

    bool operator==(any_map const& rhs) const {
        return fType == rhs.fType && fStorage == rhs.fStorage;
    }
    bool operator!=(any_map const& rhs) const { return !(*this == rhs); }

  private:
    static detail::AnyMapKeyLess lessFor(map_type type) {
        return detail::AnyMapKeyLess{type == UNORDERED_MAP_CASEINSENSITIVE_KEYS};
    }

    map_type fType;
    Storage fStorage;
};

class AnyMap : public any_map {
  public:
    AnyMap(std::initializer_list<value_type> values = {})
        : any_map(UNORDERED_MAP_CASEINSENSITIVE_KEYS, values) {}
    AnyMap(map_type type, std::initializer_list<value_type> values = {}) : any_map(type, values) {}
    AnyMap(ordered_any_map const& values) : any_map(values) {}
    AnyMap(unordered_any_map const& values) : any_map(values) {}
    AnyMap(unordered_any_cimap const& values) : any_map(values) {}
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, any_map const& map);

}  // namespace cppmicroservices
