// The built-in `[status, output] = system(command)`: runs a shell command and captures its
// standard output.
//
// The command runs as `/bin/sh -c command` with the process's environment and standard error
// (a command that wants its errors captured adds 2>&1); its standard input is /dev/null, as
// a script's commands are not interactive. While it runs, the interpreter thread keeps serving
// the work posted to it (as pause does): a script that calls the connector with curl is
// answered by a function that runs on this very thread. An interrupt ends the command (its
// whole process group) and raises "KORVAN:lang:Interrupted".
//
// status is the command's exit status (128 + the signal number when a signal ended it). With
// fewer than two outputs requested, the captured output is printed instead of returned.
//
// Threads: a reader thread collects the output and reaps the child, then wakes the
// interpreter; the interpreter thread waits and drains until then (RunningCommand).
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>

#include "Builtins.hpp"
#include "Interrupt.hpp"
#include "korvan/lang/Interpreter.hpp"
#include "xvm/XVM.hpp"

extern char** environ;

namespace korvan::lang {
namespace {

struct CommandResult {
    int fStatus = 0;
    std::string fOutput;
};

// Closes a descriptor once.
class Fd {
  public:
    explicit Fd(int fd = -1) : fFd(fd) {}
    ~Fd() { reset(); }
    Fd(const Fd&) = delete;
    Fd& operator=(Fd&& other) noexcept {
        std::swap(fFd, other.fFd);
        return *this;
    }
    int get() const { return fFd; }
    void reset() {
        if (fFd >= 0) ::close(fFd);
        fFd = -1;
    }

  private:
    int fFd;
};

pid_t spawnShell(const std::string& command, int outFd, int readEnd) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outFd, STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, readEnd);
    // A process group of its own, so that an interrupt ends the command and whatever it
    // started (which would otherwise keep the output pipe open).
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    const char* argv[] = {"sh", "-c", command.c_str(), nullptr};
    pid_t pid = -1;
    int rc = posix_spawn(&pid, "/bin/sh", &actions, &attributes, const_cast<char* const*>(argv),
                         environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) langError("CommandFailed", command, std::string(std::strerror(rc)));
    return pid;
}

int decodeStatus(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

// The running command: a reader thread collects its output until end of file, then reaps it
// and wakes the interpreter. The child stays unreaped (a zombie) until fExited is set under
// fLock, so terminate() never signals a process id that was already given to another process.
class RunningCommand {
  public:
    RunningCommand(const std::string& command, std::shared_ptr<xvm::XVM> vm) : fVM(std::move(vm)) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0)
            langError("CommandFailed", command, std::string(std::strerror(errno)));
        fRead = Fd(fds[0]);
        Fd writeEnd(fds[1]);
        fPid = spawnShell(command, writeEnd.get(), fRead.get());
        // writeEnd closes here: the child holds the only write end, so end of file comes when
        // it (and what it started) is done.
        fReader = std::thread([this] { collect(); });
    }
    ~RunningCommand() {
        if (fReader.joinable()) fReader.join();
    }
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;

    bool done() const { return fDone; }
    /// Waits for the reader; the result is then complete.
    CommandResult finish() {
        fReader.join();
        return std::move(fResult);
    }
    /// Ends the command's process group: politely first, then for good.
    void terminate() {
        signalGroup(SIGTERM);
        for (int i = 0; i < 100 && !fDone; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (!fDone) signalGroup(SIGKILL);
        fReader.join();
    }

  private:
    void collect() {
        char buffer[4096];
        for (;;) {
            ssize_t n = ::read(fRead.get(), buffer, sizeof buffer);
            if (n > 0) {
                fResult.fOutput.append(buffer, static_cast<std::size_t>(n));
                continue;
            }
            if (n < 0 && errno == EINTR) continue;
            break;
        }
        siginfo_t info{};
        while (::waitid(P_PID, static_cast<id_t>(fPid), &info, WEXITED | WNOWAIT) < 0 &&
               errno == EINTR) {
        }
        {
            std::lock_guard lock(fLock);
            fExited = true;
        }
        int status = 0;
        while (::waitpid(fPid, &status, 0) < 0 && errno == EINTR) {
        }
        fResult.fStatus = decodeStatus(status);
        fDone = true;
        if (fVM) fVM->wake();
    }
    void signalGroup(int signal) {
        std::lock_guard lock(fLock);
        if (!fExited) ::kill(-fPid, signal);
    }

    const std::shared_ptr<xvm::XVM> fVM;
    Fd fRead;
    pid_t fPid = -1;
    std::thread fReader;
    CommandResult fResult;  // written by the reader, read after it is joined
    std::atomic<bool> fDone{false};
    std::mutex fLock;      // guards fExited
    bool fExited = false;  // the child has ended (not yet reaped)
};

CommandResult runCommand(const std::string& command) {
    constexpr std::chrono::milliseconds kSlice(50);
    auto vm = xvm::Factory::getCurrentLocalXVM();
    RunningCommand running(command, vm);
    try {
        // Short slices, so that an interrupt (set by a signal handler, which does not wake
        // the interpreter) is seen soon.
        while (!running.done()) {
            checkInterrupt();
            if (vm)
                vm->waitAndDrain(kSlice);
            else
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    } catch (...) {
        // Interrupted, or served work failed past its own handling: do not leave the command
        // behind.
        running.terminate();
        throw;
    }
    return running.finish();
}

}  // namespace

void registerCommandBuiltins() {
    defineBuiltin("system", 1, 1, [](const Args& a, int nlhs) {
        CommandResult r = runCommand(textOf(a[0]));
        std::vector<Value> out{makeDouble(r.fStatus)};
        if (nlhs >= 2) {
            out.push_back(makeChar(r.fOutput));
        } else {
            Interpreter* in = Interpreter::current();
            (in ? in->out() : std::cout) << r.fOutput << std::flush;
        }
        return out;
    });
}

}  // namespace korvan::lang
