// LDAPFilter: a parsed filter matched against property maps and service references.
#include "CoreFramework.h"
#include "LDAPExpr.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>

namespace cppmicroservices {

namespace detail {
std::string escapeValue(std::string const& value);  // LDAPExpr.cpp
}

LDAPFilter::LDAPFilter() = default;
LDAPFilter::LDAPFilter(std::string const& filter)
    : d(std::make_shared<detail::LDAPExpr const>(detail::LDAPExpr::parse(filter))) {}
LDAPFilter::LDAPFilter(LDAPFilter const&) = default;
LDAPFilter& LDAPFilter::operator=(LDAPFilter const&) = default;
LDAPFilter::~LDAPFilter() = default;

LDAPFilter::operator bool() const {
    return static_cast<bool>(d);
}

bool LDAPFilter::Match(ServiceReferenceBase const& reference) const {
    if (!d || !reference.d) return false;
    return Match(reference.d->properties());
}

bool LDAPFilter::Match(AnyMap const& dictionary) const {
    if (!d) return false;
    return d->evaluate([&](std::string const& key) -> Any const* {
        if (dictionary.GetType() == any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS) {
            auto found = dictionary.find(key);
            return found == dictionary.end() ? nullptr : &found->second;
        }
        for (auto const& entry : dictionary) {
            if (detail::keysEqualIgnoreCase(entry.first, key)) return &entry.second;
        }
        return nullptr;
    });
}

bool LDAPFilter::MatchCase(AnyMap const& dictionary) const {
    if (!d) return false;
    return d->evaluate([&](std::string const& key) -> Any const* {
        for (auto const& entry : dictionary) {
            if (entry.first == key) return &entry.second;
        }
        return nullptr;
    });
}

std::string LDAPFilter::ToString() const {
    return d ? d->toString() : std::string();
}

bool LDAPFilter::operator==(LDAPFilter const& other) const {
    return ToString() == other.ToString();
}

std::ostream& operator<<(std::ostream& os, LDAPFilter const& filter) {
    return os << filter.ToString();
}

namespace detail {

namespace {
std::string pinnedIn(LDAPExpr const& expr) {
    if (expr.fKind == LDAPExpr::Kind::Equal && expr.fParts.size() == 1 &&
        keysEqualIgnoreCase(expr.fAttribute, Constants::OBJECTCLASS)) {
        return expr.fParts.front();
    }
    if (expr.fKind == LDAPExpr::Kind::And) {
        for (auto const& child : expr.fChildren) {
            std::string found = pinnedIn(child);
            if (!found.empty()) return found;
        }
    }
    return std::string();
}
}  // namespace

std::string pinnedObjectClass(LDAPFilter const& filter) {
    return filter.d ? pinnedIn(*filter.d) : std::string();
}

std::string escapeFilterValue(std::string const& value) {
    return escapeValue(value);
}

}  // namespace detail

}  // namespace cppmicroservices
