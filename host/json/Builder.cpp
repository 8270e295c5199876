// Building Values from parser events.
#include "Builder.hpp"

#include <charconv>
#include <cmath>

namespace foundation::json::detail {

bool Builder::nextIsRaw() const {
    if (fStack.empty()) {
        return false;
    }
    const Frame& top = fStack.back();
    return top.fValue.isObject() ? top.fKey == "zxdata" : top.fRaw;
}

bool Builder::fail(int code, error_code& ec) {
    fFailure = code;
    ec = boost::json::error::exception;  // any failure stops the parser; fFailure says why
    return false;
}

bool Builder::add(Value value, error_code&) {
    if (fStack.empty()) {
        fResult = std::move(value);
        return true;
    }
    Frame& top = fStack.back();
    if (top.fValue.isObject()) {
        top.fValue.asObject().insert_or_assign(std::move(top.fKey), std::move(value));
        top.fKey.clear();
    } else {
        top.fValue.asArray().push_back(std::move(value));
    }
    return true;
}

bool Builder::on_array_begin(error_code&) {
    const bool raw = nextIsRaw();
    fStack.push_back(Frame{Value(Array{}), {}, raw});
    return true;
}

bool Builder::on_array_end(std::size_t, error_code& ec) {
    Value done = std::move(fStack.back().fValue);
    fStack.pop_back();
    return add(std::move(done), ec);
}

bool Builder::on_object_begin(error_code&) {
    fStack.push_back(Frame{Value(Object{}), {}, false});
    return true;
}

bool Builder::on_object_end(std::size_t, error_code& ec) {
    Value done = std::move(fStack.back().fValue);
    fStack.pop_back();
    if (!resolveEnvelope(done.asObject())) {
        return fail(kParseInvalidTypedInteger, ec);
    }
    return add(std::move(done), ec);
}

bool Builder::on_string_part(string_view s, std::size_t, error_code&) {
    fText.append(s.data(), s.size());
    return true;
}

bool Builder::on_string(string_view s, std::size_t, error_code& ec) {
    fText.append(s.data(), s.size());
    Value value(std::move(fText));
    fText.clear();
    return add(std::move(value), ec);
}

bool Builder::on_key_part(string_view s, std::size_t, error_code&) {
    fText.append(s.data(), s.size());
    return true;
}

bool Builder::on_key(string_view s, std::size_t, error_code&) {
    fText.append(s.data(), s.size());
    fStack.back().fKey = std::move(fText);
    fText.clear();
    return true;
}

bool Builder::on_number_part(string_view s, error_code&) {
    fNumber.append(s.data(), s.size());
    return true;
}

bool Builder::on_int64(std::int64_t i, string_view s, error_code& ec) {
    fNumber.clear();
    if (nextIsRaw()) {
        return add(Value(i), ec);
    }
    // "-0" arrives as the integer 0; as a double it keeps its sign.
    const bool negativeZero = i == 0 && !s.empty() && s.front() == '-';
    return add(Value(negativeZero ? -0.0 : static_cast<double>(i)), ec);
}

bool Builder::on_uint64(std::uint64_t u, string_view, error_code& ec) {
    fNumber.clear();
    return add(nextIsRaw() ? Value(u) : Value(static_cast<double>(u)), ec);
}

bool Builder::on_double(double d, string_view s, error_code& ec) {
    // Boost.JSON's own conversion may be one unit in the last place off; std::from_chars
    // rounds correctly, so every double written with enough digits reads back exactly.
    fNumber.append(s.data(), s.size());
    const char* first = fNumber.data();
    const char* last = first + fNumber.size();
    double exact = 0;
    const auto [end, error] = std::from_chars(first, last, exact);
    fNumber.clear();
    if (error == std::errc() && end == last) {
        d = exact;
    }  // else out of range: Boost.JSON's value says which way (infinite or zero)
    if (!std::isfinite(d)) {
        return fail(kParseNumberOutOfRange, ec);
    }
    return add(Value(d), ec);
}

}  // namespace foundation::json::detail
