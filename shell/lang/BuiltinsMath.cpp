// Built-ins over numbers and arrays: the constants true, false, Inf, NaN, pi; class, isequal,
// isempty, length, numel, size, zeros, ones, sum, min, max, abs, sqrt, exp, log, floor, ceil,
// round, mod, the integer conversions and logical.
#include <cmath>

#include "Builtins.hpp"
#include "Operators.hpp"
#include "korvan/host/Functions.hpp"

namespace korvan::lang {
namespace {

void requireArithmetic(const char* fn, const kxArray* a) {
    if (!isArithmetic(a))
        langError("InvalidArgument", fn,
                  "a numeric value is needed, not " + kxGetClassName(a) + ".");
}

kxSize sizeArg(const char* fn, const kxArray* a) {
    requireArithmetic(fn, a);
    double v = kxIsEmpty(a) ? 0 : realAt(a, 0);
    if (!(v >= 0) || v != std::floor(v))
        langError("InvalidArgument", fn, "sizes must be non-negative integers.");
    return static_cast<kxSize>(v);
}

Value filled(const char* fn, const Args& args, double value) {
    kxSize m = args.empty() ? 1 : sizeArg(fn, args[0]);
    kxSize n = args.size() < 2 ? (args.empty() ? 1 : m) : sizeArg(fn, args[1]);
    if (args.size() == 1 && kxGetNumberOfElements(args[0]) >= 2)
        n = static_cast<kxSize>(realAt(args[0], 1));
    Value out(kxCreateDoubleMatrix(m, n));
    for (kxSize i = 0; i < m * n; ++i) kxGetDoubles(out.get())[i] = value;
    return out;
}

// Element-wise real function keeping the shape; complex inputs use the complex form.
void defineMap(const std::string& name, double (*real)(double),
               std::complex<double> (*complex)(const std::complex<double>&), bool keepClass) {
    defineBuiltin(name, 1, 1, [name, real, complex, keepClass](const Args& args, int) {
        const kxArray* a = args[0];
        requireArithmetic(name.c_str(), a);
        kxSize m = kxGetM(a), n = kxGetN(a);
        bool cx = kxIsComplex(a);
        bool anyComplex = cx;
        std::vector<std::complex<double>> values(m * n);
        for (kxSize i = 0; i < m * n; ++i) {
            std::complex<double> x = complexAt(a, i);
            if (!cx && complex && (name == "sqrt" || name == "log") && x.real() < 0) {
                values[i] = complex(x);
                anyComplex = true;
            } else if (cx && complex) {
                values[i] = complex(x);
            } else {
                values[i] = real(x.real());
            }
        }
        Value out(
            kxCreateDoubleMatrix(m, n, anyComplex ? kxComplexity::Complex : kxComplexity::Real));
        for (kxSize i = 0; i < m * n; ++i) {
            if (anyComplex)
                kxGetComplexDoubles(out.get())[i] = values[i];
            else
                kxGetDoubles(out.get())[i] = values[i].real();
        }
        if (keepClass && kxIsIntegerClass(a))
            return std::vector<Value>{convertTo(out.get(), kxGetClassID(a))};
        return std::vector<Value>{out};
    });
}

// Reduction along the first non-singleton dimension (vectors reduce to a scalar).
std::vector<Value> reduce(const char* fn, const kxArray* a, int nlhs) {
    requireArithmetic(fn, a);
    std::string op = fn;
    kxSize m = kxGetM(a), n = kxGetN(a);
    bool vector = m == 1 || n == 1;
    kxSize groups = vector ? 1 : n, length = vector ? m * n : m;
    if (op != "sum" && kxIsEmpty(a))
        return {Value(kxCreateDoubleMatrix(0, 0)), Value(kxCreateDoubleMatrix(0, 0))};
    Value out(kxCreateDoubleMatrix(1, groups)), where(kxCreateDoubleMatrix(1, groups));
    for (kxSize g = 0; g < groups; ++g) {
        double acc = op == "sum" ? 0 : NAN;
        kxSize at = 0;
        for (kxSize i = 0; i < length; ++i) {
            double v = realAt(a, g * length + i);
            if (op == "sum")
                acc += v;
            else if (!std::isnan(v) && (std::isnan(acc) || (op == "min" ? v < acc : v > acc)))
                acc = v, at = i;
        }
        kxGetDoubles(out.get())[g] = acc;
        kxGetDoubles(where.get())[g] = static_cast<double>(at + 1);
    }
    if (kxIsIntegerClass(a)) out = convertTo(out.get(), kxGetClassID(a));
    (void)nlhs;
    return {out, where};
}

Value pairwise(const char* fn, const kxArray* a, const kxArray* b) {
    requireArithmetic(fn, a);
    requireArithmetic(fn, b);
    Value lt = binaryOp("<", a, b);
    kxSize count = kxGetNumberOfElements(lt.get());
    Value out(kxCreateDoubleMatrix(kxGetM(lt.get()), kxGetN(lt.get())));
    bool isMin = std::string(fn) == "min";
    for (kxSize i = 0; i < count; ++i) {
        double x = realAt(a, kxGetNumberOfElements(a) == 1 ? 0 : i);
        double y = realAt(b, kxGetNumberOfElements(b) == 1 ? 0 : i);
        kxGetDoubles(out.get())[i] = std::isnan(x)   ? y
                                     : std::isnan(y) ? x
                                     : isMin         ? std::min(x, y)
                                                     : std::max(x, y);
    }
    if (kxIsIntegerClass(a) || kxIsIntegerClass(b))
        return convertTo(out.get(), kxGetClassID(kxIsIntegerClass(a) ? a : b));
    return out;
}

}  // namespace

void registerMathBuiltins() {
    // Named constants: true, false, Inf, NaN, pi (functions without arguments).
    defineBuiltin("true", 0, 0,
                  [](const Args&, int) { return std::vector<Value>{makeBool(true)}; });
    defineBuiltin("false", 0, 0,
                  [](const Args&, int) { return std::vector<Value>{makeBool(false)}; });
    for (const char* name : {"Inf", "inf"})
        defineBuiltin(name, 0, 0,
                      [](const Args&, int) { return std::vector<Value>{makeDouble(INFINITY)}; });
    for (const char* name : {"NaN", "nan"})
        defineBuiltin(name, 0, 0,
                      [](const Args&, int) { return std::vector<Value>{makeDouble(NAN)}; });
    defineBuiltin("pi", 0, 0,
                  [](const Args&, int) { return std::vector<Value>{makeDouble(M_PI)}; });
    defineBuiltin("class", 1, 1, [](const Args& a, int) {
        return std::vector<Value>{makeChar(kxGetClassName(a[0]))};
    });
    defineBuiltin("isequal", 2, -1, [](const Args& a, int) {
        bool same = true;
        for (std::size_t i = 1; i < a.size(); ++i) same = same && valuesEqual(a[0], a[i]);
        return std::vector<Value>{makeBool(same)};
    });
    defineBuiltin("isempty", 1, 1,
                  [](const Args& a, int) { return std::vector<Value>{makeBool(kxIsEmpty(a[0]))}; });
    defineBuiltin("numel", 1, 1, [](const Args& a, int) {
        return std::vector<Value>{makeDouble(static_cast<double>(kxGetNumberOfElements(a[0])))};
    });
    defineBuiltin("length", 1, 1, [](const Args& a, int) {
        double len =
            kxIsEmpty(a[0]) ? 0 : static_cast<double>(std::max(kxGetM(a[0]), kxGetN(a[0])));
        return std::vector<Value>{makeDouble(len)};
    });
    defineBuiltin("size", 1, 2, [](const Args& a, int nlhs) {
        double m = static_cast<double>(kxGetM(a[0])), n = static_cast<double>(kxGetN(a[0]));
        if (a.size() == 2) {
            double d = realAt(a[1], 0);
            return std::vector<Value>{makeDouble(d == 1 ? m : d == 2 ? n : 1)};
        }
        if (nlhs >= 2) return std::vector<Value>{makeDouble(m), makeDouble(n)};
        Value out(kxCreateDoubleMatrix(1, 2));
        kxGetDoubles(out.get())[0] = m;
        kxGetDoubles(out.get())[1] = n;
        return std::vector<Value>{out};
    });
    defineBuiltin("zeros", 0, 2,
                  [](const Args& a, int) { return std::vector<Value>{filled("zeros", a, 0)}; });
    defineBuiltin("ones", 0, 2,
                  [](const Args& a, int) { return std::vector<Value>{filled("ones", a, 1)}; });
    defineBuiltin("sum", 1, 1, [](const Args& a, int n) { return reduce("sum", a[0], n); });
    for (const char* fn : {"min", "max"})
        defineBuiltin(fn, 1, 2, [fn](const Args& a, int n) {
            if (a.size() == 2) return std::vector<Value>{pairwise(fn, a[0], a[1])};
            return reduce(fn, a[0], n);
        });
    defineBuiltin("abs", 1, 1, [](const Args& a, int) {
        requireArithmetic("abs", a[0]);
        Value out(kxCreateDoubleMatrix(kxGetM(a[0]), kxGetN(a[0])));
        for (kxSize i = 0; i < kxGetNumberOfElements(a[0]); ++i)
            kxGetDoubles(out.get())[i] = std::abs(complexAt(a[0], i));
        return std::vector<Value>{kxIsIntegerClass(a[0]) ? convertTo(out.get(), kxGetClassID(a[0]))
                                                         : out};
    });
    defineMap(
        "sqrt", [](double x) { return std::sqrt(x); },
        [](const std::complex<double>& x) { return std::sqrt(x); }, false);
    defineMap(
        "exp", [](double x) { return std::exp(x); },
        [](const std::complex<double>& x) { return std::exp(x); }, false);
    defineMap(
        "log", [](double x) { return std::log(x); },
        [](const std::complex<double>& x) { return std::log(x); }, false);
    defineMap(
        "floor", [](double x) { return std::floor(x); }, nullptr, true);
    defineMap(
        "ceil", [](double x) { return std::ceil(x); }, nullptr, true);
    defineMap(
        "round", [](double x) { return std::round(x); }, nullptr, true);
    defineBuiltin("mod", 2, 2, [](const Args& a, int) {
        requireArithmetic("mod", a[0]);
        requireArithmetic("mod", a[1]);
        Value shape = binaryOp("-", a[0], a[1]);  // checks sizes and picks the class
        Value out(kxCreateDoubleMatrix(kxGetM(shape.get()), kxGetN(shape.get())));
        for (kxSize i = 0; i < kxGetNumberOfElements(out.get()); ++i) {
            double x = realAt(a[0], kxGetNumberOfElements(a[0]) == 1 ? 0 : i);
            double y = realAt(a[1], kxGetNumberOfElements(a[1]) == 1 ? 0 : i);
            kxGetDoubles(out.get())[i] = y == 0 ? x : x - std::floor(x / y) * y;
        }
        return std::vector<Value>{
            kxIsIntegerClass(shape.get()) ? convertTo(out.get(), kxGetClassID(shape.get())) : out};
    });
    const std::pair<const char*, kxClassID> conversions[] = {
        {"int8", kxClassID::Int8},      {"uint8", kxClassID::UInt8},
        {"int16", kxClassID::Int16},    {"uint16", kxClassID::UInt16},
        {"int32", kxClassID::Int32},    {"uint32", kxClassID::UInt32},
        {"int64", kxClassID::Int64},    {"uint64", kxClassID::UInt64},
        {"double", kxClassID::Double},  {"single", kxClassID::Single},
        {"logical", kxClassID::Logical}};
    for (const auto& [name, cls] : conversions) {
        if (korvan::host::findFunction(name)) continue;  // the host's own conversion
        kxClassID target = cls;
        defineBuiltin(name, 1, 1, [target](const Args& a, int) {
            return std::vector<Value>{convertTo(a[0], target)};
        });
    }
}

}  // namespace korvan::lang
