// The host's message catalogue (korvan/host/Catalogue.hpp).
#include "korvan/host/Catalogue.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include <boost/json.hpp>

#include "korvan/host/Version.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::host {
namespace {

using Texts = std::map<std::string, std::string>;

// Reads and checks one catalogue file; returns (component, texts).
std::pair<std::string, Texts> parseCatalogueFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw std::runtime_error("message catalogue " + file.string() + ": cannot be read");
    }
    std::ostringstream content;
    content << in.rdbuf();
    auto fail = [&](const std::string& why) -> std::runtime_error {
        return std::runtime_error("message catalogue " + file.string() + ": " + why);
    };
    boost::system::error_code ec;
    boost::json::value doc = boost::json::parse(content.str(), ec);
    if (ec) {
        throw fail("not valid JSON (" + ec.message() + ")");
    }
    const auto* root = doc.if_object();
    const auto* component = root ? root->if_contains("component") : nullptr;
    const auto* messages = root ? root->if_contains("messages") : nullptr;
    if (!component || !component->is_string() || component->as_string().empty()) {
        throw fail("\"component\" must be a non-empty string");
    }
    if (!messages || !messages->is_object()) {
        throw fail("\"messages\" must be an object");
    }
    Texts texts;
    for (const auto& [name, text] : messages->as_object()) {
        if (!text.is_string()) {
            throw fail("the text of \"" + std::string(name) + "\" must be a string");
        }
        texts.emplace(std::string(name), std::string(text.as_string()));
    }
    return {std::string(component->as_string()), std::move(texts)};
}

std::u16string quotedArguments(const std::vector<resource_core::MsgArgument>& arguments) {
    if (arguments.empty()) {
        return u"none";
    }
    std::u16string out;
    for (const auto& argument : arguments) {
        if (!out.empty()) {
            out += u", ";
        }
        if (argument.index() == 0) {
            out += MessageCatalogue::argumentText(argument);
        } else {
            out += u'"';
            out += MessageCatalogue::argumentText(argument);
            out += u'"';
        }
    }
    return out;
}

}  // namespace

MessageCatalogue& MessageCatalogue::instance() {
    static MessageCatalogue* catalogue = [] {
        // Never destroyed: exceptions may render their text during static destruction.
        auto* created = new MessageCatalogue();
        try {
            created->loadFolder(defaultFolder());
        } catch (const std::exception& e) {
            std::cerr << "korvan: " << e.what() << '\n';
        }
        return created;
    }();
    return *catalogue;
}

std::filesystem::path MessageCatalogue::defaultFolder() {
    const char* fromEnvironment = std::getenv("KORVAN_RESOURCE_DIR");
    std::filesystem::path dir = (fromEnvironment && *fromEnvironment)
                                    ? std::filesystem::path(fromEnvironment)
                                    : std::filesystem::path(korvan::hostResourceDir());
    return dir / "messages";
}

std::string MessageCatalogue::loadFile(const std::filesystem::path& file) {
    auto [component, texts] = parseCatalogueFile(file);
    installComponent(component, texts);
    return component;
}

std::size_t MessageCatalogue::loadFolder(const std::filesystem::path& folder) {
    std::error_code ec;
    if (!std::filesystem::is_directory(folder, ec)) {
        return 0;
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
        if (entry.is_regular_file(ec) && entry.path().extension() == ".json") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        loadFile(file);
    }
    return files.size();
}

void MessageCatalogue::installComponent(const std::string& component, const Texts& texts) {
    std::unique_lock lock(fLock);
    auto& entries = fTexts[component];
    for (const auto& [name, text] : texts) {
        entries.insert_or_assign(name, text);
    }
}

void MessageCatalogue::removeComponent(const std::string& component) {
    std::unique_lock lock(fLock);
    fTexts.erase(component);
}

std::optional<std::string> MessageCatalogue::lookup(const std::string& component,
                                                    const std::string& name) const {
    std::shared_lock lock(fLock);
    auto found = fTexts.find(component);
    if (found == fTexts.end()) {
        return std::nullopt;
    }
    auto entry = found->second.find(name);
    if (entry == found->second.end()) {
        return std::nullopt;
    }
    return entry->second;
}

std::u16string MessageCatalogue::render(const resource_core::BaseMsgID& msgID) const {
    auto text = lookup(msgID.getComponent(), msgID.getName());
    if (!text) {
        return u"Message catalogue has no entry for " +
               kx::utf8ToUtf16(msgID.getComponent() + ":" + msgID.getName()) + u" (arguments: " +
               quotedArguments(msgID.getArguments()) + u")";
    }
    return fillHoles(kx::utf8ToUtf16(*text), msgID.getArguments());
}

std::string MessageCatalogue::renderUtf8(const resource_core::BaseMsgID& msgID) const {
    return kx::utf16ToUtf8(render(msgID));
}

std::u16string MessageCatalogue::argumentText(const resource_core::MsgArgument& argument) {
    switch (argument.index()) {
        case 0:
            return kx::utf8ToUtf16(std::to_string(std::get<0>(argument)));
        case 1:
            return kx::utf8ToUtf16(std::get<1>(argument));
        default:
            return std::get<2>(argument);
    }
}

std::u16string MessageCatalogue::fillHoles(
    std::u16string_view text, const std::vector<resource_core::MsgArgument>& arguments) {
    std::u16string out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const char16_t c = text[i];
        if (c != u'{') {
            out.push_back(c);
            ++i;
            continue;
        }
        if (i + 1 < text.size() && text[i + 1] == u'{') {
            out.push_back(u'{');
            i += 2;
            continue;
        }
        // "{digits}" with a matching argument is a hole; anything else stays as written.
        std::size_t end = i + 1;
        std::size_t number = 0;
        while (end < text.size() && text[end] >= u'0' && text[end] <= u'9' && end - i <= 9) {
            number = number * 10 + static_cast<std::size_t>(text[end] - u'0');
            ++end;
        }
        const bool isHole = end > i + 1 && end < text.size() && text[end] == u'}' && number >= 1 &&
                            number <= arguments.size();
        if (isHole) {
            out += argumentText(arguments[number - 1]);
            i = end + 1;
        } else {
            out.push_back(c);
            ++i;
        }
    }
    return out;
}

}  // namespace korvan::host
