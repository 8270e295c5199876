// Finds functions defined in files: "name.k" holding `function [...] = name(...) ... end`
// in a folder of the search path (package names "pkg.name" as "pkg/name.k"), and functions
// defined in a script's own text. Further functions of a file are local to it. Parsed files
// are kept until the file changes.
// Errors: KORVAN:lang:FunctionFile when the file's first function has another name; syntax
// errors of the file as the parser raises them.
// Threads: the interpreter thread.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "korvan/lang/Ast.hpp"

namespace korvan::lang {

class FunctionFiles {
  public:
    void addFolder(const std::filesystem::path& folder);
    /// Functions of a script's text (they come before files of the same name).
    void define(std::shared_ptr<FunctionDef> def);
    /// The function `name`, or null when no file and no script defines it.
    std::shared_ptr<FunctionDef> find(const std::string& name);
    /// A further function `name` of the file that defines `caller` (a local function of that
    /// file, visible only to its functions), or null.
    std::shared_ptr<FunctionDef> findLocal(const FunctionDef* caller,
                                           const std::string& name) const;
    /// The first function of the file `file` ("name.k", which must define `name`), read
    /// again when the file has changed. Raises KORVAN:lang:FileNotFound when there is no
    /// such file.
    std::shared_ptr<FunctionDef> load(const std::filesystem::path& file);

    /// What tells a changed file from the one in the cache: its time of last change (to the
    /// nanosecond) and size, both from one stat call.
    struct Stamp {
        long long fSeconds = 0;
        long fNanoseconds = 0;
        long long fSize = -1;
        bool operator==(const Stamp&) const = default;
    };

  private:
    struct Entry {
        Stamp fStamp;
        std::shared_ptr<Program> fProgram;
    };
    /// Parses `file` (or takes it from the cache) and checks that its first function is
    /// `base`; the function is then known as `name`. `stamp` is the file's, taken just before.
    std::shared_ptr<FunctionDef> fromFile(const std::filesystem::path& file, const Stamp& stamp,
                                          const std::string& base, const std::string& name);

    std::vector<std::filesystem::path> fFolders;  // "" is the current folder
    std::map<std::string, std::shared_ptr<FunctionDef>> fDefined;
    std::unordered_map<std::string, Entry> fCache;  // by the file's path as given
};

}  // namespace korvan::lang
