#include "korvan/services/connector/WorkerInvoker.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <future>
#include <stdexcept>

#include "WorkerPool.hpp"
#include "korvan/services/connector/LogFiles.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace korvan::services::connector {
namespace {

namespace fs = std::filesystem;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
#else
constexpr bool kAddressSanitizer = false;
#endif

CallOutcome unavailable(const std::string& message) {
    return {503, errorBody(errorid::kUnavailable, message)};
}

// A call refused before any pool saw it.
class RefusedCall final : public PendingCall {
  public:
    std::chrono::milliseconds timeout() const noexcept override { return {}; }
    void expire() override {}
};

}  // namespace

WorkerInvoker::WorkerInvoker(WorkerInvokerOptions options) : fOptions(std::move(options)) {
    if (!fOptions.fCatalog) throw std::invalid_argument("The function workers need a catalogue");
}

WorkerInvoker::~WorkerInvoker() {
    close();
}

std::shared_ptr<detail::WorkerPool> WorkerInvoker::makePool(boost::asio::io_context& io, int log,
                                                            const WorkerSettings& global,
                                                            const std::string& service) const {
    const fs::path folder = fOptions.fServicesFolder / service;
    const WorkerSettings settings = readWorkerSettings(folder / kWorkerSettingsFile, global);
    detail::WorkerLaunch launch;
    launch.fExecutable = fOptions.fExecutable;
    launch.fArguments = {"--function-worker", folder.string(), "--memory-limit-mib",
                         std::to_string(settings.fMemoryLimitMiB)};
    if (kAddressSanitizer) {
        // The sanitizer's allocator reserves far more address space than any limit allows;
        // in its builds the limit holds for each allocation instead, and one beyond it ends
        // the worker (the sanitizer's report is in the function log).
        const char* own = std::getenv("ASAN_OPTIONS");
        launch.fEnvironment.push_back(
            std::string("ASAN_OPTIONS=") + (own && *own ? std::string(own) + ":" : "") +
            "max_allocation_size_mb=" + std::to_string(settings.fMemoryLimitMiB));
    }
    launch.fOutput = log;
    return std::make_shared<detail::WorkerPool>(io, service, settings, std::move(launch));
}

void WorkerInvoker::open(boost::asio::io_context& io, const fs::path& logFolder) {
    {
        std::lock_guard lock(fLock);
        if (fIo) return;
    }
    const WorkerSettings global = readWorkerSettings(
        fOptions.fGlobalSettings, fOptions.fDefaults.value_or(defaultWorkerSettings()));
    int log = -1;
    if (!logFolder.empty()) {
        const fs::path file = logFolder / kFunctionLogFile;
        log = openLogFile(file);
        if (log < 0)
            throw std::runtime_error("Cannot open the function log " + file.string() + ": " +
                                     std::strerror(errno));
    }
    std::map<std::string, std::shared_ptr<detail::WorkerPool>, std::less<>> pools;
    try {
        for (const auto& service : fOptions.fCatalog->serviceNames())
            pools.emplace(service, makePool(io, log, global, service));
        for (auto& [name, pool] : pools) pool->open(true);
    } catch (...) {
        for (auto& [name, pool] : pools) pool->close();
        if (log >= 0) ::close(log);
        throw;
    }
    std::lock_guard lock(fLock);
    fIo = &io;
    fLog = log;
    fGlobal = global;
    fPools = std::move(pools);
}

void WorkerInvoker::close() noexcept {
    std::map<std::string, std::shared_ptr<detail::WorkerPool>, std::less<>> pools;
    int log;
    {
        std::lock_guard lock(fLock);
        pools = std::move(fPools);
        fPools.clear();
        log = fLog;
        fLog = -1;
        fIo = nullptr;
    }
    for (auto& [name, pool] : pools) pool->close();
    if (log >= 0) ::close(log);
}

std::shared_ptr<detail::WorkerPool> WorkerInvoker::poolFor(const std::string& service,
                                                           std::string& problem) {
    std::lock_guard lock(fLock);
    if (!fIo) {
        problem = "The connector is not running";
        return nullptr;
    }
    if (auto it = fPools.find(service); it != fPools.end()) return it->second;
    // A service that appeared while the connector runs: its workers start now and take the
    // calls that wait for them once they are ready.
    try {
        auto pool = makePool(*fIo, fLog, fGlobal, service);
        pool->open(false);
        fPools.emplace(service, pool);
        return pool;
    } catch (const std::exception& e) {
        problem = e.what();
        return nullptr;
    }
}

std::shared_ptr<PendingCall> WorkerInvoker::start(FunctionCall call, CallCompletion done) {
    std::string problem;
    auto pool = poolFor(call.fService, problem);
    if (!pool) {
        done(unavailable(problem));
        return std::make_shared<RefusedCall>();
    }
    return pool->start(std::move(call), std::move(done));
}

std::optional<foundation::json::Value> WorkerInvoker::describe(std::string_view service) const {
    std::lock_guard lock(fLock);
    auto it = fPools.find(service);
    if (it != fPools.end()) return toJson(it->second->settings());
    if (!fIo) return std::nullopt;
    try {
        return toJson(
            readWorkerSettings(fOptions.fServicesFolder / service / kWorkerSettingsFile, fGlobal));
    } catch (const std::exception&) {
        return std::nullopt;  // its calls say what is wrong
    }
}

std::vector<pid_t> WorkerInvoker::workerPids() const {
    std::vector<std::shared_ptr<detail::WorkerPool>> pools;
    {
        std::lock_guard lock(fLock);
        for (const auto& [name, pool] : fPools) pools.push_back(pool);
    }
    std::vector<pid_t> pids;
    for (const auto& pool : pools) {
        auto some = pool->workerPids();
        pids.insert(pids.end(), some.begin(), some.end());
    }
    return pids;
}

}  // namespace korvan::services::connector
