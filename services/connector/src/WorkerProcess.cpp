#include "WorkerProcess.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <system_error>
#include <thread>

extern char** environ;

namespace korvan::services::connector::detail {
namespace {

// The one thread that forks workers; never ends (see WorkerProcess.hpp).
class Launcher {
  public:
    static Launcher& instance() {
        static auto* launcher = new Launcher();  // never destroyed: its thread never ends
        return *launcher;
    }

    template <class F>
    auto run(F&& work) {
        using Result = decltype(work());
        auto task = std::make_shared<std::packaged_task<Result()>>(std::forward<F>(work));
        auto future = task->get_future();
        {
            std::lock_guard lock(fLock);
            fTasks.emplace_back([task] { (*task)(); });
        }
        fWake.notify_one();
        return future.get();
    }

  private:
    Launcher() {
        std::thread([this] { loop(); }).detach();
    }
    void loop() {
        for (;;) {
            std::function<void()> task;
            {
                std::unique_lock lock(fLock);
                fWake.wait(lock, [this] { return !fTasks.empty(); });
                task = std::move(fTasks.front());
                fTasks.pop_front();
            }
            task();
        }
    }

    std::mutex fLock;
    std::condition_variable fWake;
    std::deque<std::function<void()>> fTasks;  // guarded by fLock
};

[[noreturn]] void childFails() {
    ::_exit(127);
}

// In the child between fork and exec: async-signal-safe calls only.
[[noreturn]] void becomeWorker(pid_t parent, int channel, int calls, int running, int output,
                               const char* executable, char* const* argv, char* const* envp) {
    ::setpgid(0, 0);
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || ::getppid() != parent) childFails();
    const int devNull = ::open("/dev/null", O_RDWR);
    // Move the descriptors out of the way of 0..3 first, then into place.
    const int ch = ::fcntl(channel, F_DUPFD, 10);
    const int queue = ::fcntl(calls, F_DUPFD, 10);
    const int page = ::fcntl(running, F_DUPFD, 10);
    const int out = ::fcntl(output >= 0 ? output : devNull, F_DUPFD, 10);
    if (devNull < 0 || ch < 0 || queue < 0 || page < 0 || out < 0) childFails();
    if (::dup2(devNull, 0) < 0 || ::dup2(out, 1) < 0 || ::dup2(out, 2) < 0 || ::dup2(ch, 3) < 0 ||
        ::dup2(queue, 4) < 0 || ::dup2(page, 5) < 0)
        childFails();
    ::syscall(SYS_close_range, 6u, ~0u, 0u);
    struct sigaction dfl {};
    dfl.sa_handler = SIG_DFL;
    for (int sig : {SIGINT, SIGTERM, SIGPIPE, SIGCHLD, SIGQUIT, SIGHUP})
        ::sigaction(sig, &dfl, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execve(executable, argv, envp);
    childFails();
}

SpawnedWorker forkWorker(const WorkerLaunch& launch, int callQueue) {
    // Everything the child needs is made before fork: it may not allocate.
    std::vector<std::string> args;
    args.push_back(launch.fExecutable.string());
    args.insert(args.end(), launch.fArguments.begin(), launch.fArguments.end());
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    std::vector<std::string> env(launch.fEnvironment);
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    for (char** e = environ; e && *e; ++e) envp.push_back(*e);
    envp.push_back(nullptr);

    const int running = ::memfd_create("korvan-worker-running", MFD_CLOEXEC);
    if (running < 0 || ::ftruncate(running, kRunningPage) != 0) {
        const int err = errno;
        if (running >= 0) ::close(running);
        throw std::system_error(err, std::generic_category(), "memfd_create");
    }
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
        const int err = errno;
        ::close(running);
        throw std::system_error(err, std::generic_category(), "socketpair");
    }
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        const int err = errno;
        ::close(pair[0]);
        ::close(pair[1]);
        ::close(running);
        throw std::system_error(err, std::generic_category(), "fork");
    }
    if (pid == 0)
        becomeWorker(parent, pair[1], callQueue, running, launch.fOutput, args[0].c_str(),
                     argv.data(), envp.data());
    ::close(pair[1]);
    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0) {
        const int err = errno;
        ::kill(pid, SIGKILL);
        reap(pid);
        ::close(pair[0]);
        ::close(running);
        throw std::system_error(err, std::generic_category(), "pidfd_open");
    }
    return {pid, pair[0], pidfd, running};
}

}  // namespace

SpawnedWorker spawnWorker(const WorkerLaunch& launch, int callQueue) {
    return Launcher::instance().run([&launch, callQueue] { return forkWorker(launch, callQueue); });
}

int reap(pid_t pid) noexcept {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return status;
}

std::string describeWaitStatus(int status) {
    if (status == -1) return "ended";
    if (WIFEXITED(status)) return "exited with status " + std::to_string(WEXITSTATUS(status));
    if (WIFSIGNALED(status)) {
        const char* abbrev = ::sigabbrev_np(WTERMSIG(status));
        return std::string("ended with signal ") +
               (abbrev ? std::string("SIG") + abbrev : std::to_string(WTERMSIG(status)));
    }
    return "ended";
}

}  // namespace korvan::services::connector::detail
