// Value display (see Display.hpp).
#include "korvan/lang/Display.hpp"

#include <cmath>
#include <cstdio>

#include "ErrorObject.hpp"
#include "Values.hpp"
#include "kcos/Operations.hpp"
#include "korvan/host/UserCode.hpp"

namespace korvan::lang {
namespace {

std::string dims(const kxArray* v) {
    return std::to_string(kxGetM(v)) + "x" + std::to_string(kxGetN(v)) + " " + kxGetClassName(v);
}

std::string element(const kxArray* v, kxSize i) {
    switch (kxGetClassID(v)) {
        case kxClassID::Logical:
            return kxGetLogicals(v)[i] ? "true" : "false";
        case kxClassID::String: {
            const auto& s = kxGetStringElement(v, i);
            return s ? "\"" + utf8(*s) + "\"" : "<missing>";
        }
        case kxClassID::Object: {
            std::string member = kcos::getEnumMemberName(v, i);
            return member.empty() ? kxGetClassName(v) : member;
        }
        default: {
            std::complex<double> c = complexAt(v, i);
            if (!kxIsComplex(v)) return formatNumber(c.real());
            std::string im = formatNumber(std::abs(c.imag()));
            return formatNumber(c.real()) +
                   (c.imag() < 0 || std::signbit(c.imag()) ? " - " : " + ") + im + "i";
        }
    }
}

bool isTimeClass(const kxArray* v) {
    return kxIsClass(v, "datetime") || kxIsClass(v, "duration");
}

// Datetimes and durations display as the texts their `string` method gives.
Value timeText(const kxArray* v) {
    korvan::host::UserCode code;
    auto out = code.call("string", {v}, 1);
    return out.empty() ? Value() : out.front();
}

std::string grid(const kxArray* v) {
    kxSize m = kxGetM(v), n = kxGetN(v);
    std::vector<std::string> cells(m * n);
    // A real array with any fraction shows all its numbers with four decimals.
    bool decimals = false;
    if (kxIsNumeric(v) && !kxIsComplex(v))
        for (kxSize i = 0; i < m * n; ++i) {
            double x = realAt(v, i);
            decimals = decimals || (std::isfinite(x) && x != std::floor(x));
        }
    std::size_t width = 0;
    for (kxSize i = 0; i < m * n; ++i) {
        double x = decimals ? realAt(v, i) : 0;
        if (decimals && std::isfinite(x) && x != 0 && std::fabs(x) < 1e5) {
            char buf[64];
            std::snprintf(buf, sizeof buf, "%.4f", x);
            cells[i] = buf;
        } else {
            cells[i] = element(v, i);
        }
        width = std::max(width, cells[i].size());
    }
    bool text = kxIsStringArray(v);
    std::string out;
    for (kxSize i = 0; i < m; ++i) {
        std::string line;
        for (kxSize j = 0; j < n; ++j) {
            const std::string& c = cells[i + j * m];
            std::string pad(width - c.size(), ' ');
            line += "    " + (text ? c + pad : pad + c);
        }
        while (!line.empty() && line.back() == ' ') line.pop_back();
        out += line + "\n";
    }
    return out;
}

std::string objectTable(const kxArray* v) {
    if (const ErrorObject* err = errorObject(v))
        return "  " + err->className() + " with properties:\n\n    identifier: '" +
               err->identifier() + "'\n       message: '" + err->message() + "'\n";
    korvan::host::UserCode code;
    std::vector<std::string> names = code.propertyNames(v);
    std::size_t width = 0;
    for (const auto& n : names) width = std::max(width, n.size());
    std::string out = "  " + kxGetClassName(v) + " with properties:\n\n";
    for (const auto& n : names) {
        std::string value;
        try {
            Value p = code.getProperty(v, n);
            value = shortText(p.get());
        } catch (const std::exception& e) {
            value = std::string("<") + e.what() + ">";
        }
        out += "    " + std::string(width - n.size(), ' ') + n + ": " + value + "\n";
    }
    return out;
}

// One element of a cell as its display shows it inside braces: short values as themselves,
// others (containers, matrices) by size and class.
std::string cellItem(const kxArray* e) {
    if (!e) return "[]";
    kxSize count = kxGetNumberOfElements(e);
    if (kxIsCell(e) || kxIsStruct(e)) return dims(e);
    if (kxIsChar(e) && kxGetM(e) <= 1) return shortText(e);
    if (kxIsEmpty(e)) return shortText(e) == "[]" ? "[]" : dims(e);
    if (kxIsObject(e) || kxIsStringArray(e)) return count == 1 ? shortText(e) : dims(e);
    if (count == 1) return "[" + shortText(e) + "]";
    if (kxGetM(e) == 1 && kxGetN(e) <= 10) return shortText(e);
    return dims(e);
}

// "  1x2 cell array", then one line per row: {[1]}    {'a'}, columns left-aligned.
std::string cellBody(const kxArray* v) {
    kxSize m = kxGetM(v), n = kxGetN(v);
    std::vector<std::string> items(m * n);
    std::vector<std::size_t> width(n, 0);
    for (kxSize j = 0; j < n; ++j)
        for (kxSize i = 0; i < m; ++i) {
            items[i + j * m] = "{" + cellItem(kxGetCell(v, i + j * m)) + "}";
            width[j] = std::max(width[j], items[i + j * m].size());
        }
    std::string out = "  " + dims(v) + " array\n";
    for (kxSize i = 0; i < m; ++i) {
        std::string line;
        for (kxSize j = 0; j < n; ++j) {
            const std::string& item = items[i + j * m];
            line += "    " + item + std::string(width[j] - item.size(), ' ');
        }
        while (!line.empty() && line.back() == ' ') line.pop_back();
        out += line + "\n";
    }
    return out;
}

// A 1-by-1 struct: one "name: value" line per field, names right-aligned; a struct array:
// its size and the field names.
std::string structBody(const kxArray* v) {
    kxSize fields = kxGetNumberOfFields(v);
    bool one = kxGetNumberOfElements(v) == 1;
    std::string head = one ? "  struct" : "  " + dims(v) + " array";
    if (fields == 0) return head + " with no fields\n";
    std::string out = head + " with fields:\n";
    std::size_t width = 0;
    for (kxSize f = 0; f < fields && one; ++f)
        width = std::max(width, kxGetFieldNameByNumber(v, f).size());
    for (kxSize f = 0; f < fields; ++f) {
        const std::string& name = kxGetFieldNameByNumber(v, f);
        if (!one) {
            out += "    " + name + "\n";
            continue;
        }
        out += "    " + std::string(width - name.size(), ' ') + name + ": " +
               shortText(kxGetFieldByNumber(v, 0, f)) + "\n";
    }
    return out;
}

bool isSingleLine(const kxArray* v) {
    if (kxIsStruct(v)) return false;
    if (kxIsEmpty(v)) return true;
    if (kxIsCell(v)) return false;
    if (kxIsChar(v)) return kxGetM(v) == 1;
    if (kxIsObject(v))
        return kxGetNumberOfElements(v) == 1 &&
               (isTimeClass(v) || !kcos::getEnumMemberName(v, 0).empty());
    return kxGetNumberOfElements(v) == 1;
}

}  // namespace

std::string formatNumber(double v) {
    if (std::isnan(v)) return "NaN";
    if (std::isinf(v)) return v < 0 ? "-Inf" : "Inf";
    char buf[64];
    double a = std::fabs(v);
    if (v == std::floor(v) && a < 1e15)
        std::snprintf(buf, sizeof buf, "%.0f", v == 0 ? 0.0 : v);
    else if (a >= 1e-3 && a < 1e5)
        std::snprintf(buf, sizeof buf, "%.4f", v);
    else
        std::snprintf(buf, sizeof buf, "%.4e", v);
    return buf;
}

std::string shortText(const kxArray* v) {
    if (!v) return "[]";
    if (kxIsCell(v)) return kxGetM(v) == 0 && kxGetN(v) == 0 ? "{}" : "{" + dims(v) + "}";
    if (kxIsStruct(v)) return "[" + dims(v) + "]";
    if (kxIsChar(v) && kxGetM(v) <= 1) return "'" + kxGetCharTextUtf8(v) + "'";
    if (kxIsEmpty(v))
        return kxIsDouble(v) && kxGetM(v) == 0 && kxGetN(v) == 0 ? "[]" : "[" + dims(v) + "]";
    if (kxIsObject(v) && isTimeClass(v)) {
        Value t = timeText(v);
        if (t && kxGetNumberOfElements(t.get()) == 1 && kxGetStringElement(t.get(), 0))
            return utf8(*kxGetStringElement(t.get(), 0));
    }
    if (kxGetNumberOfElements(v) == 1) return element(v, 0);
    if (!kxIsObject(v) && kxGetM(v) == 1 && kxGetN(v) <= 10) {
        std::string out = "[";
        for (kxSize i = 0; i < kxGetN(v); ++i) out += (i ? " " : "") + element(v, i);
        return out + "]";
    }
    return "[" + dims(v) + "]";
}

std::string displayBody(const kxArray* v) {
    if (kxIsStruct(v)) return structBody(v);
    if (kxIsCell(v) && !kxIsEmpty(v)) return cellBody(v);
    if (kxIsObject(v) && kxGetNumberOfElements(v) == 1 && !isSingleLine(v)) return objectTable(v);
    if (kxIsObject(v) && isTimeClass(v) && kxGetNumberOfElements(v) > 1) {
        Value t = timeText(v);
        if (t) return grid(t.get());
    }
    if (kxIsObject(v) && kxGetNumberOfElements(v) > 1) {
        bool members = !kcos::getEnumMemberName(v, 0).empty();
        if (!members) return "  " + dims(v) + " array\n";
    }
    if (kxIsChar(v) && kxGetM(v) > 1) {
        std::string out;
        kxSize m = kxGetM(v), n = kxGetN(v);
        for (kxSize i = 0; i < m; ++i) {
            std::u16string row;
            for (kxSize j = 0; j < n; ++j) row += kxGetChars(v)[i + j * m];
            out += "    '" + utf8(row) + "'\n";
        }
        return out;
    }
    if (isSingleLine(v)) return shortText(v) + "\n";
    return grid(v);
}

std::string displayValue(const std::string& name, const kxArray* v) {
    if (isSingleLine(v)) return name + " = " + shortText(v) + "\n";
    return name + " =\n" + displayBody(v);
}

}  // namespace korvan::lang
