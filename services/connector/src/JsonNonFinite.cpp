// Python's json writes NaN and infinities as the bare words NaN, Infinity and -Infinity, which
// JSON does not have; a call body that uses them is read with each word as the "double"
// envelope that means the same value.
#include <string>

#include "korvan/services/connector/JsonValues.hpp"

namespace korvan::services::connector {

std::optional<std::string> withNonFiniteEnvelopes(std::string_view text) {
    static constexpr std::string_view kWords[] = {"NaN", "Infinity", "-Infinity"};
    std::string out;
    bool inString = false, changed = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\' && i + 1 < text.size()) {  // an escape: its next character too
                out += c;
                out += text[++i];
                continue;
            }
            if (c == '"') inString = false;
            out += c;
            continue;
        }
        if (c == '"') inString = true;
        bool replaced = false;
        for (std::string_view word : kWords) {
            if (text.substr(i, word.size()) != word) continue;
            out += "{\"zxtype\":\"double\",\"zxdata\":\"";
            out += word;
            out += "\"}";
            i += word.size() - 1;
            replaced = changed = true;
            break;
        }
        if (!replaced) out += c;
    }
    if (!changed) return std::nullopt;
    return out;
}

}  // namespace korvan::services::connector
