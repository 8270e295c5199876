// LDAPFilter: an RFC 1960 search filter over properties, e.g.
// "(&(objectclass=ns::IFoo)(|(port>=1025)(name=a*)))".
//
// Keys are matched case-insensitively by Match and exactly by MatchCase. A missing key or an
// empty value never matches. Strings compare exactly with '*' wildcards (=), ignoring case and
// whitespace (~=), or lexicographically (<=, >=); integral and floating-point values compare
// numerically; bool compares with "true"/"false"; a std::vector or std::list of strings or a
// std::vector<Any> matches when one element does.
//
// A default-constructed filter is false, prints as "" and matches nothing.
// Threads: immutable after construction; safe to share.
// Errors: the string constructor throws std::invalid_argument("<reason>: <rest of the input>").
#pragma once

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/ServiceReferenceBase.h>

#include <memory>
#include <ostream>
#include <string>

namespace cppmicroservices {

class LDAPFilter;

namespace detail {
class LDAPExpr;
/// The interface id a filter requires, when it is "(objectclass=X)" or an "&" with such an
/// operand (no wildcard); else "". Trackers use it to query services best first.
US_Framework_EXPORT std::string pinnedObjectClass(LDAPFilter const& filter);
/// value with ( ) * \ escaped, for building filter texts.
US_Framework_EXPORT std::string escapeFilterValue(std::string const& value);
}  // namespace detail

class US_Framework_EXPORT LDAPFilter {
  public:
    LDAPFilter();
    LDAPFilter(std::string const& filter);
    LDAPFilter(LDAPFilter const& other);
    LDAPFilter& operator=(LDAPFilter const& filter);
    ~LDAPFilter();

    explicit operator bool() const;

    bool Match(ServiceReferenceBase const& reference) const;
    bool Match(AnyMap const& dictionary) const;
    bool MatchCase(AnyMap const& dictionary) const;

    /// The normalised filter text: whitespace outside values dropped, ( ) * \ in values escaped.
    std::string ToString() const;

    bool operator==(LDAPFilter const& other) const;

  protected:
    friend std::string detail::pinnedObjectClass(LDAPFilter const& filter);

    std::shared_ptr<detail::LDAPExpr const> d;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, LDAPFilter const& filter);

}  // namespace cppmicroservices
