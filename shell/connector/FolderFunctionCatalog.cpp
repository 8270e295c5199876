// Function services from folders (see FolderFunctionCatalog.hpp).
//
// Which interpreter runs a call: one language interpreter per service folder and per thread,
// made on the first call and kept for the thread's life, writing to the process's standard
// output and error (in a function worker: its function log). A fresh interpreter rather than
// any other, because a remote caller must see no workspace but the call's own, and with the
// service's folder on its search path a function of the service can call the service's other
// function files, and never another service's. Thread-local, because an interpreter belongs to
// one thread; each call runs in a fresh scope of its own.
#include "korvan/shell/FolderFunctionCatalog.hpp"

#include <fstream>

#include "korvan/shell/FunctionHelp.hpp"

#include <cctype>
#include <iostream>
#include <system_error>
#include <unordered_map>

#include "FunctionCallError.hpp"
#include "korvan/lang/Interpreter.hpp"

namespace korvan::shell {
namespace {

namespace fs = std::filesystem;

// A file name the language can call as a function: a letter, then letters, digits and '_'.
bool isFunctionName(const std::string& name) {
    if (name.empty() || name.size() > 64 || !std::isalpha(static_cast<unsigned char>(name[0])))
        return false;
    for (char c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return false;
    return true;
}

using FunctionFile = FolderFunctionCatalog::FunctionFile;

// The functions of one service folder: "name.k" files directly in it.
std::map<std::string, std::shared_ptr<const FunctionFile>, std::less<>> scanService(
    const fs::path& folder) {
    std::map<std::string, std::shared_ptr<const FunctionFile>, std::less<>> functions;
    std::error_code ec;
    for (fs::directory_iterator it(folder, fs::directory_options::skip_permission_denied, ec), end;
         !ec && it != end; it.increment(ec)) {
        const fs::path& file = it->path();
        std::error_code fileEc;
        if (file.extension() != ".k" || !it->is_regular_file(fileEc)) continue;
        std::string name = file.stem().string();
        if (isFunctionName(name) && korvan::services::connector::isValidServiceName(name))
            functions.emplace(std::move(name),
                              std::make_shared<const FunctionFile>(FunctionFile{folder, file}));
    }
    return functions;
}

lang::Interpreter& runnerFor(const fs::path& serviceFolder) {
    thread_local std::unordered_map<std::string, std::unique_ptr<lang::Interpreter>> runners;
    auto& runner = runners[serviceFolder.native()];
    if (!runner) {
        runner = std::make_unique<lang::Interpreter>(std::cout, std::cerr);
        runner->addPath(serviceFolder);
    }
    return *runner;
}

// Runs the function file in the service's interpreter, in the host calling convention.
void callFile(const fs::path& serviceFolder, const fs::path& file, int nlhs, kxArray** plhs,
              int nrhs, const kxArray** prhs) {
    std::vector<kx::ArrayPtr> args;
    args.reserve(static_cast<std::size_t>(std::max(nrhs, 0)));
    for (int i = 0; i < nrhs; ++i) args.emplace_back(kxShareArray(const_cast<kxArray*>(prhs[i])));
    std::vector<kx::ArrayPtr> results;
    try {
        results = runnerFor(serviceFolder).callFunctionFile(file, args, nlhs);
    } catch (const lang::ScriptError& e) {
        // error("id:name", ...) in the file: keep the user's identifier for the caller.
        if (e.identifier().empty()) throw;
        throw FunctionCallError(e.identifier(), e.what());
    } catch (const lang::ExitRequest&) {
        throw std::runtime_error("The function called exit, which a function service cannot do.");
    }
    for (std::size_t i = 0; i < results.size() && i < static_cast<std::size_t>(std::max(nlhs, 1));
         ++i)
        plhs[i] = results[i].release();
}

}  // namespace

FolderFunctionCatalog::FolderFunctionCatalog(std::filesystem::path servicesFolder)
    : fFolder(std::move(servicesFolder)) {
    refresh();
}

std::vector<std::string> FolderFunctionCatalog::serviceNames() const {
    refreshIfChanged();
    std::shared_lock lock(fLock);
    std::vector<std::string> names;
    for (const auto& [name, functions] : fServices) names.push_back(name);
    return names;
}

std::optional<std::vector<std::string>> FolderFunctionCatalog::functionNames(
    std::string_view service) const {
    refreshIfChanged();
    std::shared_lock lock(fLock);
    auto it = fServices.find(service);
    if (it == fServices.end()) return std::nullopt;
    std::vector<std::string> names;
    for (const auto& [name, file] : it->second) names.push_back(name);
    return names;
}

std::shared_ptr<const FolderFunctionCatalog::FunctionFile> FolderFunctionCatalog::fileOf(
    std::string_view service, std::string_view function) const {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (attempt == 1 && !refreshIfChanged()) break;  // not found, and nothing new
        std::shared_lock lock(fLock);
        auto it = fServices.find(service);
        if (it == fServices.end()) continue;
        auto fn = it->second.find(function);
        if (fn != it->second.end()) return fn->second;
    }
    return nullptr;
}

std::optional<korvan::services::connector::FunctionMetadata>
FolderFunctionCatalog::describeFunction(std::string_view service, std::string_view function) const {
    const auto entry = fileOf(service, function);
    if (!entry) return std::nullopt;
    std::ifstream in(entry->fFile, std::ios::binary);
    std::string text(64 * 1024, '\0');  // a help block sits at the top
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    return parseFunctionHelp(text);
}

std::optional<korvan::host::Function> FolderFunctionCatalog::findFunction(
    std::string_view service, std::string_view function) const {
    const auto entry = fileOf(service, function);
    if (!entry) return std::nullopt;
    return korvan::host::Function(
        [entry](int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) {
            callFile(entry->fServiceFolder, entry->fFile, nlhs, plhs, nrhs, prhs);
        });
}

void FolderFunctionCatalog::refresh() {
    rescan();
}

bool FolderFunctionCatalog::refreshIfChanged() const {
    std::map<fs::path, fs::file_time_type> stamps;
    {
        std::shared_lock lock(fLock);
        stamps = fStamps;
    }
    for (const auto& [folder, stamp] : stamps) {
        std::error_code ec;
        const auto now = fs::last_write_time(folder, ec);
        if (ec || now != stamp) {
            rescan();
            return true;
        }
    }
    return false;
}

void FolderFunctionCatalog::rescan() const {
    // Scan without the lock; readers see the old listing until the new one is complete. The
    // times are taken before the scan, so that a change made during it shows next time.
    std::map<std::string, Functions, std::less<>> services;
    std::map<fs::path, fs::file_time_type> stamps;
    std::error_code ec;
    stamps[fFolder] = fs::last_write_time(fFolder, ec);
    for (fs::directory_iterator it(fFolder, fs::directory_options::skip_permission_denied, ec), end;
         !ec && it != end; it.increment(ec)) {
        std::string name = it->path().filename().string();
        std::error_code dirEc;
        // Hidden folders (".git", editors' folders) are not services.
        if (name.front() == '.' || !it->is_directory(dirEc) ||
            !korvan::services::connector::isValidServiceName(name))
            continue;
        std::error_code stampEc;
        stamps[it->path()] = fs::last_write_time(it->path(), stampEc);
        services.emplace(name, scanService(it->path()));
    }
    std::unique_lock lock(fLock);
    fServices = std::move(services);
    fStamps = std::move(stamps);
}

}  // namespace korvan::shell
