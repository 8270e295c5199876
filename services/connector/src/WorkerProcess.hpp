// Starting and ending function worker processes (internal).
//
// A worker is started with fork and exec from one launcher thread that lives as long as the
// process: the kernel ends a child whose parent-death signal is set when the thread that
// forked it ends, so forking from a short-lived thread (a flip's thread) would end its workers
// with it. The child, before exec:
//   - gets its own process group, so the terminal's Ctrl-C reaches the person's korvan only;
//   - is killed by the kernel (SIGKILL) when korvan ends, however it ends;
//   - has its channel socket as fd 3 (its answers), the pool's call queue as fd 4 (the calls
//     it takes), its running-call page as fd 5 (a memfd: the number of the call it runs, 0
//     when none, so that korvan knows which worker to interrupt and whose call a crash ended),
//     /dev/null as fd 0, the function log (or /dev/null) as fds 1 and 2, and no other
//     descriptor of korvan's.
//
// Threads: spawnWorker and reap may be called from any thread.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace korvan::services::connector::detail {

struct WorkerLaunch {
    std::filesystem::path fExecutable;
    std::vector<std::string> fArguments;    // after argv[0]
    std::vector<std::string> fEnvironment;  // "NAME=value", added to korvan's own
    int fOutput = -1;                       // becomes fds 1 and 2; -1: /dev/null
};

/// A started worker: its process id, korvan's end of the channel, a pidfd (readable once the
/// process has ended) and its running-call page (kRunningPage bytes). The caller owns the
/// three descriptors.
struct SpawnedWorker {
    pid_t fPid = -1;
    int fChannel = -1;
    int fPidFd = -1;
    int fRunning = -1;
};

inline constexpr std::size_t kRunningPage = 4096;

/// Starts a worker that takes its calls from `callQueue` (the workers' end of the call queue).
/// Throws std::system_error when the process cannot be made; an executable that cannot be run shows
/// as a worker that ends at once with status 127.
SpawnedWorker spawnWorker(const WorkerLaunch& launch, int callQueue);

/// Waits for the ended (or SIGKILLed) process `pid` and returns its wait status.
int reap(pid_t pid) noexcept;

/// "exited with status 3", "ended with signal SIGSEGV".
std::string describeWaitStatus(int status);

}  // namespace korvan::services::connector::detail
