// The function workers of one function service (internal): a fixed number of worker
// processes and one call queue that they all read.
//
//   start(call)   the call goes on the call queue, from which the first worker to be free
//                 takes it; at most kCallsPerWorker calls per worker are on the queue or
//                 running, the rest wait here (503 QueueFull beyond the queue length).
//                 Several calls on the queue let a worker take the next one without waiting
//                 for korvan to be scheduled, which keeps the crossing cheap under load.
//   expire(call)  (its time-out passed) 503 at once; a call still waiting here leaves; a call
//                 on the queue is skipped by the worker that takes it (its deadline passed);
//                 a running one is interrupted (SIGINT carrying the call's number, the
//                 language's interrupt) and its worker killed if it has not answered within
//                 kInterruptGrace
//   worker ends   (crash, signal, stack overflow) the call its running page names gets 500
//                 WorkerCrashed; a new worker is started in its place, later and later while
//                 new ones keep dying before they are ready
//
// A worker's channel (its answers), its pidfd and its kill timer live on the server's
// io_context; their completions run on the I/O threads, which also call start() and expire().
//
// Owns: the workers (processes, sockets, pidfds, running pages) and both ends of the call
// queue. Threads: any; fLock guards every member marked below and is never held while a call
// is settled (settling posts to the sessions).
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
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
    /// Calls per worker that may be on the call queue or running at once.
    static constexpr std::size_t kCallsPerWorker = 4;
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

    std::shared_ptr<Worker> launch();                                           // fLock held
    void watch(const std::shared_ptr<Worker>& worker);                          // fLock held
    void pump(std::vector<Settling>& settled);                                  // fLock held
    void interrupt(const std::shared_ptr<Worker>& worker, std::uint64_t call);  // fLock held
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
    bool fOpen = false;                             // guarded by fLock
    std::vector<std::shared_ptr<Worker>> fWorkers;  // guarded by fLock
    std::deque<std::shared_ptr<PoolCall>> fQueue;   // waiting to be sent; guarded by fLock
    // Sent on the call queue and not answered yet (waiting there or running); guarded by fLock.
    std::unordered_map<std::uint64_t, std::shared_ptr<PoolCall>> fSent;
    int fQueueSend = -1;         // korvan's end of the call queue; guarded by fLock
    int fQueueTake = -1;         // the workers' end, given to each worker started; guarded by fLock
    unsigned fFailedStarts = 0;  // workers in a row that ended before ready; guarded by fLock
};

}  // namespace korvan::services::connector::detail
