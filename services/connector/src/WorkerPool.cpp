#include "WorkerPool.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>

#include "korvan/services/connector/JsonValues.hpp"
#include "korvan/services/connector/RequestHandler.hpp"
#include "korvan/services/connector/WorkerProtocol.hpp"

namespace korvan::services::connector::detail {

namespace net = boost::asio;
using Clock = std::chrono::steady_clock;

struct Worker {
    enum class State { Starting, Ready, Ended };

    Worker(net::io_context& io, const SpawnedWorker& spawned)
        : fPid(spawned.fPid), fChannel(io), fPidFd(io, spawned.fPidFd), fKillTimer(io) {
        fChannel.assign(net::local::stream_protocol(), spawned.fChannel);
        void* page =
            ::mmap(nullptr, kRunningPage, PROT_READ | PROT_WRITE, MAP_SHARED, spawned.fRunning, 0);
        ::close(spawned.fRunning);
        if (page == MAP_FAILED) {
            ::kill(fPid, SIGKILL);
            reap(fPid);
            throw std::system_error(errno, std::generic_category(), "mmap");
        }
        fPage = static_cast<std::uint64_t*>(page);
    }
    ~Worker() { ::munmap(fPage, kRunningPage); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// The number of the call the worker runs now (0: none), as it wrote it in its page.
    std::uint64_t running() const noexcept {
        return std::atomic_ref<std::uint64_t>(*fPage).load(std::memory_order_acquire);
    }

    const pid_t fPid;
    net::local::stream_protocol::socket fChannel;
    net::posix::stream_descriptor fPidFd;  // readable once the process has ended
    net::steady_timer fKillTimer;          // an interrupted call's grace period
    // The rest is guarded by the pool's fLock.
    State fState = State::Starting;
    std::uint64_t fInterrupted = 0;  // the call it was told to stop, until it answers it
    std::string fInbox;              // bytes read and not yet a whole frame
    std::array<char, 64 * 1024> fReadBuffer{};

  private:
    std::uint64_t* fPage = nullptr;  // shared with the worker, which writes it
};

// A call on its way through one pool: in the queue, on a worker, or settled.
class PoolCall final : public PendingCall, public std::enable_shared_from_this<PoolCall> {
  public:
    PoolCall(std::weak_ptr<WorkerPool> pool, std::uint64_t number, std::string frame,
             std::chrono::milliseconds timeout, CallCompletion done)
        : fPool(std::move(pool)),
          fNumber(number),
          fFrame(std::make_shared<const std::string>(std::move(frame))),
          fTimeout(timeout),
          fDone(std::move(done)) {}

    std::chrono::milliseconds timeout() const noexcept override { return fTimeout; }
    void expire() override {
        if (!settle(
                {503, errorBody(errorid::kTimedOut, "The function did not finish within " +
                                                        std::to_string(fTimeout.count()) + " ms")}))
            return;
        if (auto pool = fPool.lock()) pool->expire(shared_from_this());
    }
    /// The first settlement wins; returns whether this one did.
    bool settle(CallOutcome outcome) {
        if (fSettled.exchange(true, std::memory_order_acq_rel)) return false;
        fDone(std::move(outcome));
        return true;
    }
    bool settled() const noexcept { return fSettled.load(std::memory_order_acquire); }

    const std::weak_ptr<WorkerPool> fPool;
    const std::uint64_t fNumber;
    const std::shared_ptr<const std::string> fFrame;  // the request, kept until written

