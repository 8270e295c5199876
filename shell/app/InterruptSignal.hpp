// Ctrl-C for the korvan command. The SIGINT handler does only async-signal-safe work: it asks
// the interpreter to stop (Interpreter::requestInterrupt, a lock-free flag that the running
// statement polls) and writes one byte to a self-pipe, whose read end the prompt watches with
// poll() next to standard input, so that a Ctrl-C at the prompt is seen at once.
//
// Threads: install() and consume() on the main thread; the handler runs on whichever thread
// the kernel picks, touching only the flag and the pipe.
#pragma once

#include <cstdint>

namespace korvan::shell {

class InterruptSignal {
  public:
    /// Decides whether a SIGINT sent with sigqueue(), carrying `value`, is for this process
    /// now; must be async-signal-safe.
    using Filter = bool (*)(std::uintptr_t value) noexcept;

    /// Creates the pipe and installs the handler (once per process; later calls do nothing).
    /// Throws std::system_error when the pipe or the handler cannot be set up.
    static void install();
    /// The pipe's read end: readable after a SIGINT until consume().
    static int readFd() noexcept;
    /// Reads away what the handler wrote; true when a SIGINT came since the last call.
    static bool consume() noexcept;
    /// With a filter, a SIGINT sent with a value interrupts only when the filter accepts the
    /// value; others (a kill from the terminal or a person) always interrupt. A function
    /// worker uses it to let only the call a signal names be stopped.
    static void setFilter(Filter filter) noexcept;
    /// While on, the handler also writes a newline to standard output, so that the error of
    /// the interrupted statement starts a line of its own after the terminal's "^C".
    static void setNewlineOnInterrupt(bool on) noexcept;
};

}  // namespace korvan::shell
