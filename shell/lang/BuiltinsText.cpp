// Built-ins over texts: string, char, missing, join, split, format, print, disp.
#include <iostream>

#include "Builtins.hpp"
#include "kcos/Operations.hpp"
#include "korvan/lang/Display.hpp"
#include "korvan/lang/Interpreter.hpp"

namespace korvan::lang {
namespace {

std::ostream& output() {
    Interpreter* in = Interpreter::current();
    return in ? in->out() : std::cout;
}

// Enumeration members convert to their member names.
Value memberNames(const kxArray* a) {
    Value out(kxCreateStringMatrix(kxGetM(a), kxGetN(a)));
    for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) {
        std::string name = kcos::getEnumMemberName(a, i);
        if (name.empty()) langError("CannotConvert", kxGetClassName(a), "string");
        kxSetStringElement(out.get(), i, utf16(name));
    }
    return out;
}

Value toString(const kxArray* a) {
    if (kxIsObject(a)) return memberNames(a);
    if (kxIsChar(a) && kxGetM(a) > 1) {  // each row one text
        kxSize m = kxGetM(a), n = kxGetN(a);
        Value out(kxCreateStringMatrix(m, 1));
        for (kxSize i = 0; i < m; ++i) {
            std::u16string row;
            for (kxSize j = 0; j < n; ++j) row += kxGetChars(a)[i + j * m];
            kxSetStringElement(out.get(), i, row);
        }
        return out;
    }
    return convertTo(a, kxClassID::String);
}

std::vector<std::u16string> texts(const char* fn, const kxArray* a) {
    std::vector<std::u16string> out;
    if (kxIsChar(a)) {
        out.push_back(kxGetCharText(a));
        return out;
    }
    if (!kxIsStringArray(a))
        langError("InvalidArgument", fn, "a text is needed, not " + kxGetClassName(a) + ".");
    for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) {
        const auto& s = kxGetStringElement(a, i);
        if (!s) langError("InvalidArgument", fn, "missing strings are not supported.");
        out.push_back(*s);
    }
    return out;
}

}  // namespace

void registerTextBuiltins() {
    defineBuiltin("string", 1, 1,
                  [](const Args& a, int) { return std::vector<Value>{toString(a[0])}; });
    defineBuiltin("missing", 0, 0, [](const Args&, int) {
        return std::vector<Value>{Value(kxCreateMissingString())};
    });
    defineBuiltin("char", 1, 1, [](const Args& a, int) {
        const kxArray* x = a[0];
        if (kxIsObject(x)) {
            Value names = memberNames(x);
            return std::vector<Value>{
                Value(kxCreateCharFromUtf16(*kxGetStringElement(names.get(), 0)))};
        }
        if (kxIsStringArray(x)) {
            if (kxGetNumberOfElements(x) != 1 || !kxGetStringElement(x, 0))
                langError("CannotConvert", "string array", "char");
            return std::vector<Value>{Value(kxCreateCharFromUtf16(*kxGetStringElement(x, 0)))};
        }
        return std::vector<Value>{convertTo(x, kxClassID::Char)};
    });
    defineBuiltin("join", 1, 2, [](const Args& a, int) {
        std::vector<std::u16string> parts =
            kxIsChar(a[0]) ? std::vector<std::u16string>{kxGetCharText(a[0])} : texts("join", a[0]);
        std::u16string delim = a.size() > 1 ? texts("join", a[1]).front() : u" ";
        std::u16string out;
        for (std::size_t i = 0; i < parts.size(); ++i) out += (i ? delim : u"") + parts[i];
        return std::vector<Value>{Value(kxCreateStringScalar(out))};
    });
    defineBuiltin("split", 1, 2, [](const Args& a, int) {
        std::u16string text = texts("split", a[0]).front();
        std::vector<std::u16string> parts;
        if (a.size() > 1) {
            std::u16string delim = texts("split", a[1]).front();
            if (delim.empty()) langError("InvalidArgument", "split", "the delimiter is empty.");
            std::size_t start = 0, at;
            while ((at = text.find(delim, start)) != std::u16string::npos) {
                parts.push_back(text.substr(start, at - start));
                start = at + delim.size();
            }
            parts.push_back(text.substr(start));
        } else {  // runs of white space separate
            std::u16string cur;
            bool inWord = false;
            for (char16_t c : text) {
                bool space = c == u' ' || c == u'\t' || c == u'\n';
                if (space && inWord) parts.push_back(cur), cur.clear();
                if (!space) cur += c;
                inWord = !space;
            }
            if (inWord || parts.empty()) parts.push_back(cur);
        }
        Value out(kxCreateStringMatrix(parts.size(), 1));
        for (std::size_t i = 0; i < parts.size(); ++i) kxSetStringElement(out.get(), i, parts[i]);
        return std::vector<Value>{out};
    });
    defineBuiltin("format", 1, -1, [](const Args& a, int) {
        std::string text = formatValues(textOf(a[0]), Args(a.begin() + 1, a.end()));
        return std::vector<Value>{kxIsStringArray(a[0]) ? makeString(text) : makeChar(text)};
    });
    defineBuiltin("print", 1, -1, [](const Args& a, int) {
        output() << formatValues(textOf(a[0]), Args(a.begin() + 1, a.end())) << std::flush;
        return std::vector<Value>{};
    });
    defineBuiltin("disp", 1, 1, [](const Args& a, int) {
        const kxArray* x = a[0];
        if (kxIsChar(x) && kxGetM(x) <= 1)
            output() << kxGetCharTextUtf8(x) << "\n";
        else if (kxIsStringArray(x) && kxGetNumberOfElements(x) == 1)
            output() << (kxGetStringElement(x, 0) ? utf8(*kxGetStringElement(x, 0)) : "<missing>")
                     << "\n";
        else if (!kxIsEmpty(x) || kxIsStruct(x))  // an empty struct still shows its fields
            output() << displayBody(x);
        return std::vector<Value>{};
    });
}

}  // namespace korvan::lang