  private:
    const std::chrono::milliseconds fTimeout;
    const CallCompletion fDone;
    std::atomic<bool> fSettled{false};
};

struct Settling {
    std::shared_ptr<PoolCall> fCall;
    CallOutcome fOutcome;
};

namespace {

void settleAll(std::vector<Settling>& list) {
    for (auto& s : list) s.fCall->settle(std::move(s.fOutcome));
    list.clear();
}

CallOutcome failure(unsigned status, const char* id, std::string message) {
    return {status, errorBody(id, message)};
}

// Waits for a new worker's ready answer on its channel; false when it ended or said
// something else, or the deadline passed.
bool awaitReady(int fd, Clock::time_point deadline) {
    pollfd p{fd, POLLIN, 0};
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        const int n = ::poll(&p, 1, static_cast<int>(left.count()));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        break;
    }
    auto payload = worker::readFrame(fd);
    if (!payload) return false;
    auto answer = worker::decodeAnswer(*payload);
    return answer && answer->fCall == 0 && answer->fStatus == 0;
}

}  // namespace

WorkerPool::WorkerPool(net::io_context& io, std::string service, WorkerSettings settings,
                       WorkerLaunch launch)
    : fIo(io), fService(std::move(service)), fSettings(settings), fLaunch(std::move(launch)) {}

WorkerPool::~WorkerPool() {
    close();
}

std::shared_ptr<Worker> WorkerPool::launch() {
    const SpawnedWorker spawned = spawnWorker(fLaunch, fQueueTake);
    return std::make_shared<Worker>(fIo, spawned);
}

void WorkerPool::open(bool waitReady) {
    std::lock_guard lock(fLock);
    if (fOpen) return;
    if (fQueueSend < 0) {
        int pair[2];
        if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0)
            throw std::runtime_error("The function workers of service \"" + fService +
                                     "\" could not start: no call queue (" + std::strerror(errno) +
                                     ")");
        // Room for many small calls; the kernel caps it at its own maximum.
        const int room = 1 << 20;
        ::setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
        fQueueSend = pair[0];
        fQueueTake = pair[1];
    }
    if (!waitReady) {
        fOpen = true;
        for (unsigned i = 0; i < fSettings.fWorkers; ++i) {
            try {
                auto w = launch();
                fWorkers.push_back(w);
                watch(w);
            } catch (const std::exception&) {
                ++fFailedStarts;
                replace();
            }
        }
        return;
    }
    std::string problem;
    try {
        for (unsigned i = 0; i < fSettings.fWorkers; ++i) fWorkers.push_back(launch());
    } catch (const std::exception& e) {
        problem = e.what();
    }
    const auto deadline = Clock::now() + kReadyTimeout;
    for (auto& w : fWorkers) {
        if (!problem.empty()) break;
        if (awaitReady(w->fChannel.native_handle(), deadline)) {
            w->fState = Worker::State::Ready;
            continue;
        }
        ::kill(w->fPid, SIGKILL);
        problem = "a worker " + describeWaitStatus(reap(w->fPid)) + " before it was ready";
        w->fState = Worker::State::Ended;
    }
    if (!problem.empty()) {
        for (auto& w : fWorkers) {
            if (w->fState == Worker::State::Ended) continue;
            ::kill(w->fPid, SIGKILL);
            reap(w->fPid);
        }
        fWorkers.clear();
        throw std::runtime_error("The function workers of service \"" + fService +
                                 "\" could not start: " + problem +
                                 " (its output is in the connector's functions.log)");
    }
    fOpen = true;
    for (auto& w : fWorkers) watch(w);
}

void WorkerPool::watch(const std::shared_ptr<Worker>& worker) {
    auto self = shared_from_this();
    worker->fPidFd.async_wait(net::posix::descriptor_base::wait_read,
                              [self, worker](boost::system::error_code ec) {
                                  if (!ec) self->onEnded(worker);
                              });
    worker->fChannel.async_read_some(
        net::buffer(worker->fReadBuffer),
        [self, worker](boost::system::error_code ec, std::size_t bytes) {
            // A channel that fails belongs to a worker that is ending: its pidfd says so.
            if (!ec) self->onReadable(worker, bytes);
        });
}

void WorkerPool::onReadable(const std::shared_ptr<Worker>& worker, std::size_t bytes) {
    std::vector<Settling> settled;
    {
        std::lock_guard lock(fLock);
        if (worker->fState == Worker::State::Ended) return;
        worker->fInbox.append(worker->fReadBuffer.data(), bytes);
        std::size_t at = 0;
        while (worker->fInbox.size() - at >= worker::kFrameHeader) {
            const std::uint32_t length = worker::frameLength(worker->fInbox.data() + at);
            if (length > worker::kMaxFrame) {
                // Not our worker's speech: end it; its pidfd reports the end.
                ::kill(worker->fPid, SIGKILL);
                return;
            }
            if (worker->fInbox.size() - at - worker::kFrameHeader < length) {
                worker->fInbox.reserve(at + worker::kFrameHeader + length);
                break;
            }
            onAnswer(worker,
                     std::string_view(worker->fInbox).substr(at + worker::kFrameHeader, length),
                     settled);
            at += worker::kFrameHeader + length;
        }
        worker->fInbox.erase(0, at);
        pump(settled);
        auto self = shared_from_this();
        worker->fChannel.async_read_some(
            net::buffer(worker->fReadBuffer),
            [self, worker](boost::system::error_code ec, std::size_t n) {
                if (!ec) self->onReadable(worker, n);
            });
    }
    settleAll(settled);
}

