// The interactive prompt (see Prompt.hpp).
#include "Prompt.hpp"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <langinfo.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <system_error>
#include <utility>

#include <editline/readline.h>

#include "InterruptSignal.hpp"
#include "korvan/lang/Parser.hpp"

namespace korvan::shell {
namespace {

// libedit's callback interface carries no user data: the running prompt.
Prompt* gActive = nullptr;

// How long poll() waits for a key before the prompt looks at posted work again.
constexpr int kPollMilliseconds = 50;
constexpr int kHistoryEntries = 1000;

// The terminal's size changed (SIGWINCH); the prompt tells libedit between keys.
std::atomic<bool> gResized{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void onSigwinch(int) {
    gResized.store(true);
}

// The terminal read without blocking: Ctrl-C makes the terminal discard what was typed ahead,
// so a byte poll() announced may be gone by the time it is read, and a blocking read would
// then wait for the next key with the interrupt unseen. -1 when no second descriptor could be
// opened; standard input is then read as it is.
int gKeys = -1;

enum class ReadResult { Byte, Interrupted, Ended };

// One byte of standard input, or Interrupted when Ctrl-C came first, or Ended at its end (or
// on a read error).
ReadResult readByte(unsigned char& byte) {
    for (;;) {
        pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {InterruptSignal::readFd(), POLLIN, 0}};
        int ready = ::poll(fds, fds[1].fd >= 0 ? 2 : 1, -1);
        if (ready < 0) {
            if (errno == EINTR) continue;
            return ReadResult::Ended;
        }
        if (fds[1].revents & POLLIN) return ReadResult::Interrupted;
        ssize_t n = ::read(gKeys >= 0 ? gKeys : STDIN_FILENO, &byte, 1);
        if (n == 1) return ReadResult::Byte;
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        return ReadResult::Ended;
    }
}

// libedit's key reader: one character (a Unicode code point decoded from UTF-8), or -1 at the
// end of input. Reading ourselves lets the prompt see the end of input that libedit would
// otherwise swallow (a terminal that went away reads as zero bytes). A Ctrl-C while a key is
// awaited reads as the Ctrl-C key, which edits nothing; the prompt then starts a fresh line.
int readKey(FILE*) {
    constexpr int kCtrlC = 0x03;
    unsigned char byte = 0;
    auto next = [&byte]() -> int {
        switch (readByte(byte)) {
            case ReadResult::Byte:
                return 0;
            case ReadResult::Interrupted:
                return kCtrlC;
            case ReadResult::Ended:
                break;
        }
        Prompt::inputEnded();
        return -1;
    };
    if (int stop = next(); stop != 0) return stop;
    if (byte < 0x80) return byte;
    int extra = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 0;
    if (extra == 0) return 0xFFFD;
    int code = byte & (0x3F >> extra);
    for (int i = 0; i < extra; ++i) {
        if (int stop = next(); stop != 0) return stop;
        if ((byte & 0xC0) != 0x80) return 0xFFFD;
        code = (code << 6) | (byte & 0x3F);
    }
    return code;
}

// libedit decodes and encodes characters with the C library's locale: the language's text
// is UTF-8, so the prompt edits in UTF-8 (the user's locale when it is UTF-8).
void useUtf8Characters() {
    std::setlocale(LC_CTYPE, "");
    if (std::string_view(nl_langinfo(CODESET)) != "UTF-8") std::setlocale(LC_CTYPE, "C.UTF-8");
}

// While a statement runs the terminal is in its normal (line) mode, where a Ctrl-D typed
// ahead would become an end of input that cannot be told from a closed terminal. Switching the
// end-of-file key off for that time keeps it as the key 0x04, which the prompt reads after the
// statement like any Ctrl-D.
class TypeAheadKeys {
  public:
    TypeAheadKeys() {
        if (::tcgetattr(STDIN_FILENO, &fSaved) != 0) return;
        termios changed = fSaved;
        changed.c_cc[VEOF] = _POSIX_VDISABLE;
        fActive = ::tcsetattr(STDIN_FILENO, TCSANOW, &changed) == 0;
    }
    ~TypeAheadKeys() {
        if (fActive) ::tcsetattr(STDIN_FILENO, TCSANOW, &fSaved);
    }
    TypeAheadKeys(const TypeAheadKeys&) = delete;
    TypeAheadKeys& operator=(const TypeAheadKeys&) = delete;

  private:
    termios fSaved{};
    bool fActive = false;
};

bool isBlank(const char* line) {
    for (; *line; ++line)
        if (*line != ' ' && *line != '\t') return false;
    return true;
}

void flushOutput() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(stdout);
}

}  // namespace

Prompt::Prompt(korvan::lang::Interpreter& interpreter, std::shared_ptr<xvm::XVM> vm,
               std::filesystem::path historyFile)
    : fInterpreter(interpreter), fVM(std::move(vm)), fHistoryFile(std::move(historyFile)) {}

