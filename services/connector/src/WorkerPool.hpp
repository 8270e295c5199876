// The function workers of one function service (internal): a fixed number of worker
// processes, each running one call at a time, and a bounded queue of calls waiting for one.
//
//   start(call)   a free worker takes it at once; else it waits in the queue (503 QueueFull
//                 when the queue is full)
//   expire(call)  (its time-out passed) 503 at once; a waiting call leaves the queue; a running
//                 one is interrupted (SIGINT, the language's interrupt) and its worker killed
//                 if it has not answered within kInterruptGrace
//   worker ends   (crash, signal, stack overflow) its call gets 500 WorkerCrashed; a new
//                 worker is started in its place, later and later while new ones keep dying
//                 before they are ready
//
// A worker's socket, its pidfd and its kill timer live on the server's io_context; their
// completions run on the I/O threads, which also call start() and expire().
//
// Owns: the workers (processes, sockets, pidfds). Threads: any; fLock guards every member
// marked below and is never held while a call is settled (settling posts to the sessions).
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>

#include "WorkerProcess.hpp"
#include "korvan/services/connector/FunctionInvoker.hpp"
#include "korvan/services/connector/WorkerSettings.hpp"

namespace korvan::services::connector::detail {

struct Worker;
class PoolCall;
struct Settling;

class WorkerPool : public std::enable_shared_from_this<WorkerPool> {
  public:
    /// How long an interrupted worker has to answer before it is killed.
    static constexpr std::chrono::milliseconds kInterruptGrace{1000};
    /// How long open() waits for every worker to be ready.
    static constexpr std::chrono::seconds kReadyTimeout{30};

    /// `launch` runs one worker for `serviceFolder`; the pool adds nothing to it.
    WorkerPool(boost::asio::io_context& io, std::string service, WorkerSettings settings,
               WorkerLaunch launch);
    ~WorkerPool();

    /// Starts every worker. With `waitReady`, waits until each is ready and throws
    /// std::runtime_error saying how a worker that did not start ended; without, returns at
    /// once and calls wait in the queue until workers are ready.
    void open(bool waitReady);
    /// Kills and reaps every worker; calls still waiting or running settle with 503.
    void close() noexcept;

    std::shared_ptr<PendingCall> start(FunctionCall call, CallCompletion done);

    const WorkerSettings& settings() const { return fSettings; }
    const std::string& service() const { return fService; }
    /// The process ids of the workers alive now (tests).
    std::vector<pid_t> workerPids() const;

  private:
    friend class PoolCall;
    void expire(const std::shared_ptr<PoolCall>& call);

    std::shared_ptr<Worker> launch();            // fLock held
    void watch(const std::shared_ptr<Worker>& worker);  // fLock held
    void dispatch(const std::shared_ptr<Worker>& worker);  // fLock held
    void onReadable(const std::shared_ptr<Worker>& worker, std::size_t bytes);
    void onAnswer(const std::shared_ptr<Worker>& worker, std::string_view payload,
                  std::vector<Settling>& settled);  // fLock held
    void onEnded(const std::shared_ptr<Worker>& worker);
    void replace();  // fLock held

    boost::asio::io_context& fIo;
    const std::string fService;
    const WorkerSettings fSettings;
    const WorkerLaunch fLaunch;

    mutable std::mutex fLock;
    bool fOpen = false;                                // guarded by fLock
    std::vector<std::shared_ptr<Worker>> fWorkers;     // guarded by fLock
    std::deque<std::shared_ptr<PoolCall>> fQueue;      // guarded by fLock
    std::uint64_t fNextCall = 1;                       // guarded by fLock
    unsigned fFailedStarts = 0;  // workers in a row that ended before ready; guarded by fLock
};

}  // namespace korvan::services::connector::detail
