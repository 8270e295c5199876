// parseJson: the facility's parser entry on the text range, then the end-of-text test.
#include "common/JsonParse.hpp"

#include "foundation/json/Parser.hpp"

namespace rest::kv::connector {

foundation::json::Value parseJson(std::string_view text, std::uint8_t flags) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    foundation::json::Value value;
    const auto status = foundation::json::parse(begin, end, value, flags);
    if (!status.ok()) {
        throw foundation::json::ParserException(
            begin, status.fPosition, end, status.fCode,
            foundation::json::get_parse_result_description(status.fCode));
    }
    if (status.fPosition != end) {
        throw foundation::json::ParserException(begin, status.fPosition, end, 0,
                                                "Parse incomplete");
    }
    return value;
}

}  // namespace rest::kv::connector
