// The host's message catalogue: the texts of all message identifiers, by component.
//
// Resource format: one JSON file per component, in <resource dir>/messages/:
//   { "component": "KORVAN:host",
//     "messages": { "TooManyOutputs": "Too many output arguments.", ... } }
// A text has numbered holes {1}, {2}, ... filled with the record's arguments in order
// (integers in decimal, UTF-8 and UTF-16 texts as they are); "{{" stands for "{"; a hole with
// no argument stays as written.
//
// The process-wide catalogue (instance()) loads <dir>/messages/*.json on first use, where dir
// is $KORVAN_RESOURCE_DIR when set, else korvan::hostResourceDir() (the build's resource
// folder). Components loaded or installed later add to it; an entry given again replaces the
// old one.
//
// Threads: every member function may be called from any thread; fLock (a reader-writer lock)
// guards the table, lookups take it shared.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include "korvan/host/Export.hpp"
#include "resource_core/BaseMsgID.hpp"

namespace korvan::host {

class KORVAN_HOST_EXPORT MessageCatalogue {
  public:
    /// The process-wide catalogue (created, and the default folder loaded, on first call).
    static MessageCatalogue& instance();
    /// The folder the process-wide catalogue loads first: <resource dir>/messages.
    static std::filesystem::path defaultFolder();

    /// An empty catalogue (tests); loads nothing.
    MessageCatalogue() = default;
    MessageCatalogue(const MessageCatalogue&) = delete;
    MessageCatalogue& operator=(const MessageCatalogue&) = delete;

    /// Loads one catalogue file and returns its component. Throws std::runtime_error naming
    /// the file when it cannot be read or is not in the format above; nothing is changed then.
    std::string loadFile(const std::filesystem::path& file);
    /// Loads every *.json file of a folder (in name order) and returns how many; a missing
    /// folder loads none. Throws like loadFile on the first bad file (earlier files stay).
    std::size_t loadFolder(const std::filesystem::path& folder);
    /// Adds or replaces the texts (UTF-8) of one component.
    void installComponent(const std::string& component,
                          const std::map<std::string, std::string>& texts);
    /// Forgets a component (tests).
    void removeComponent(const std::string& component);

    /// The raw UTF-8 text of component ":" name, if present.
    std::optional<std::string> lookup(const std::string& component, const std::string& name) const;
    /// The record's text with its arguments filled in. An identifier that is not in the
    /// catalogue renders as "Message catalogue has no entry for <id> (arguments: ...)".
    std::u16string render(const resource_core::BaseMsgID& msgID) const;
    std::string renderUtf8(const resource_core::BaseMsgID& msgID) const;

    /// Fills the holes of `text` (the rule above); used by render().
    static std::u16string fillHoles(std::u16string_view text,
                                    const std::vector<resource_core::MsgArgument>& arguments);
    /// An argument as text: integers in decimal, texts as they are.
    static std::u16string argumentText(const resource_core::MsgArgument& argument);

  private:
    mutable std::shared_mutex fLock;
    // component -> name -> UTF-8 text; guarded by fLock
    std::map<std::string, std::map<std::string, std::string>, std::less<>> fTexts;
};

}  // namespace korvan::host
