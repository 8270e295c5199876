// Operators on host arrays (see Operators.hpp).
#include "Operators.hpp"

#include <cmath>
#include <functional>

#include "Containers.hpp"
#include "kcos/Operations.hpp"

namespace korvan::lang {
namespace {

using Cx = std::complex<double>;

bool isComparison(std::string_view op) {
    return op == "==" || op == "!=" || op == "<" || op == "<=" || op == ">" || op == ">=";
}

bool compare(std::string_view op, double x, double y) {
    if (op == "==") return x == y;
    if (op == "!=") return x != y;
    if (op == "<") return x < y;
    if (op == "<=") return x <= y;
    if (op == ">") return x > y;
    return x >= y;
}

// The shape of an element-wise result, or SizeMismatch.
void broadcastShape(std::string_view op, const kxArray* a, const kxArray* b, kxSize& m, kxSize& n) {
    if (kxGetNumberOfElements(a) == 1) {
        m = kxGetM(b), n = kxGetN(b);
    } else if (kxGetNumberOfElements(b) == 1 ||
               (kxGetM(a) == kxGetM(b) && kxGetN(a) == kxGetN(b))) {
        m = kxGetM(a), n = kxGetN(a);
    } else {
        langError("SizeMismatch", std::string(op));
    }
}
kxSize at(const kxArray* x, kxSize i) {
    return kxGetNumberOfElements(x) == 1 ? 0 : i;
}

Cx power(Cx x, Cx y) {
    if (x.imag() == 0 && y.imag() == 0 && (x.real() >= 0 || y.real() == std::floor(y.real())))
        return std::pow(x.real(), y.real());
    return std::pow(x, y);
}

Cx arith(char op, Cx x, Cx y) {
    switch (op) {
        case '+':
            return x + y;
        case '-':
            return x - y;
        case '*':
            return x * y;
        case '/':
            if (y.imag() == 0 && x.imag() == 0) return x.real() / y.real();
            return x / y;
        default:
            return power(x, y);
    }
}

// The class of an arithmetic result: an integer operand's class, else double.
kxClassID resultClass(std::string_view op, const kxArray* a, const kxArray* b) {
    bool ai = kxIsIntegerClass(a), bi = b && kxIsIntegerClass(b);
    if (ai && bi && kxGetClassID(a) != kxGetClassID(b))
        langError("UnsupportedOperand", std::string(op),
                  kxGetClassName(a) + "/" + kxGetClassName(b));
    if (ai) return kxGetClassID(a);
    if (bi) return kxGetClassID(b);
    return kxClassID::Double;
}

// Builds a double (complex when needed) array from complex results, then converts.
Value finish(std::vector<Cx>& out, kxSize m, kxSize n, kxClassID cls) {
    bool complex = false;
    for (const Cx& c : out) complex = complex || c.imag() != 0;
    Value v(kxCreateDoubleMatrix(m, n, complex ? kxComplexity::Complex : kxComplexity::Real));
    if (complex)
        std::copy(out.begin(), out.end(), kxGetComplexDoubles(v.get()));
    else
        for (std::size_t i = 0; i < out.size(); ++i) kxGetDoubles(v.get())[i] = out[i].real();
    return cls == kxClassID::Double ? v : convertTo(v.get(), cls);
}

Value elementwise(std::string_view op, char arithOp, const kxArray* a, const kxArray* b) {
    kxSize m, n;
    broadcastShape(op, a, b, m, n);
    std::vector<Cx> out(m * n);
    for (kxSize i = 0; i < m * n; ++i)
        out[i] = arith(arithOp, complexAt(a, at(a, i)), complexAt(b, at(b, i)));
    return finish(out, m, n, resultClass(op, a, b));
}

Value matrixProduct(const kxArray* a, const kxArray* b) {
    if (kxGetNumberOfElements(a) == 1 || kxGetNumberOfElements(b) == 1)
        return elementwise("*", '*', a, b);
    kxSize m = kxGetM(a), k = kxGetN(a), n = kxGetN(b);
    if (kxGetM(b) != k) langError("InnerDimensions");
    std::vector<Cx> out(m * n);
    for (kxSize i = 0; i < m; ++i)
        for (kxSize j = 0; j < n; ++j) {
            Cx s = 0;
            for (kxSize t = 0; t < k; ++t) s += complexAt(a, i + t * m) * complexAt(b, t + j * k);
            out[i + j * m] = s;
        }
    return finish(out, m, n, resultClass("*", a, b));
}

bool sameObject(const kxArray* a, kxSize i, const kxArray* b, kxSize j) {
    if (kxGetClassName(a) != kxGetClassName(b)) return false;
    std::string ea = kcos::getEnumMemberName(a, i), eb = kcos::getEnumMemberName(b, j);
    if (!ea.empty() || !eb.empty()) return ea == eb;
    return kxGetObject(a, i) == kxGetObject(b, j);
}

Value compareValues(std::string_view op, const kxArray* a, const kxArray* b) {
    kxSize m, n;
    broadcastShape(op, a, b, m, n);
    Value out(kxCreateLogicalMatrix(m, n));
    bool* r = kxGetLogicals(out.get());
    bool text = kxIsStringArray(a) || kxIsStringArray(b);
    bool objects = kxIsObject(a) || kxIsObject(b);
    if (objects && op != "==" && op != "!=")
        langError("UnsupportedOperand", std::string(op), kxGetClassName(kxIsObject(a) ? a : b));
    Value sa, sb;
    if (text) {
        sa = convertTo(a, kxClassID::String), sb = convertTo(b, kxClassID::String);
        a = sa.get(), b = sb.get();
        broadcastShape(op, a, b, m, n);
    }
    for (kxSize i = 0; i < m * n; ++i) {
        if (objects) {
            bool same = kxIsObject(a) && kxIsObject(b) && sameObject(a, at(a, i), b, at(b, i));
            r[i] = (op == "==") == same;
        } else if (text) {
            const auto& x = kxGetStringElement(a, at(a, i));
            const auto& y = kxGetStringElement(b, at(b, i));
            int c = (!x || !y) ? 0 : x->compare(*y);
            r[i] = (!x || !y) ? op == "!=" : compare(op, c, 0);
        } else {
            Cx x = complexAt(a, at(a, i)), y = complexAt(b, at(b, i));
            r[i] = (op == "==" || op == "!=") ? ((x == y) == (op == "=="))
                                              : compare(op, x.real(), y.real());
        }
    }
    return out;
}

Value joinStrings(const kxArray* a, const kxArray* b) {
    Value sa = convertTo(a, kxClassID::String), sb = convertTo(b, kxClassID::String);
    kxSize m, n;
    broadcastShape("+", sa.get(), sb.get(), m, n);
    Value out(kxCreateStringMatrix(m, n));
    for (kxSize i = 0; i < m * n; ++i) {
        const auto& x = kxGetStringElement(sa.get(), at(sa.get(), i));
        const auto& y = kxGetStringElement(sb.get(), at(sb.get(), i));
        if (x && y)
            kxSetStringElement(out.get(), i, *x + *y);
        else
            kxSetStringElement(out.get(), i, std::nullopt);
    }
    return out;
}

}  // namespace

Value binaryOp(std::string_view op, const kxArray* a, const kxArray* b) {
    for (const kxArray* x : {a, b})
        if (kxIsCell(x) || kxIsStruct(x))
            langError("UnsupportedOperand", std::string(op), kxGetClassName(x));
    if (isComparison(op)) return compareValues(op, a, b);
    if (op == "+" && (kxIsStringArray(a) || kxIsStringArray(b))) return joinStrings(a, b);
    for (const kxArray* x : {a, b})
        if (!isArithmetic(x)) langError("UnsupportedOperand", std::string(op), kxGetClassName(x));
    if (op == "&" || op == "|" || op == "&&" || op == "||") {
        kxSize m, n;
        broadcastShape(op, a, b, m, n);
        Value out(kxCreateLogicalMatrix(m, n));
        for (kxSize i = 0; i < m * n; ++i) {
            bool x = complexAt(a, at(a, i)) != Cx(0), y = complexAt(b, at(b, i)) != Cx(0);
            kxGetLogicals(out.get())[i] = op[0] == '&' ? (x && y) : (x || y);
        }
        return out;
    }
    if (op == "*") return matrixProduct(a, b);
    if (op == "/" || op == "^") {
        if (kxGetNumberOfElements(b) != 1 || (op == "^" && kxGetNumberOfElements(a) != 1))
            langError("UnsupportedOperand", std::string(op), "matrix");
        return elementwise(op, op[0], a, b);
    }
    if (op == "+" || op == "-") return elementwise(op, op[0], a, b);
    if (op == ".*" || op == "./" || op == ".^") return elementwise(op, op[1], a, b);
    langError("UnsupportedOperand", std::string(op), kxGetClassName(a));
}

Value unaryOp(std::string_view op, const kxArray* a) {
    if (!isArithmetic(a)) langError("UnsupportedOperand", std::string(op), kxGetClassName(a));
    kxSize m = kxGetM(a), n = kxGetN(a);
    if (op == "!") {
        Value out(kxCreateLogicalMatrix(m, n));
        for (kxSize i = 0; i < m * n; ++i) kxGetLogicals(out.get())[i] = complexAt(a, i) == Cx(0);
        return out;
    }
    std::vector<Cx> out(m * n);
    for (kxSize i = 0; i < m * n; ++i) out[i] = op == "-" ? -complexAt(a, i) : complexAt(a, i);
    return finish(out, m, n, resultClass(op, a, nullptr));
}

Value transpose(const kxArray* a) {
    kxSize m = kxGetM(a), n = kxGetN(a);
    Value out = makeLike(a, n, m);
    for (kxSize i = 0; i < m; ++i)
        for (kxSize j = 0; j < n; ++j) copyElement(out.get(), j + i * n, a, i + j * m);
    return out;
}

bool valuesEqual(const kxArray* a, const kxArray* b) {
    if (kxIsCell(a) || kxIsCell(b) || kxIsStruct(a) || kxIsStruct(b)) return containersEqual(a, b);
    bool textA = kxIsStringArray(a) || kxIsChar(a), textB = kxIsStringArray(b) || kxIsChar(b);
    if ((kxIsStringArray(a) || kxIsStringArray(b)) && textA && textB) {
        // A char row and a string compare as texts.
        Value sa = convertTo(a, kxClassID::String), sb = convertTo(b, kxClassID::String);
        if (kxGetM(sa.get()) != kxGetM(sb.get()) || kxGetN(sa.get()) != kxGetN(sb.get()))
            return false;
        Value eq = compareValues("==", sa.get(), sb.get());
        for (kxSize i = 0; i < kxGetNumberOfElements(eq.get()); ++i)
            if (!kxGetLogicals(eq.get())[i]) return false;
        return true;
    }
    if (kxGetM(a) != kxGetM(b) || kxGetN(a) != kxGetN(b)) return false;
    if (kxIsObject(a) || kxIsObject(b) || kxIsStringArray(a) || kxIsStringArray(b)) {
        if (kxGetClassName(a) != kxGetClassName(b)) return false;
        if (kxIsStringArray(a)) {
            for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i)
                if (kxGetStringElement(a, i) != kxGetStringElement(b, i)) return false;
            return true;
        }
        for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i)
            if (!sameObject(a, i, b, i)) return false;
        return true;
    }
    for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i)
        if (complexAt(a, i) != complexAt(b, i)) return false;
    return true;
}

}  // namespace korvan::lang