void WorkerPool::onAnswer(const std::shared_ptr<Worker>& worker, std::string_view payload,
                          std::vector<Settling>& settled) {
    auto answer = worker::decodeAnswer(payload);
    if (!answer) return;
    if (answer->fCall == 0) {
        if (worker->fState == Worker::State::Starting) {
            worker->fState = Worker::State::Ready;
            fFailedStarts = 0;
        }
        return;
    }
    if (worker->fInterrupted == answer->fCall) {
        worker->fInterrupted = 0;
        worker->fKillTimer.cancel();
    }
    auto sent = fSent.find(answer->fCall);
    if (sent == fSent.end()) return;  // stale
    auto call = std::move(sent->second);
    fSent.erase(sent);
    // An interrupted call's answer is dropped by settle(): its caller already has the 503.
    if (answer->fStatus == worker::kSkipped) return;
    CallOutcome outcome;
    outcome.fStatus = answer->fStatus;
    outcome.fBodyText = std::move(answer->fBody);
    settled.push_back({std::move(call), std::move(outcome)});
}

void WorkerPool::pump(std::vector<Settling>& settled) {
    const std::size_t room = std::size_t{fSettings.fWorkers} * kCallsPerWorker;
    while (!fQueue.empty() && fSent.size() < room && fQueueSend >= 0) {
        auto& call = fQueue.front();
        if (call->settled()) {  // expired while it waited
            fQueue.pop_front();
            continue;
        }
        const auto result = worker::sendCall(fQueueSend, *call->fFrame);
        if (result == worker::SendResult::Full) return;  // the next answer makes room
        if (result == worker::SendResult::Sent)
            fSent.emplace(call->fNumber, call);
        else
            settled.push_back({call, failure(503, errorid::kUnavailable,
                                             "The call could not be handed to a worker (" +
                                                 std::string(std::strerror(errno)) + ")")});
        fQueue.pop_front();
    }
}

std::shared_ptr<PendingCall> WorkerPool::start(FunctionCall call, CallCompletion done) {
    static std::atomic<std::uint64_t> numbers{1};
    const std::uint64_t number = numbers.fetch_add(1, std::memory_order_relaxed);
    worker::CallRequest request;
    request.fCall = number;
    request.fDeadline =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                       (Clock::now() + fSettings.fCallTimeout).time_since_epoch())
                                       .count());
    request.fNargout = static_cast<std::uint32_t>(call.fNargout);
    request.fFunction = call.fName;
    request.fArgs = writeJson(call.fArgs);
    auto pending = std::make_shared<PoolCall>(weak_from_this(), number, worker::encode(request),
                                              fSettings.fCallTimeout, std::move(done));
    std::vector<Settling> settled;
    {
        std::lock_guard lock(fLock);
        // With fewer calls out than workers, one is free to take this call; else it waits,
        // behind those waiting here and those on the call queue beyond one per worker.
        const bool mustWait = fSent.size() + fQueue.size() >= fSettings.fWorkers;
        const std::size_t waiting =
            fSent.size() + fQueue.size() -
            std::min<std::size_t>(fSent.size() + fQueue.size(), fSettings.fWorkers);
        if (!fOpen) {
            settled.push_back(
                {pending, failure(503, errorid::kUnavailable, "The connector is stopping")});
        } else if (mustWait && waiting >= fSettings.fQueueLength) {
            settled.push_back(
                {pending, failure(503, errorid::kQueueFull,
                                  "All " + std::to_string(fSettings.fWorkers) +
                                      " workers of service \"" + fService + "\" are busy and " +
                                      std::to_string(fSettings.fQueueLength) +
                                      " calls are waiting; try again later")});
        } else {
            fQueue.push_back(pending);
            pump(settled);
        }
    }
    settleAll(settled);
    return pending;
}

void WorkerPool::interrupt(const std::shared_ptr<Worker>& worker, std::uint64_t call) {
    worker->fInterrupted = call;
    // The signal carries the call's number: a worker that has moved on to another call
    // ignores it.
    sigval value{};
    value.sival_ptr = reinterpret_cast<void*>(static_cast<std::uintptr_t>(call));
    ::sigqueue(worker->fPid, SIGINT, value);
    worker->fKillTimer.expires_after(kInterruptGrace);
    worker->fKillTimer.async_wait(
        [self = shared_from_this(), worker, call](boost::system::error_code ec) {
            if (ec) return;
            std::lock_guard lock(self->fLock);
            if (worker->fState != Worker::State::Ended && worker->running() == call)
                ::kill(worker->fPid, SIGKILL);  // its pidfd reports the end
        });
}

