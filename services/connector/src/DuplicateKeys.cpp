#include "DuplicateKeys.hpp"

#include <set>
#include <vector>

#include <boost/json/basic_parser_impl.hpp>

#include "foundation/json/Parser.hpp"

namespace korvan::services::connector::detail {
namespace {

namespace json = boost::json;
using json::error_code;
using json::string_view;

// A basic_parser handler that keeps only the keys of each open object.
struct KeyChecker {
    static constexpr std::size_t max_object_size = std::size_t(-1);
    static constexpr std::size_t max_array_size = std::size_t(-1);
    static constexpr std::size_t max_key_size = std::size_t(-1);
    static constexpr std::size_t max_string_size = std::size_t(-1);

    std::vector<std::set<std::string>> fObjects;  // one per open object
    std::string fKey;                             // the key being read
    std::optional<std::string> fDuplicate;

    bool on_document_begin(error_code&) { return true; }
    bool on_document_end(error_code&) { return true; }
    bool on_object_begin(error_code&) {
        fObjects.emplace_back();
        return true;
    }
    bool on_object_end(std::size_t, error_code&) {
        fObjects.pop_back();
        return true;
    }
    bool on_array_begin(error_code&) { return true; }
    bool on_array_end(std::size_t, error_code&) { return true; }
    bool on_key_part(string_view s, std::size_t, error_code&) {
        fKey.append(s.data(), s.size());
        return true;
    }
    bool on_key(string_view s, std::size_t, error_code& ec) {
        fKey.append(s.data(), s.size());
        if (!fObjects.back().insert(fKey).second) {
            fDuplicate = fKey;
            ec = json::error::syntax;  // stops the parser: one is enough
            return false;
        }
        fKey.clear();
        return true;
    }
    bool on_string_part(string_view, std::size_t, error_code&) { return true; }
    bool on_string(string_view, std::size_t, error_code&) { return true; }
    bool on_number_part(string_view, error_code&) { return true; }
    bool on_int64(std::int64_t, string_view, error_code&) { return true; }
    bool on_uint64(std::uint64_t, string_view, error_code&) { return true; }
    bool on_double(double, string_view, error_code&) { return true; }
    bool on_bool(bool, error_code&) { return true; }
    bool on_null(error_code&) { return true; }
    bool on_comment_part(string_view, error_code&) { return true; }
    bool on_comment(string_view, error_code&) { return true; }
};

}  // namespace

std::optional<std::string> duplicateKey(std::string_view text) {
    json::parse_options options;
    options.max_depth = foundation::json::kMaxDepth;
    json::basic_parser<KeyChecker> parser(options);
    error_code ec;
    parser.write_some(false, text.data(), text.size(), ec);
    return parser.handler().fDuplicate;
}

}  // namespace korvan::services::connector::detail
