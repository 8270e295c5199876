// Internal to host/json: the Boost.JSON SAX handler that builds a foundation::json::Value,
// including the recognition of the typed-number envelope.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include <boost/json/error.hpp>
#include <boost/json/string_view.hpp>

#include <foundation/json/Parser.hpp>

namespace foundation::json::detail {

/// Handler for boost::json::basic_parser. One instance per parse; not thread-safe.
class Builder {
  public:
    static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_array_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_key_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_string_size = std::numeric_limits<std::size_t>::max();

    using error_code = boost::system::error_code;
    using string_view = boost::json::string_view;

    bool on_document_begin(error_code&) { return true; }
    bool on_document_end(error_code&) { return true; }
    bool on_array_begin(error_code& ec);
    bool on_array_end(std::size_t, error_code& ec);
    bool on_object_begin(error_code& ec);
    bool on_object_end(std::size_t, error_code& ec);
    bool on_string_part(string_view s, std::size_t, error_code&);
    bool on_string(string_view s, std::size_t, error_code& ec);
    bool on_key_part(string_view s, std::size_t, error_code&);
    bool on_key(string_view s, std::size_t, error_code&);
    bool on_number_part(string_view s, error_code&);
    bool on_int64(std::int64_t i, string_view, error_code& ec);
    bool on_uint64(std::uint64_t u, string_view, error_code& ec);
    bool on_double(double d, string_view, error_code& ec);
    bool on_bool(bool b, error_code& ec) { return add(Value(b), ec); }
    bool on_null(error_code& ec) { return add(Value(nullptr), ec); }
    bool on_comment_part(string_view, error_code&) { return true; }
    bool on_comment(string_view, error_code&) { return true; }

    /// A failure found by the handler itself (kParseOk when none).
    int failure() const noexcept { return fFailure; }
    /// The finished document; valid after a successful parse.
    Value takeResult() { return std::move(fResult); }

  private:
    // An open array or object. fRaw: numbers placed directly in this array are kept exact
    // (the array is the "zxdata" member of an object, or nested in such an array).
    struct Frame {
        Value fValue;
        std::string fKey;  // objects: the key of the member being parsed
        bool fRaw = false;
    };

    // True when the next value is (directly or through arrays) the "zxdata" member of an object.
    bool nextIsRaw() const;
    bool add(Value value, error_code& ec);
    bool fail(int code, error_code& ec);

    std::vector<Frame> fStack;
    std::string fText;    // the string or key being assembled from parts
    std::string fNumber;  // the text of the number being parsed, from parts
    Value fResult;
    int fFailure = kParseOk;
};

/// Resolves the typed-number envelope of a just-completed object in place: with an integer
/// "zxtype", the "zxdata" numbers become exact integers of the type's signedness; otherwise the
/// numbers kept exact while parsing become doubles. Returns false (object unusable) when an
/// envelope's data is not integral or out of the type's range.
bool resolveEnvelope(Object& object);

}  // namespace foundation::json::detail