void WorkerPool::expire(const std::shared_ptr<PoolCall>& call) {
    std::lock_guard lock(fLock);
    auto queued = std::find(fQueue.begin(), fQueue.end(), call);
    if (queued != fQueue.end()) {
        fQueue.erase(queued);
        return;
    }
    for (auto& w : fWorkers) {
        if (w->fState == Worker::State::Ended || w->running() != call->fNumber) continue;
        interrupt(w, call->fNumber);
        return;
    }
    // Still on the call queue: the worker that takes it finds its deadline passed.
}

void WorkerPool::onEnded(const std::shared_ptr<Worker>& worker) {
    std::vector<Settling> settled;
    {
        std::lock_guard lock(fLock);
        if (worker->fState == Worker::State::Ended) return;
        const auto was = worker->fState;
        const int status = reap(worker->fPid);
        const std::uint64_t running = worker->running();
        worker->fState = Worker::State::Ended;
        boost::system::error_code ignored;
        worker->fChannel.close(ignored);
        worker->fPidFd.close(ignored);
        worker->fKillTimer.cancel();
        if (auto sent = running ? fSent.find(running) : fSent.end(); sent != fSent.end()) {
            settled.push_back(
                {sent->second,
                 failure(500, errorid::kWorkerCrashed,
                         "The worker process running the call " + describeWaitStatus(status) +
                             " (a crash, a stack overflow from deep recursion, or a kill); "
                             "a new worker takes its place")});
            fSent.erase(sent);
        }
        if (was == Worker::State::Starting) ++fFailedStarts;
        fWorkers.erase(std::remove(fWorkers.begin(), fWorkers.end(), worker), fWorkers.end());
        if (fOpen) replace();
        pump(settled);
    }
    settleAll(settled);
}

void WorkerPool::replace() {
    // Workers that die before they are ready (a broken installation) are restarted less and
    // less often, up to once every 5 s, instead of in a loop.
    if (fFailedStarts == 0) {
        try {
            auto w = launch();
            fWorkers.push_back(w);
            watch(w);
            return;
        } catch (const std::exception&) {
            ++fFailedStarts;  // no process could be made: try again later
        }
    }
    const auto delay = std::min<std::chrono::milliseconds>(
        std::chrono::milliseconds(100 << std::min(fFailedStarts, 6u)), std::chrono::seconds(5));
    auto timer = std::make_shared<net::steady_timer>(fIo, delay);
    timer->async_wait([weak = weak_from_this(), timer](boost::system::error_code ec) {
        auto self = weak.lock();
        if (ec || !self) return;
        std::lock_guard lock(self->fLock);
        if (!self->fOpen) return;
        try {
            auto w = self->launch();
            self->fWorkers.push_back(w);
            self->watch(w);
        } catch (const std::exception&) {
            ++self->fFailedStarts;
            self->replace();
        }
    });
}

void WorkerPool::close() noexcept {
    std::vector<Settling> settled;
    {
        std::lock_guard lock(fLock);
        fOpen = false;
        std::vector<std::uint64_t> running;
        for (auto& w : fWorkers) {
            if (w->fState == Worker::State::Ended) continue;
            ::kill(w->fPid, SIGKILL);
            reap(w->fPid);
            running.push_back(w->running());
            boost::system::error_code ignored;
            w->fChannel.close(ignored);
            w->fPidFd.close(ignored);
            w->fKillTimer.cancel();
            w->fState = Worker::State::Ended;
        }
        fWorkers.clear();
        for (auto& [number, call] : fSent) {
            const bool began = std::find(running.begin(), running.end(), number) != running.end();
            settled.push_back(
                {call, failure(503, errorid::kUnavailable,
                               began ? "The connector stopped during the call"
                                     : "The connector stopped before the call began")});
        }
        fSent.clear();
        for (auto& call : fQueue)
            settled.push_back({call, failure(503, errorid::kUnavailable,
                                             "The connector stopped before the call began")});
        fQueue.clear();
        for (int* fd : {&fQueueSend, &fQueueTake})
            if (*fd >= 0) {
                ::close(*fd);
                *fd = -1;
            }
    }
    settleAll(settled);
}

std::vector<pid_t> WorkerPool::workerPids() const {
    std::lock_guard lock(fLock);
    std::vector<pid_t> pids;
    for (const auto& w : fWorkers)
        if (w->fState != Worker::State::Ended) pids.push_back(w->fPid);
    return pids;
}

}  // namespace korvan::services::connector::detail
