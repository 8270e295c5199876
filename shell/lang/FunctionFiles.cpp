// Function files on the search path (see FunctionFiles.hpp).
#include "FunctionFiles.hpp"

#include <sys/stat.h>

#include <fstream>
#include <optional>
#include <sstream>

#include "Values.hpp"
#include "korvan/lang/Parser.hpp"

namespace korvan::lang {
namespace {

// The stamp of a regular file, or nothing when `file` is not one. One system call: a function
// service's file is looked at before every call.
std::optional<FunctionFiles::Stamp> regularFileStamp(const std::filesystem::path& file) {
    struct stat st {};
    if (::stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    return FunctionFiles::Stamp{static_cast<long long>(st.st_mtim.tv_sec), st.st_mtim.tv_nsec,
                                static_cast<long long>(st.st_size)};
}

}  // namespace

void FunctionFiles::addFolder(const std::filesystem::path& folder) {
    for (const auto& f : fFolders)
        if (f == folder) return;
    fFolders.push_back(folder);
}

void FunctionFiles::define(std::shared_ptr<FunctionDef> def) {
    fDefined[def->fName] = std::move(def);
}

std::shared_ptr<FunctionDef> FunctionFiles::find(const std::string& name) {
    if (auto it = fDefined.find(name); it != fDefined.end()) return it->second;
    std::string relative = name;
    for (char& c : relative)
        if (c == '.') c = '/';
    relative += ".k";
    std::error_code ec;
    for (const auto& folder : fFolders) {
        std::filesystem::path file =
            folder.empty() ? std::filesystem::current_path(ec) / relative : folder / relative;
        const auto stamp = regularFileStamp(file);
        if (!stamp) continue;
        std::string base =
            name.substr(name.rfind('.') == std::string::npos ? 0 : name.rfind('.') + 1);
        return fromFile(file, *stamp, base, name);
    }
    return nullptr;
}

std::shared_ptr<FunctionDef> FunctionFiles::load(const std::filesystem::path& file) {
    const auto stamp = regularFileStamp(file);
    if (!stamp) langError("FileNotFound", file.string());
    std::string base = file.stem().string();
    return fromFile(file, *stamp, base, base);
}

std::shared_ptr<FunctionDef> FunctionFiles::fromFile(const std::filesystem::path& file,
                                                     const Stamp& stamp, const std::string& base,
                                                     const std::string& name) {
    auto cached = fCache.find(file.native());
    if (cached == fCache.end() || cached->second.fStamp != stamp) {
        std::ifstream in(file, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        auto program = std::make_shared<Program>(parse(text.str()));
        if (program->fFunctions.empty() || program->fFunctions.front()->fName != base)
            langError("FunctionFile", file.string(), base);
        program->fFunctions.front()->fName = name;
        cached = fCache.insert_or_assign(file.native(), Entry{stamp, program}).first;
    }
    return cached->second.fProgram->fFunctions.front();
}

std::shared_ptr<FunctionDef> FunctionFiles::findLocal(const FunctionDef* caller,
                                                      const std::string& name) const {
    for (const auto& [file, entry] : fCache) {
        const auto& functions = entry.fProgram->fFunctions;
        bool inFile = false;
        for (const auto& f : functions) inFile = inFile || f.get() == caller;
        if (!inFile) continue;
        for (std::size_t i = 1; i < functions.size(); ++i)
            if (functions[i]->fName == name) return functions[i];
        return nullptr;
    }
    return nullptr;
}

}  // namespace korvan::lang
