// The SIGINT handler and its self-pipe (see InterruptSignal.hpp).
#include "InterruptSignal.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <mutex>
#include <system_error>

#include "korvan/lang/Interpreter.hpp"

namespace korvan::shell {
namespace {

int gPipe[2] = {-1, -1};  // written once by install(), before the handler exists
std::atomic<bool> gNewline{false};
std::atomic<InterruptSignal::Filter> gFilter{nullptr};
static_assert(std::atomic<bool>::is_always_lock_free);
static_assert(std::atomic<InterruptSignal::Filter>::is_always_lock_free);

extern "C" void onSigint(int, siginfo_t* info, void*) {
    if (const auto filter = gFilter.load();
        filter && info && info->si_code == SI_QUEUE &&
        !filter(reinterpret_cast<std::uintptr_t>(info->si_value.sival_ptr)))
        return;
    int saved = errno;
    korvan::lang::Interpreter::requestInterrupt();
    char byte = 'i';
    // A full pipe already says "interrupted": a lost byte loses nothing.
    [[maybe_unused]] ssize_t n = ::write(gPipe[1], &byte, 1);
    if (gNewline.load()) n = ::write(STDOUT_FILENO, "\n", 1);
    errno = saved;
}

}  // namespace

void InterruptSignal::install() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (::pipe2(gPipe, O_NONBLOCK | O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe2");
        struct sigaction action = {};
        action.sa_sigaction = onSigint;
        sigemptyset(&action.sa_mask);
        // Blocking calls of the language resume after the handler; poll() still returns
        // EINTR, which is all the prompt needs.
        action.sa_flags = SA_RESTART | SA_SIGINFO;
        if (::sigaction(SIGINT, &action, nullptr) != 0)
            throw std::system_error(errno, std::generic_category(), "sigaction");
    });
}

void InterruptSignal::setFilter(Filter filter) noexcept {
    gFilter.store(filter);
}

void InterruptSignal::setNewlineOnInterrupt(bool on) noexcept {
    gNewline.store(on);
}

int InterruptSignal::readFd() noexcept {
    return gPipe[0];
}

bool InterruptSignal::consume() noexcept {
    if (gPipe[0] < 0) return false;
    bool any = false;
    char buffer[64];
    for (;;) {
        ssize_t n = ::read(gPipe[0], buffer, sizeof buffer);
        if (n > 0) {
            any = true;
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        return any;
    }
}

}  // namespace korvan::shell
