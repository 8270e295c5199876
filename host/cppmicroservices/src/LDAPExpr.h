// LDAPExpr: a parsed RFC 1960 filter and its evaluation against a property lookup.
//
// Grammar: filter = "(" ( "&" filter+ | "|" filter+ | "!" filter | attr op value ) ")";
// op is "=", "~=", "<=" or ">="; in "=" an unescaped "*" is a wildcard; "\" escapes the next
// character. Whitespace is skipped before "(", after "&", "|" and "!", around attribute names
// and after the last ")"; whitespace in values is kept.
//
// Errors: parse() throws std::invalid_argument("<reason>: <rest of the input>") with the
// reasons "Null query", "Unexpected end of query", "Malformed query", "Undefined operator" and
// "Trailing garbage '<c>'".
// Threads: immutable after parsing.
#pragma once

#include <cppmicroservices/Any.h>

#include <functional>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

class LDAPExpr {
  public:
    enum class Kind { And, Or, Not, Equal, Approx, LessEq, GreaterEq };

    /// Looks a key up; null when absent.
    using Lookup = std::function<Any const*(std::string const&)>;

    static LDAPExpr parse(std::string const& text);

    bool evaluate(Lookup const& lookup) const;
    std::string toString() const;

    Kind fKind = Kind::And;
    std::vector<LDAPExpr> fChildren;  // And, Or (one or more), Not (exactly one)
    std::string fAttribute;           // simple items
    // The value of a simple item, split at unescaped '*' (only "=" has wildcards, so every
    // other kind has exactly one part). "(a=*)" gives {"", ""}: a presence test.
    std::vector<std::string> fParts;

  private:
    bool isPresence() const;
    bool compare(Any const& value) const;
    bool compareString(std::string const& value) const;
};

}  // namespace cppmicroservices::detail
