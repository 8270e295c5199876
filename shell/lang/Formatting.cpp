// printf-style formatting for print, format and error. The format's escapes (\n \t \\) are
// expanded; each conversion (%d %i %u %f %e %g %x %o %c %s, with flags, width and precision)
// takes the next item of the arguments, where a char array is one item, and every element of
// a numeric, logical or string array is one item. When items remain at the end of the
// format, the format is used again; when they run out, output stops at the next conversion.
#include <cmath>
#include <cstdio>
#include <variant>

#include "Builtins.hpp"
#include "korvan/lang/Display.hpp"

namespace korvan::lang {
namespace {

using Item = std::variant<double, std::string>;

std::vector<Item> flatten(const Args& args) {
    std::vector<Item> items;
    for (const kxArray* a : args) {
        if (kxIsChar(a)) {
            items.emplace_back(kxGetCharTextUtf8(a));
        } else if (kxIsStringArray(a)) {
            for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) {
                const auto& s = kxGetStringElement(a, i);
                items.emplace_back(s ? utf8(*s) : std::string("<missing>"));
            }
        } else if (isArithmetic(a)) {
            for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) items.emplace_back(realAt(a, i));
        } else {
            items.emplace_back(shortText(a));
        }
    }
    return items;
}

std::string expandEscapes(const std::string& f) {
    std::string out;
    for (std::size_t i = 0; i < f.size(); ++i) {
        if (f[i] != '\\' || i + 1 == f.size()) {
            out += f[i];
            continue;
        }
        char c = f[++i];
        out += c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c == '\\' ? '\\' : c;
    }
    return out;
}

std::string printf1(const std::string& spec, double v) {
    char buf[512];
    std::snprintf(buf, sizeof buf, spec.c_str(), v);
    return buf;
}
std::string printfInt(std::string spec, double v) {
    spec.insert(spec.size() - 1, "ll");
    char buf[512];
    if (spec.back() == 'x' || spec.back() == 'o' || spec.back() == 'u')
        std::snprintf(buf, sizeof buf, spec.c_str(), static_cast<unsigned long long>(v));
    else
        std::snprintf(buf, sizeof buf, spec.c_str(), static_cast<long long>(v));
    return buf;
}

std::string convert(std::string spec, const Item& item) {
    char conv = spec.back();
    if (const auto* text = std::get_if<std::string>(&item)) {
        spec.back() = 's';
        char buf[2048];
        std::snprintf(buf, sizeof buf, spec.c_str(), text->c_str());
        return buf;
    }
    double v = std::get<double>(item);
    switch (conv) {
        case 'd':
        case 'i':
        case 'u':
        case 'x':
        case 'o':
            if (std::isfinite(v) && v == std::floor(v)) {
                if (conv == 'i') spec.back() = 'd';
                return printfInt(spec, v);
            }
            if (std::isnan(v) || std::isinf(v))
                return std::isnan(v) ? "NaN" : v < 0 ? "-Inf" : "Inf";
            spec.back() = 'e';
            return printf1(spec, v);
        case 'c': {
            std::u16string one(1, static_cast<char16_t>(v));
            return utf8(one);
        }
        case 's': {
            spec.back() = 's';
            char num[64];
            std::snprintf(num, sizeof num, "%.15g", v);
            char buf[512];
            std::snprintf(buf, sizeof buf, spec.c_str(), num);
            return buf;
        }
        default:
            return printf1(spec, v);
    }
}

}  // namespace

std::string formatValues(const std::string& formatIn, const Args& args) {
    std::string format = expandEscapes(formatIn);
    std::vector<Item> items = flatten(args);
    std::string out;
    std::size_t next = 0;
    for (;;) {
        bool consumed = false;
        for (std::size_t i = 0; i < format.size(); ++i) {
            if (format[i] != '%') {
                out += format[i];
                continue;
            }
            if (i + 1 < format.size() && format[i + 1] == '%') {
                out += '%';
                ++i;
                continue;
            }
            std::size_t j = i + 1;
            while (j < format.size() &&
                   std::string_view("-+ #0123456789.").find(format[j]) != std::string_view::npos)
                ++j;
            if (j >= format.size() ||
                std::string_view("diuxofegcsEG").find(format[j]) == std::string_view::npos) {
                out += format.substr(i, j - i);
                i = j - 1;
                continue;
            }
            if (next >= items.size()) {
                if (!items.empty() || consumed) return out;
                i = j;  // no arguments at all: conversions print nothing
                continue;
            }
            out += convert(format.substr(i, j - i + 1), items[next++]);
            consumed = true;
            i = j;
        }
        if (!consumed || next >= items.size()) return out;
    }
}

}  // namespace korvan::lang
