// Function services from folders: every folder under the services folder
// (<settings folder>/rest/services) is a function service named after the folder, and every
// function file "name.k" directly in it is a function of that service called "name".
//
// The folders are scanned when the catalogue is built, on refresh() (the connector's
// "refreshServices"), and whenever a listing is asked for or a name is not found while the
// modification time of the services folder or of a service folder has changed since the last
// scan: a function file or service folder added or removed while the connector runs is served
// (or no longer served) from the next request, and a call of a known function costs no look
// at the disk. Folders and files whose names are not usable in a URL are skipped. A call
// runs the function file through the language's interpreter (callFunctionFile), in the
// function worker process that runs the call (korvan --function-worker), reading the file as
// it is at the time of the call. The connector's own catalogue only lists names.
//
// Threads: serviceNames/functionNames/findFunction/refresh from any thread; fLock (reader-writer)
// guards fServices and fStamps. The callables it hands out run on the thread that owns the
// interpreter (a worker's main thread).
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>

#include "korvan/services/connector/FunctionServiceCatalog.hpp"

namespace korvan::shell {

class FolderFunctionCatalog final : public korvan::services::connector::FunctionServiceCatalog {
  public:
    explicit FolderFunctionCatalog(std::filesystem::path servicesFolder);

    const std::filesystem::path& folder() const { return fFolder; }

    std::vector<std::string> serviceNames() const override;
    std::optional<std::vector<std::string>> functionNames(std::string_view service) const override;
    std::optional<korvan::host::Function> findFunction(std::string_view service,
                                                       std::string_view function) const override;
    /// From the function file's function line and help block (FunctionHelp.hpp), read now.
    std::optional<korvan::services::connector::FunctionMetadata> describeFunction(
        std::string_view service, std::string_view function) const override;
    void refresh() override;

    /// One function file of a service: what a call needs, made once per scan and shared by
    /// the callables handed out (a call copies no paths).
    struct FunctionFile {
        std::filesystem::path fServiceFolder;
        std::filesystem::path fFile;
    };

  private:
    using Functions = std::map<std::string, std::shared_ptr<const FunctionFile>, std::less<>>;
    /// The file of `service`/`function`, looking at the folders again when it is not known.
    std::shared_ptr<const FunctionFile> fileOf(std::string_view service,
                                               std::string_view function) const;
    /// Scans again when a folder's modification time differs from the last scan's; returns
    /// whether it did.
    bool refreshIfChanged() const;
    void rescan() const;

    const std::filesystem::path fFolder;
    mutable std::shared_mutex fLock;
    mutable std::map<std::string, Functions, std::less<>> fServices;  // guarded by fLock
    // The services folder and each service folder, with their times at the last scan.
    mutable std::map<std::filesystem::path, std::filesystem::file_time_type> fStamps;
};

}  // namespace korvan::shell
