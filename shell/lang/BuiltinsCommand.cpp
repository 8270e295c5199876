// The built-in `[status, output] = system(command)`: runs a shell command and captures its
// standard output.
//
// The command runs as `/bin/sh -c command` with the process's environment, standard input and
// standard error (a command that wants its errors captured adds 2>&1). While it runs, the
// interpreter thread keeps serving the work posted to it (as pause does): a script that calls
// the connector with curl is answered by a function that runs on this very thread.
//
// status is the command's exit status (128 + the signal number when a signal ended it). With
// fewer than two outputs requested, the captured output is printed instead of returned.
//
// Threads: a reader thread collects the output and reaps the child, then wakes the
// interpreter; the interpreter thread waits and drains until then.
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
#include <thread>

#include "Builtins.hpp"
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
    Fd& operator=(const Fd&) = delete;
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
    posix_spawn_file_actions_adddup2(&actions, outFd, STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, readEnd);
    const char* argv[] = {"sh", "-c", command.c_str(), nullptr};
    pid_t pid = -1;
    int rc =
        posix_spawn(&pid, "/bin/sh", &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) langError("CommandFailed", command, std::string(std::strerror(rc)));
    return pid;
}

int waitStatus(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return -1;
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

CommandResult runCommand(const std::string& command) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        langError("CommandFailed", command, std::string(std::strerror(errno)));
    Fd readEnd(fds[0]), writeEnd(fds[1]);
    pid_t pid = spawnShell(command, writeEnd.get(), readEnd.get());
    writeEnd.reset();  // the child holds the only write end: end of file when it is done

    CommandResult result;
    std::atomic<bool> done{false};
    auto vm = xvm::Factory::getCurrentLocalXVM();
    std::thread reader([&] {
        char buffer[4096];
        for (;;) {
            ssize_t n = ::read(readEnd.get(), buffer, sizeof buffer);
            if (n > 0) {
                result.fOutput.append(buffer, static_cast<std::size_t>(n));
                continue;
            }
            if (n < 0 && errno == EINTR) continue;
            break;
        }
        result.fStatus = waitStatus(pid);
        done = true;
        if (vm) vm->wake();
    });
    try {
        while (vm && !done) vm->waitAndDrain(std::chrono::milliseconds(250));
    } catch (...) {
        // Work drained here failed past its own handling (an interrupt): do not leave the
        // command behind.
        ::kill(pid, SIGTERM);
        reader.join();
        throw;
    }
    reader.join();
    return result;
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
