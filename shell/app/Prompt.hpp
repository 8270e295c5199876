// The interactive prompt of the korvan command: reads statements with line editing and
// history (libedit through its readline-compatible callback interface) and runs them.
//
// The main thread is the interpreter thread. Instead of blocking in a read, the prompt polls
// standard input and the Ctrl-C pipe with a short time-out and, between keystrokes, runs the
// work other threads posted to the interpreter (XVM::drainPending), so a restart after an
// update flip or the restart warning happens, and shows, while the person is at the prompt.
//
// ">> " starts a statement; a statement that opens a block continues on lines prompted with
// "..  " until the block is closed (korvan::lang::isIncomplete). Ctrl-C discards the lines
// typed so far, or interrupts the running statement; Ctrl-D on an empty line leaves.
//
// Owns: the lines of an unfinished statement. Uses: the interpreter, the XVM (both outlive
// it). libedit keeps one global line editor, so only one Prompt may run at a time.
// Threads: main thread only.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "korvan/lang/Interpreter.hpp"
#include "xvm/XVM.hpp"

namespace korvan::shell {

class Prompt {
  public:
    static constexpr const char* kPrompt = ">> ";
    static constexpr const char* kContinuation = "..  ";

    /// `historyFile` is read at start and written at the end; empty: history in memory only.
    Prompt(korvan::lang::Interpreter& interpreter, std::shared_ptr<xvm::XVM> vm,
           std::filesystem::path historyFile);
    Prompt(const Prompt&) = delete;
    Prompt& operator=(const Prompt&) = delete;

    /// Reads and runs statements until Ctrl-D, the end of input or exit(code); returns the
    /// exit status (0, or the code given to exit).
    int run();

    /// Called by the key reader when standard input has ended (the terminal went away).
    static void inputEnded();

  private:
    static void lineCallback(char* line);
    void onLine(const char* line);
    void onInterrupt();
    void drainPosted();
    void loadHistory();
    void saveHistory();

    korvan::lang::Interpreter& fInterpreter;
    const std::shared_ptr<xvm::XVM> fVM;
    const std::filesystem::path fHistoryFile;
    std::string fPending;     // lines of a statement whose block is still open
    bool fLineTaken = false;  // libedit handed over a line (or Ctrl-D) in this read
    bool fInputEnded = false;
    bool fDone = false;
    int fExitCode = 0;
};

}  // namespace korvan::shell
