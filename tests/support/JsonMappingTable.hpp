// The table of host values and their JSON forms, both ways (the same rows as the table in
// docs/services/connector-service.md). Used by the value mapping's unit test and by the round
// trip over HTTPS through a function that returns its input.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "kx/kxArray.hpp"

namespace korvan::test {

struct MappingRow {
    const char* fName;
    std::function<kx::ArrayPtr()> fHost;  // the host value
    const char* fJson;                    // the form written for it
    std::vector<const char*> fAlsoRead;   // other texts that read as the same value
    bool fReadsBackExact = true;          // false: fJson reads back as another class
};

namespace mapping {

inline kx::ArrayPtr doubles(kxSize m, kxSize n, std::vector<double> v) {
    kx::ArrayPtr a(kxCreateDoubleMatrix(m, n));
    for (kxSize k = 0; k < v.size(); ++k) kxGetDoubles(a.get())[k] = v[k];  // column-major
    return a;
}
inline kx::ArrayPtr complexes(kxSize m, kxSize n, std::vector<std::complex<double>> v) {
    kx::ArrayPtr a(kxCreateDoubleMatrix(m, n, kxComplexity::Complex));
    for (kxSize k = 0; k < v.size(); ++k) kxGetComplexDoubles(a.get())[k] = v[k];
    return a;
}
inline kx::ArrayPtr strings(kxSize m, kxSize n, std::vector<std::string> v) {
    kx::ArrayPtr a(kxCreateStringMatrix(m, n));
    for (kxSize k = 0; k < v.size(); ++k)
        kxSetStringElement(a.get(), k, std::u16string(v[k].begin(), v[k].end()));
    return a;
}
inline kx::ArrayPtr chars(std::vector<std::string> rows) {
    const kxSize dims[] = {rows.size(), rows.empty() ? 0 : rows.front().size()};
    kx::ArrayPtr a(kxCreateCharArray(2, dims));
    for (kxSize i = 0; i < dims[0]; ++i)
        for (kxSize j = 0; j < dims[1]; ++j) kxGetChars(a.get())[i + j * dims[0]] = rows[i][j];
    return a;
}
template <class T>
kx::ArrayPtr integers(kxClassID id, kxSize m, kxSize n, std::vector<T> v) {
    kx::ArrayPtr a(kxCreateNumericMatrix(m, n, id));
    for (kxSize k = 0; k < v.size(); ++k) static_cast<T*>(kxGetData(a.get()))[k] = v[k];
    return a;
}
inline kx::ArrayPtr logicals(std::vector<bool> v) {
    kx::ArrayPtr a(kxCreateLogicalMatrix(1, v.size()));
    for (kxSize k = 0; k < v.size(); ++k) kxGetLogicals(a.get())[k] = v[k];
    return a;
}
inline kx::ArrayPtr cell(kxSize m, kxSize n, std::vector<kx::ArrayPtr> v) {
    kx::ArrayPtr a(kxCreateCellMatrix(m, n));
    for (kxSize k = 0; k < v.size(); ++k) kxSetCell(a.get(), k, v[k].release());
    return a;
}
// A struct array; values[k] are element k's field values, in the order of `fields`.
inline kx::ArrayPtr structs(kxSize m, kxSize n, std::vector<std::string> fields,
                            std::vector<std::vector<kx::ArrayPtr>> values = {}) {
    kx::ArrayPtr a(kxCreateStructMatrix(m, n, fields));
    for (kxSize k = 0; k < values.size(); ++k)
        for (kxSize f = 0; f < fields.size(); ++f)
            kxSetFieldByNumber(a.get(), k, f, values[k][f].release());
    return a;
}
inline kx::ArrayPtr scalar(double d) {
    return kx::ArrayPtr(kxCreateDoubleScalar(d));
}
inline kx::ArrayPtr text(const char* s) {
    return kx::ArrayPtr(kxCreateStringScalarFromUtf8(s));
}
inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInf = std::numeric_limits<double>::infinity();

}  // namespace mapping

inline std::vector<MappingRow> mappingTable() {
    using namespace mapping;
    std::vector<kx::ArrayPtr> none;
    // One row per line where it fits.
    // clang-format off
    return {
        {"double", [] { return scalar(2.5); }, "2.5", {"2.50", "25e-1"}},
        {"shortest double", [] { return scalar(0.1); }, "0.1", {"0.10000000000000001"}},
        {"tiny double", [] { return scalar(1e-300); }, "1e-300", {}},
        {"negative zero", [] { return scalar(-0.0); }, "-0", {"-0.0"}},
        {"row", [] { return doubles(1, 3, {1, 2, 3}); }, "[1,2,3]", {}},
        {"matrix", [] { return doubles(2, 2, {1, 3, 2, 4}); }, "[[1,2],[3,4]]", {}},
        {"column", [] { return doubles(2, 1, {1, 2}); }, "[[1],[2]]", {}},
        {"empty", [] { return doubles(0, 0, {}); }, "[]", {"null"}},
        {"empty of a size",
         [] { return doubles(1, 0, {}); },
         R"({"zxdata":[],"zxsize":[1,0],"zxtype":"double"})",
         {}},
        {"NaN",
         [] { return scalar(kNaN); },
         R"({"zxdata":"NaN","zxtype":"double"})",
         {"NaN", "[null]"}},
        {"non-finite in a row",
         [] { return doubles(1, 4, {1, kNaN, kInf, -kInf}); },
         R"({"zxdata":[1,"NaN","Infinity","-Infinity"],"zxtype":"double"})",
         {"[1, NaN, Infinity, -Infinity]", R"({"zxtype":"double","zxdata":[1,null,"Inf","-Inf"]})"}},
        {"NaN as JavaScript writes it",
         [] { return doubles(1, 2, {1, kNaN}); },
         R"({"zxdata":[1,"NaN"],"zxtype":"double"})",
         {"[1,null]"}},
        {"complex",
         [] { return complexes(1, 1, {{1, 2}}); },
         R"({"zxdata":{"imag":2,"real":1},"zxtype":"double"})",
         {}},
        {"complex row",
         [] { return complexes(1, 2, {{1, 2}, {3, -kInf}}); },
         R"({"zxdata":{"imag":[2,"-Infinity"],"real":[1,3]},"zxtype":"double"})",
         {}},
        {"logical", [] { return logicals({true}); }, "true", {}},
        {"logical row", [] { return logicals({true, false}); }, "[true,false]", {}},
        {"string", [] { return text("h\xC3\xA9llo"); }, "\"h\xC3\xA9llo\"", {R"("h\u00e9llo")"}},
        {"string matrix",
         [] { return strings(2, 2, {"a", "c", "b", "d"}); },
         R"([["a","b"],["c","d"]])",
         {}},
        {"char as text", [] { return chars({"abc"}); }, "\"abc\"", {}, false},
        {"char rows", [] { return chars({"ab", "cd"}); }, R"(["ab","cd"])", {}, false},
        {"char from its envelope",
         [] { return chars({"abc"}); },
         "\"abc\"",
         {R"({"zxtype":"char","zxdata":"abc"})"},
         false},
        {"int32",
         [] { return integers<std::int32_t>(kxClassID::Int32, 1, 1, {-5}); },
         R"({"zxdata":-5,"zxtype":"int32"})",
         {}},
        {"int64 past 2^53",
         [] {
             return integers<std::int64_t>(kxClassID::Int64, 1, 1, {9007199254740993});
         },
         R"({"zxdata":9007199254740993,"zxtype":"int64"})",
         {}},
        {"uint8 matrix",
         [] { return integers<std::uint8_t>(kxClassID::UInt8, 2, 2, {1, 3, 2, 255}); },
         R"({"zxdata":[[1,2],[3,255]],"zxtype":"uint8"})",
         {}},
        {"empty int8",
         [] { return integers<std::int8_t>(kxClassID::Int8, 0, 3, {}); },
         R"({"zxdata":[],"zxsize":[0,3],"zxtype":"int8"})",
         {}},
        {"struct",
         [] {
             std::vector<std::vector<kx::ArrayPtr>> v(1);
             v[0].push_back(scalar(1));
             v[0].push_back(text("x"));
             return structs(1, 1, {"a", "b"}, std::move(v));
         },
         R"({"a":1,"b":"x"})",
         {R"({"b":"x","a":1})"}},
        {"nested struct",
         [] {
             std::vector<std::vector<kx::ArrayPtr>> inner(1), outer(1);
             inner[0].push_back(doubles(1, 2, {1, 2}));
             outer[0].push_back(structs(1, 1, {"x"}, std::move(inner)));
             return structs(1, 1, {"inner"}, std::move(outer));
         },
         R"({"inner":{"x":[1,2]}})",
         {}},
        {"struct array",
         [] {
             std::vector<std::vector<kx::ArrayPtr>> v(2);
             v[0].push_back(scalar(1));
             v[1].push_back(scalar(2));
             return structs(1, 2, {"a"}, std::move(v));
         },
         R"([{"a":1},{"a":2}])",
         {}},
        {"struct with a field never set",
         [] { return structs(1, 1, {"a"}); },
         R"({"a":[]})",
         {R"({"a":null})"}},
        {"empty struct array",
         [] { return structs(0, 0, {"a", "b"}); },
         R"({"zxdata":[],"zxfields":["a","b"],"zxsize":[0,0],"zxtype":"struct"})",
         {}},
        {"cell of mixed kinds",
         [] {
             std::vector<kx::ArrayPtr> v;
             v.push_back(scalar(1));
             v.push_back(text("a"));
             v.push_back(logicals({true}));
             return cell(1, 3, std::move(v));
         },
         R"([1,"a",true])",
         {}},
        {"cell of one kind",
         [] {
             std::vector<kx::ArrayPtr> v;
             v.push_back(scalar(1));
             v.push_back(scalar(2));
             return cell(1, 2, std::move(v));
         },
         R"({"zxdata":[1,2],"zxtype":"cell"})",
         {}},
        {"cell of rows of unequal length",
         [] {
             std::vector<kx::ArrayPtr> v;
             v.push_back(doubles(1, 2, {1, 2}));
             v.push_back(scalar(3));
             return cell(1, 2, std::move(v));
         },
         "[[1,2],3]",
         {"[[1,2],[3]]"}},
        {"cell of objects with other keys",
         [] {
             std::vector<std::vector<kx::ArrayPtr>> a(1), b(1);
             a[0].push_back(scalar(1));
             b[0].push_back(scalar(2));
             std::vector<kx::ArrayPtr> v;
             v.push_back(structs(1, 1, {"a"}, std::move(a)));
             v.push_back(structs(1, 1, {"b"}, std::move(b)));
             return cell(1, 2, std::move(v));
         },
         R"([{"a":1},{"b":2}])",
         {}},
        {"cell column",
         [] {
             std::vector<kx::ArrayPtr> v;
             v.push_back(scalar(1));
             v.push_back(text("a"));
             return cell(2, 1, std::move(v));
         },
         R"({"zxdata":[1,"a"],"zxsize":[2,1],"zxtype":"cell"})",
         {}},
        {"empty cell",
         [] { return cell(0, 0, {}); },
         R"({"zxdata":[],"zxsize":[0,0],"zxtype":"cell"})",
         {}},
    };
    // clang-format on
}

/// JSON that has no host form, with a word of the message that says why.
struct RefusedJson {
    const char* fJson;
    const char* fSays;
};
inline const std::vector<RefusedJson>& refusedJson() {
    static const std::vector<RefusedJson> rows = {
        {R"({"first-name":"Ada"})", "field name"},
        {R"({"zxtype":"float128","zxdata":1})", "unknown"},
        {R"({"zxtype":"double","zxdata":"nan"})", "Infinity"},
        {R"({"zxtype":"double","zxdata":1,"zxunits":"m"})", "only the keys"},
        {R"({"zxtype":"char","zxdata":["ab","c"]})", "unequal"},
        {R"({"zxtype":"cell","zxsize":[2,2],"zxdata":[1]})", "zxsize"},
        {R"({"zxtype":"double","zxsize":[1,2],"zxdata":[]})", "empty"},
        {R"({"zxtype":"double","zxdata":{"real":1}})", "imag"},
        {R"({"zxtype":"logical","zxdata":[1,0]})", "true or false"},
        {R"({"zxtype":7})", "zxtype"},
    };
    return rows;
}

}  // namespace korvan::test
