// Runs function calls in function workers: one pool of worker processes per function service
// (see docs/services/connector-service.md, "Function workers").
//
//   WorkerInvokerOptions options;
//   options.fExecutable = "/usr/bin/korvan";               // started as a function worker
//   options.fServicesFolder = settings.servicesFolder();   // <folder>/<service>/<name>.k
//   options.fGlobalSettings = settings.folder() / "rest" / kWorkerSettingsFile;
//   auto invoker = std::make_shared<WorkerInvoker>(options);
//   ConnectorService service(config, catalog, invoker);  // start() opens the pools
//
// open() reads the worker settings (built-in defaults, the global file, each service's file),
// starts every service's pool and waits until its workers are ready; a service that appears
// while the connector runs gets its pool at its first call. close() ends every worker.
// A worker is the same executable run as
//   <executable> --function-worker <service folder> --memory-limit-mib <N>
// with fds 1 and 2 on <log folder>/functions.log (opened without following links).
//
// Owns: the pools and the function log's descriptor while open. Threads: any; fLock guards
// the members marked below; it is never held while a pool starts or settles a call.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "korvan/services/connector/Export.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/FunctionServiceCatalog.hpp"
#include "korvan/services/connector/WorkerSettings.hpp"

namespace korvan::services::connector {

namespace detail {
class WorkerPool;
}

/// The file of function output in the log folder.
inline constexpr const char* kFunctionLogFile = "functions.log";

struct WorkerInvokerOptions {
    /// Which services there are when the connector starts.
    std::shared_ptr<const FunctionServiceCatalog> fCatalog;
    std::filesystem::path fExecutable;
    std::filesystem::path fServicesFolder;
    /// The connector's global worker settings file; empty: none.
    std::filesystem::path fGlobalSettings;
    /// The layer under the files (defaultWorkerSettings() when not set).
    std::optional<WorkerSettings> fDefaults;
};

class KORVAN_CONNECTOR_SERVICE_EXPORT WorkerInvoker final : public FunctionInvoker {
  public:
    explicit WorkerInvoker(WorkerInvokerOptions options);
    ~WorkerInvoker() override;

    /// Needs the call's service and function names; 503 Unavailable when not open.
    std::shared_ptr<PendingCall> start(FunctionCall call, CallCompletion done) override;

    void open(boost::asio::io_context& io, const std::filesystem::path& logFolder) override;
    void close() noexcept override;
    std::optional<foundation::json::Value> describe(std::string_view service) const override;

    /// The process ids of every worker alive now (tests).
    std::vector<pid_t> workerPids() const;

  private:
    std::shared_ptr<detail::WorkerPool> makePool(boost::asio::io_context& io, int log,
                                                 const WorkerSettings& global,
                                                 const std::string& service) const;
    std::shared_ptr<detail::WorkerPool> poolFor(const std::string& service, std::string& problem);

    const WorkerInvokerOptions fOptions;

    mutable std::mutex fLock;
    boost::asio::io_context* fIo = nullptr;  // guarded by fLock; set while open
    int fLog = -1;                           // guarded by fLock; functions.log while open
    WorkerSettings fGlobal;                  // guarded by fLock; read at open()
    std::map<std::string, std::shared_ptr<detail::WorkerPool>, std::less<>>
        fPools;  // guarded by fLock
};

}  // namespace korvan::services::connector