void Prompt::inputEnded() {
    if (gActive) gActive->fInputEnded = true;
}

void Prompt::lineCallback(char* line) {
    Prompt* self = gActive;
    const char* text = line;
    if (self) self->onLine(text);
    std::free(line);
}

int Prompt::run() {
    gActive = this;
    // The prompt handles SIGINT itself (InterruptSignal); libedit must not take it over.
    rl_catch_signals = 0;
    rl_getc_function = readKey;
    useUtf8Characters();
    struct sigaction resize = {}, previousResize = {};
    resize.sa_handler = onSigwinch;
    sigemptyset(&resize.sa_mask);
    resize.sa_flags = SA_RESTART;
    ::sigaction(SIGWINCH, &resize, &previousResize);
    loadHistory();
    if (::isatty(STDIN_FILENO) == 1)
        gKeys = ::open("/proc/self/fd/0", O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    rl_callback_handler_install(kPrompt, &Prompt::lineCallback);
    while (!fDone) {
        pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {InterruptSignal::readFd(), POLLIN, 0}};
        int ready = ::poll(fds, fds[1].fd >= 0 ? 2 : 1, kPollMilliseconds);
        if (ready < 0 && errno != EINTR) break;
        if (InterruptSignal::consume()) {
            onInterrupt();
            continue;
        }
        if (gResized.exchange(false)) rl_resize_terminal();
        if (ready > 0 && (fds[0].revents & POLLIN)) {
            rl_callback_read_char();
            if (fInputEnded) fDone = true;
            // libedit leaves the terminal in its normal mode after handing over a line;
            // installing the handler again goes back to reading key by key, and shows the
            // prompt for the next line.
            if (fLineTaken && !fDone)
                rl_callback_handler_install(fPending.empty() ? kPrompt : kContinuation,
                                            &Prompt::lineCallback);
            fLineTaken = false;
        } else if (ready > 0 && (fds[0].revents & (POLLHUP | POLLERR | POLLNVAL)))
            fDone = true;  // the terminal went away
        if (!fDone) drainPosted();
    }
    rl_callback_handler_remove();
    if (gKeys >= 0) ::close(std::exchange(gKeys, -1));
    ::sigaction(SIGWINCH, &previousResize, nullptr);
    std::fputs("\n", stdout);
    flushOutput();
    saveHistory();
    gActive = nullptr;
    return fExitCode;
}

void Prompt::onLine(const char* line) {
    fLineTaken = true;
    if (line == nullptr) {  // Ctrl-D on an empty line
        fDone = true;
        return;
    }
    if (!isBlank(line)) add_history(line);
    fPending += line;
    fPending += '\n';
    if (korvan::lang::isIncomplete(fPending)) return;
    std::string source;
    source.swap(fPending);
    // libedit has put the terminal back in its normal mode while this runs, so output looks
    // as in a script and Ctrl-C raises SIGINT.
    korvan::lang::Interpreter::Result result;
    {
        TypeAheadKeys keys;
        InterruptSignal::setNewlineOnInterrupt(::isatty(STDOUT_FILENO) == 1);
        result = fInterpreter.run(source);
        InterruptSignal::setNewlineOnInterrupt(false);
    }
    flushOutput();
    // A Ctrl-C during the statement was for the statement, not for the next prompt.
    InterruptSignal::consume();
    korvan::lang::Interpreter::clearInterrupt();
    if (result.fStatus == korvan::lang::Interpreter::Status::Exit) {
        fDone = true;
        fExitCode = result.fExitCode;
    }
}

void Prompt::onInterrupt() {
    korvan::lang::Interpreter::clearInterrupt();
    fPending.clear();
    // Removing and installing the handler again gives libedit a fresh, empty line.
    rl_callback_handler_remove();
    std::fputs("\n", stdout);
    flushOutput();
    rl_callback_handler_install(kPrompt, &Prompt::lineCallback);
}

void Prompt::drainPosted() {
    const auto& distributor = fVM->getCmdDistributor();
    if (!distributor || distributor->pendingCount() == 0) return;
    // Output of the posted work starts on a clean line; then the prompt and what was typed
    // so far are drawn again below it.
    if (::isatty(STDOUT_FILENO)) std::fputs("\r\033[K", stdout);
    flushOutput();
    fVM->drainPending();
    flushOutput();
    rl_forced_update_display();
}

void Prompt::loadHistory() {
    using_history();
    stifle_history(kHistoryEntries);
    std::error_code ec;
    if (!fHistoryFile.empty() && std::filesystem::is_regular_file(fHistoryFile, ec))
        read_history(fHistoryFile.c_str());
}

void Prompt::saveHistory() {
    if (fHistoryFile.empty()) return;
    std::error_code ec;
    std::filesystem::create_directories(fHistoryFile.parent_path(), ec);
    // History is a convenience: a folder that cannot be written loses it silently.
    write_history(fHistoryFile.c_str());
}

}  // namespace korvan::shell
