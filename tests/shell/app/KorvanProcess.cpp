// Running korvan in tests (see KorvanProcess.hpp).
#include "KorvanProcess.hpp"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace korvan::test {
namespace {

using Clock = std::chrono::steady_clock;

// The child's environment: ours with the overrides (an empty value removes the variable).
// Built before fork, so that the child only calls exec.
std::vector<std::string> childEnvironment(const std::map<std::string, std::string>& overrides) {
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        std::string entry(*e);
        std::string name = entry.substr(0, entry.find('='));
        if (!overrides.count(name)) env.push_back(entry);
    }
    for (const auto& [name, value] : overrides)
        if (!value.empty()) env.push_back(name + "=" + value);
    return env;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> out;
    for (auto& s : strings) out.push_back(s.data());
    out.push_back(nullptr);
    return out;
}

// Reaps the child within the time left; kills it when the time is up.
void reap(pid_t pid, Clock::time_point deadline, ProcessOutcome& outcome) {
    int status = 0;
    for (;;) {
        pid_t r = ::waitpid(pid, &status, WNOHANG);
        if (r == pid) break;
        if (r < 0 && errno != EINTR) return;
        if (Clock::now() >= deadline) {
            outcome.fTimedOut = true;
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(10ms);
    }
    outcome.fExited = !outcome.fTimedOut && WIFEXITED(status);
    if (outcome.fExited) outcome.fStatus = WEXITSTATUS(status);
}

}  // namespace

TempFolder::TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "korvan-app-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    fPath = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(fPath, ec);
}

std::filesystem::path TempFolder::write(const std::string& name, const std::string& text) const {
    std::filesystem::path file = fPath / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file;
}

ProcessOptions korvanOptions(std::vector<std::string> args, const TempFolder& prefs) {
    ProcessOptions options;
    options.fArgs = std::move(args);
    options.fEnv["KORVAN_PREFDIR"] = prefs.path().string();
    return options;
}

ProcessOutcome runKorvan(const ProcessOptions& options) {
    std::vector<std::string> argv{KORVAN_EXECUTABLE};
    argv.insert(argv.end(), options.fArgs.begin(), options.fArgs.end());
    std::vector<std::string> env = childEnvironment(options.fEnv);
    std::vector<char*> argp = pointers(argv), envp = pointers(env);
    std::string folder = options.fWorkingFolder.string();

    int in[2], out[2], err[2];
    if (::pipe2(in, O_CLOEXEC) || ::pipe2(out, O_CLOEXEC) || ::pipe2(err, O_CLOEXEC))
        throw std::runtime_error("pipe2 failed");
    pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid == 0) {
        ::dup2(in[0], STDIN_FILENO);
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(options.fErrorsIntoOutput ? out[1] : err[1], STDERR_FILENO);
        if (!folder.empty() && ::chdir(folder.c_str()) != 0) ::_exit(126);
        ::execve(argp[0], argp.data(), envp.data());
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    // Small inputs only: they fit in the pipe, so this never blocks on a child that does not
    // read.
    [[maybe_unused]] ssize_t written = ::write(in[1], options.fStdin.data(), options.fStdin.size());
    ::close(in[1]);

    ProcessOutcome outcome;
    auto deadline = Clock::now() + options.fLimit;
    bool interrupted = options.fInterruptWhen.empty();
    pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    std::string* sinks[2] = {&outcome.fOut, &outcome.fErr};
    int open = 2;
    while (open > 0 && Clock::now() < deadline) {
        if (!interrupted && (outcome.fErr.find(options.fInterruptWhen) != std::string::npos ||
                             outcome.fOut.find(options.fInterruptWhen) != std::string::npos)) {
            ::kill(pid, SIGINT);
            interrupted = true;
        }
        if (::poll(fds, 2, 20) < 0 && errno != EINTR) break;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            char buffer[4096];
            ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                ::close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    for (auto& fd : fds)
        if (fd.fd >= 0) ::close(fd.fd);
    reap(pid, deadline, outcome);
    return outcome;
}

Terminal::Terminal(const std::map<std::string, std::string>& env) {
    std::vector<std::string> argv{KORVAN_EXECUTABLE};
    std::vector<std::string> environment = childEnvironment(env);
    std::vector<char*> argp = pointers(argv), envp = pointers(environment);
    fPid = ::forkpty(&fMaster, nullptr, nullptr, nullptr);
    if (fPid < 0) throw std::runtime_error("forkpty failed");
    if (fPid == 0) {
        ::execve(argp[0], argp.data(), envp.data());
        ::_exit(127);
    }
}

Terminal::~Terminal() {
    if (fPid > 0) {
        ::kill(fPid, SIGKILL);
        ::waitpid(fPid, nullptr, 0);
    }
    if (fMaster >= 0) ::close(fMaster);
}

void Terminal::send(const std::string& bytes) {
    [[maybe_unused]] ssize_t n = ::write(fMaster, bytes.data(), bytes.size());
}

void Terminal::readSome(std::chrono::milliseconds wait) {
    pollfd fd{fMaster, POLLIN, 0};
    if (::poll(&fd, 1, static_cast<int>(wait.count())) <= 0) return;
    char buffer[4096];
    ssize_t n = ::read(fMaster, buffer, sizeof buffer);
    if (n > 0)
        fOutput.append(buffer, static_cast<std::size_t>(n));
    else  // EIO once the child has gone: nothing more will come
        std::this_thread::sleep_for(wait);
}

bool Terminal::expect(const std::string& text, std::chrono::milliseconds limit) {
    auto deadline = Clock::now() + limit;
    for (;;) {
        std::size_t at = fOutput.find(text, fMatched);
        if (at != std::string::npos) {
            fMatched = at + text.size();
            return true;
        }
        if (Clock::now() >= deadline) return false;
        readSome(20ms);
    }
}

int Terminal::waitExit(std::chrono::milliseconds limit) {
    auto deadline = Clock::now() + limit;
    int status = 0;
    for (;;) {
        readSome(0ms);  // keep the terminal drained so the child never blocks writing
        pid_t r = ::waitpid(fPid, &status, WNOHANG);
        if (r == fPid) break;
        if (Clock::now() >= deadline) {
            ::kill(fPid, SIGKILL);
            ::waitpid(fPid, nullptr, 0);
            fPid = -1;
            return -1;
        }
        std::this_thread::sleep_for(10ms);
    }
    fPid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace korvan::test
