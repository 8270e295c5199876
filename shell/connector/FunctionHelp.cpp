#include "korvan/shell/FunctionHelp.hpp"

#include <cctype>
#include <string>
#include <vector>

namespace korvan::shell {
namespace {

std::string_view trim(std::string_view s) {
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
    return s;
}

// "a, b" or "[a, b]" or "a": the names, without brackets and spaces.
std::vector<std::string> names(std::string_view list) {
    list = trim(list);
    if (!list.empty() && list.front() == '[') list.remove_prefix(1);
    if (!list.empty() && list.back() == ']') list.remove_suffix(1);
    std::vector<std::string> out;
    std::string current;
    for (char c : list) {
        if (c == ',' || std::isspace(static_cast<unsigned char>(c))) {
            if (!current.empty()) out.push_back(std::move(current));
            current.clear();
        } else {
            current.push_back(c);
        }
    }
    if (!current.empty()) out.push_back(std::move(current));
    return out;
}

}  // namespace

std::optional<korvan::services::connector::FunctionMetadata> parseFunctionHelp(
    std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    std::size_t i = 0;
    while (i < lines.size() && (trim(lines[i]).empty() || trim(lines[i]).front() == '#')) ++i;
    if (i == lines.size()) return std::nullopt;
    std::string_view header = trim(lines[i]);
    if (header.substr(0, 8) != "function" ||
        (header.size() > 8 && !std::isspace(static_cast<unsigned char>(header[8]))))
        return std::nullopt;
    header = trim(header.substr(8));
    if (const auto hash = header.find('#'); hash != std::string_view::npos)
        header = trim(header.substr(0, hash));

    korvan::services::connector::FunctionMetadata meta;
    if (const auto eq = header.find('='); eq != std::string_view::npos) {
        meta.fOutputs = names(header.substr(0, eq));
        header = trim(header.substr(eq + 1));
    }
    if (const auto open = header.find('('); open != std::string_view::npos) {
        const auto close = header.find(')', open);
        meta.fInputs = names(header.substr(
            open + 1, close == std::string_view::npos ? std::string_view::npos : close - open - 1));
    }
    bool first = true;
    for (++i; i < lines.size(); ++i) {
        std::string_view line = trim(lines[i]);
        if (line.empty() || line.front() != '#') break;
        line.remove_prefix(1);
        if (first) {
            meta.fSummary = std::string(trim(line));
            first = false;
            continue;
        }
        if (!line.empty() && line.front() == ' ') line.remove_prefix(1);
        if (!meta.fDescription.empty()) meta.fDescription += '\n';
        meta.fDescription += std::string(line);
    }
    // Trailing empty comment lines say nothing.
    while (!meta.fDescription.empty() && meta.fDescription.back() == '\n')
        meta.fDescription.pop_back();
    return meta;
}

}  // namespace korvan::shell
