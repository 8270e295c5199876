// Writing Values as compact JSON text.
#include <foundation/json/Parser.hpp>
#include <foundation/json/Serializer.hpp>

#include <charconv>
#include <cmath>
#include <stdexcept>

#include <boost/json/serialize.hpp>

namespace foundation::json {

namespace {

class Writer {
  public:
    Writer(const SerializeOptions& options, std::string& out) : fOptions(options), fOut(out) {}

    // bareIntegers: inside an envelope's "zxdata", integers are written without a new envelope.
    void write(const Value& v, bool bareIntegers = false) {
        switch (v.kind()) {
            case Kind::Undefined:
            case Kind::Null:
                fOut += "null";
                break;
            case Kind::Boolean:
                fOut += v.asBool() ? "true" : "false";
                break;
            case Kind::Int64:
                integer(v.asInt64(), "int64", bareIntegers);
                break;
            case Kind::UInt64:
                integer(v.asUInt64(), "uint64", bareIntegers);
                break;
            case Kind::Double:
                real(v.asNumber(), fOptions.fFullPrecision ? 17 : 0);
                break;
            case Kind::Float:
                real(v.asFloat(), 0);
                break;
            case Kind::String:
                fOut += boost::json::serialize(boost::json::string_view(v.asString()));
                break;
            case Kind::Array:
                array(v.asArray(), bareIntegers);
                break;
            case Kind::Object:
                object(v);
                break;
        }
    }

  private:
    template <class T>
    void integer(T n, const char* typeName, bool bare) {
        const bool wrap = fOptions.fIntegerEnvelope && !bare;
        if (wrap) {
            fOut += "{\"zxdata\":";
        }
        number(n);
        if (wrap) {
            fOut += ",\"zxtype\":\"";
            fOut += typeName;
            fOut += "\"}";
        }
    }

    template <class T>
    void real(T d, int precision) {
        if (!std::isfinite(d)) {
            if (fOptions.fNonFinite == SerializeOptions::NonFinite::Null) {
                fOut += "null";
                return;
            }
            throw std::domain_error("JSON cannot represent NaN or infinity");
        }
        if (precision > 0) {
            char buffer[64];
            const auto r = std::to_chars(buffer, buffer + sizeof buffer, d,
                                         std::chars_format::general, precision);
            fOut.append(buffer, r.ptr);
        } else {
            number(d);
        }
    }

    template <class T>
    void number(T n) {
        char buffer[64];
        const auto r = std::to_chars(buffer, buffer + sizeof buffer, n);
        fOut.append(buffer, r.ptr);
    }

    void array(const Array& elements, bool bareIntegers) {
        fOut += '[';
        bool first = true;
        for (const Value& element : elements) {
            if (!first) {
                fOut += ',';
            }
            first = false;
            write(element, bareIntegers);
        }
        fOut += ']';
    }

    void object(const Value& v) {
        const bool envelope = isIntegerEnvelope(v);
        fOut += '{';
        bool first = true;
        for (const auto& [key, member] : v.asObject()) {
            if (member.isUndefined()) {
                continue;
            }
            if (!first) {
                fOut += ',';
            }
            first = false;
            fOut += boost::json::serialize(boost::json::string_view(key));
            fOut += ':';
            write(member, envelope && key == "zxdata");
        }
        fOut += '}';
    }

    const SerializeOptions& fOptions;
    std::string& fOut;
};

}  // namespace

std::string serialize(const Value& value, const SerializeOptions& options) {
    std::string out;
    Writer(options, out).write(value);
    return out;
}

}  // namespace foundation::json
