// Parsing, printing and evaluation of LDAP filter expressions.
#include "LDAPExpr.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <list>
#include <stdexcept>
#include <vector>

namespace cppmicroservices::detail {

namespace {

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string trim(std::string const& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && isSpace(text[begin])) ++begin;
    while (end > begin && isSpace(text[end - 1])) --end;
    return text.substr(begin, end - begin);
}

bool equalsIgnoreCase(std::string const& a, std::string const& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

/// Lower case without any whitespace, for "~=".
std::string approximate(std::string const& text) {
    std::string result;
    for (char c : text) {
        if (!isSpace(c)) result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return result;
}

bool wildcardMatch(std::string const& text, std::vector<std::string> const& parts) {
    std::string const& first = parts.front();
    std::string const& last = parts.back();
    if (text.compare(0, first.size(), first) != 0) return false;
    std::size_t position = first.size();
    for (std::size_t i = 1; i + 1 < parts.size(); ++i) {
        if (parts[i].empty()) continue;
        auto found = text.find(parts[i], position);
        if (found == std::string::npos) return false;
        position = found + parts[i].size();
    }
    return text.size() >= position + last.size() &&
           text.compare(text.size() - last.size(), last.size(), last) == 0;
}

class Parser {
  public:
    explicit Parser(std::string const& text) : fText(text) {}

    LDAPExpr run() {
        if (fText.empty()) fail("Null query");
        LDAPExpr expr = parseFilter();
        skipSpace();
        if (fPos < fText.size()) fail("Trailing garbage '" + std::string(1, fText[fPos]) + "'");
        return expr;
    }

  private:
    [[noreturn]] void fail(std::string const& reason) const {
        throw std::invalid_argument(reason + ": " + fText.substr(std::min(fPos, fText.size())));
    }

    void skipSpace() {
        while (fPos < fText.size() && isSpace(fText[fPos])) ++fPos;
    }

    char peek() const {
        if (fPos >= fText.size()) fail("Unexpected end of query");
        return fText[fPos];
    }

    void expectClose() {
        if (peek() != ')') fail("Malformed query");
        ++fPos;
    }

    LDAPExpr parseFilter() {
        skipSpace();
        if (peek() != '(') fail("Malformed query");
        ++fPos;
        skipSpace();
        char const c = peek();
        LDAPExpr expr;
        if (c == '&' || c == '|') {
            ++fPos;
            expr.fKind = c == '&' ? LDAPExpr::Kind::And : LDAPExpr::Kind::Or;
            skipSpace();
            while (peek() == '(') {
                expr.fChildren.push_back(parseFilter());
                skipSpace();
            }
            if (expr.fChildren.empty()) fail("Malformed query");
            expectClose();
        } else if (c == '!') {
            ++fPos;
            expr.fKind = LDAPExpr::Kind::Not;
            skipSpace();
            if (peek() != '(') fail("Malformed query");
            expr.fChildren.push_back(parseFilter());
            skipSpace();
            expectClose();
        } else {
            parseItem(expr);
        }
        return expr;
    }

    void parseItem(LDAPExpr& expr) {
        std::size_t const start = fPos;
        while (fPos < fText.size() && std::strchr("=<>~()", fText[fPos]) == nullptr) ++fPos;
        if (fPos >= fText.size()) fail("Unexpected end of query");
        expr.fAttribute = trim(fText.substr(start, fPos - start));
        if (expr.fAttribute.empty()) fail("Malformed query");

        char const op = fText[fPos];
        if (op == '=') {
            expr.fKind = LDAPExpr::Kind::Equal;
            ++fPos;
        } else if ((op == '~' || op == '<' || op == '>') && fPos + 1 < fText.size() &&
                   fText[fPos + 1] == '=') {
            expr.fKind = op == '~'   ? LDAPExpr::Kind::Approx
                         : op == '<' ? LDAPExpr::Kind::LessEq
                                     : LDAPExpr::Kind::GreaterEq;
            fPos += 2;
        } else {
            fail("Undefined operator");
        }

        std::string current;
        for (;;) {
            char const c = peek();
            if (c == ')') {
                ++fPos;
                break;
            }
            if (c == '(') fail("Malformed query");
            if (c == '\\') {
                ++fPos;
                current += peek();
                ++fPos;
            } else if (c == '*' && expr.fKind == LDAPExpr::Kind::Equal) {
                expr.fParts.push_back(current);
                current.clear();
                ++fPos;
            } else {
                current += c;
                ++fPos;
            }
        }
        expr.fParts.push_back(current);
    }

    std::string const& fText;
    std::size_t fPos = 0;
};

std::string escape(std::string const& value) {
    std::string result;
    for (char c : value) {
        if (c == '(' || c == ')' || c == '*' || c == '\\') result += '\\';
        result += c;
    }
    return result;
}

template <class T>
bool compareNumber(T value, T operand, LDAPExpr::Kind kind) {
    switch (kind) {
        case LDAPExpr::Kind::Equal:
        case LDAPExpr::Kind::Approx:
            if constexpr (std::is_floating_point_v<T>) {
                T const scale = std::max({T(1), std::fabs(value), std::fabs(operand)});
                return std::fabs(value - operand) <= std::numeric_limits<T>::epsilon() * scale;
            } else {
                return value == operand;
            }
        case LDAPExpr::Kind::LessEq:
            return value <= operand;
        case LDAPExpr::Kind::GreaterEq:
            return value >= operand;
        default:
            return false;
    }
}

/// Parses the whole of text (surrounding whitespace allowed) as a number of type T.
template <class T>
bool parseNumber(std::string const& text, T& result) {
    std::string const trimmed = trim(text);
    if (trimmed.empty()) return false;
    char* end = nullptr;
    errno = 0;
    if constexpr (std::is_floating_point_v<T>) {
        result = static_cast<T>(std::strtold(trimmed.c_str(), &end));
    } else if constexpr (std::is_signed_v<T>) {
        long long const parsed = std::strtoll(trimmed.c_str(), &end, 10);
        if (parsed < static_cast<long long>(std::numeric_limits<T>::min()) ||
            parsed > static_cast<long long>(std::numeric_limits<T>::max())) {
            return false;
        }
        result = static_cast<T>(parsed);
    } else {
        if (trimmed[0] == '-') return false;
        unsigned long long const parsed = std::strtoull(trimmed.c_str(), &end, 10);
        if (parsed > static_cast<unsigned long long>(std::numeric_limits<T>::max())) return false;
        result = static_cast<T>(parsed);
    }
    return errno == 0 && end == trimmed.c_str() + trimmed.size();
}

template <class T>
bool compareAs(Any const& value, LDAPExpr const& expr, bool& handled) {
    T const* typed = any_cast<T>(&value);
    if (typed == nullptr) return false;
    handled = true;
    if (expr.fParts.size() != 1) return false;  // wildcards apply to strings only
    T operand{};
    return parseNumber(expr.fParts.front(), operand) && compareNumber(*typed, operand, expr.fKind);
}

}  // namespace

LDAPExpr LDAPExpr::parse(std::string const& text) {
    return Parser(text).run();
}

bool LDAPExpr::isPresence() const {
    return fKind == Kind::Equal && fParts.size() >= 2 &&
           std::all_of(fParts.begin(), fParts.end(), [](auto const& p) { return p.empty(); });
}

bool LDAPExpr::evaluate(Lookup const& lookup) const {
    switch (fKind) {
        case Kind::And:
            return std::all_of(fChildren.begin(), fChildren.end(),
                               [&](LDAPExpr const& child) { return child.evaluate(lookup); });
        case Kind::Or:
            return std::any_of(fChildren.begin(), fChildren.end(),
                               [&](LDAPExpr const& child) { return child.evaluate(lookup); });
        case Kind::Not:
            return !fChildren.front().evaluate(lookup);
        default:
            break;
    }
    Any const* value = lookup(fAttribute);
    if (value == nullptr || value->Empty()) return false;
    if (isPresence()) return true;
    return compare(*value);
}

bool LDAPExpr::compareString(std::string const& value) const {
    std::string const& operand = fParts.front();
    switch (fKind) {
        case Kind::Equal:
            return fParts.size() == 1 ? value == operand : wildcardMatch(value, fParts);
        case Kind::Approx:
            return approximate(value) == approximate(operand);
        case Kind::LessEq:
            return value <= operand;
        case Kind::GreaterEq:
            return value >= operand;
        default:
            return false;
    }
}

bool LDAPExpr::compare(Any const& value) const {
    std::type_info const& type = value.Type();
    if (type == typeid(std::string)) return compareString(*any_cast<std::string>(&value));
    if (type == typeid(char const*)) {
        char const* text = *any_cast<char const*>(&value);
        return text != nullptr && compareString(text);
    }
    if (type == typeid(bool)) {
        if (fKind != Kind::Equal && fKind != Kind::Approx) return false;
        if (fParts.size() != 1) return false;
        std::string const operand = trim(fParts.front());
        bool const held = *any_cast<bool>(&value);
        if (equalsIgnoreCase(operand, "true")) return held;
        if (equalsIgnoreCase(operand, "false")) return !held;
        return false;
    }
    if (type == typeid(std::vector<std::string>)) {
        auto const& items = *any_cast<std::vector<std::string>>(&value);
        return std::any_of(items.begin(), items.end(),
                           [&](std::string const& item) { return compareString(item); });
    }
    if (type == typeid(std::list<std::string>)) {
        auto const& items = *any_cast<std::list<std::string>>(&value);
        return std::any_of(items.begin(), items.end(),
                           [&](std::string const& item) { return compareString(item); });
    }
    if (type == typeid(std::vector<Any>)) {
        auto const& items = *any_cast<std::vector<Any>>(&value);
        return std::any_of(items.begin(), items.end(),
                           [&](Any const& item) { return !item.Empty() && compare(item); });
    }
    bool handled = false;
    bool const result =
        compareAs<short>(value, *this, handled) ||
        compareAs<unsigned short>(value, *this, handled) || compareAs<int>(value, *this, handled) ||
        compareAs<unsigned int>(value, *this, handled) || compareAs<long>(value, *this, handled) ||
        compareAs<unsigned long>(value, *this, handled) ||
        compareAs<long long>(value, *this, handled) ||
        compareAs<unsigned long long>(value, *this, handled) ||
        compareAs<float>(value, *this, handled) || compareAs<double>(value, *this, handled);
    return result;  // any other type never matches
}

std::string LDAPExpr::toString() const {
    switch (fKind) {
        case Kind::And:
        case Kind::Or:
        case Kind::Not: {
            std::string result = fKind == Kind::And ? "(&" : fKind == Kind::Or ? "(|" : "(!";
            for (auto const& child : fChildren) result += child.toString();
            return result + ")";
        }
        default:
            break;
    }
    char const* op = fKind == Kind::Equal    ? "="
                     : fKind == Kind::Approx ? "~="
                     : fKind == Kind::LessEq ? "<="
                                             : ">=";
    std::string result = "(" + fAttribute + op;
    for (std::size_t i = 0; i < fParts.size(); ++i) {
        if (i > 0) result += '*';
        result += escape(fParts[i]);
    }
    return result + ")";
}

std::string escapeValue(std::string const& value) {
    return escape(value);
}

}  // namespace cppmicroservices::detail
