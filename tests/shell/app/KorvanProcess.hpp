// Running the korvan executable in tests: with pipes (exit status, standard output and error)
// or under a pseudo-terminal (the interactive prompt). Every wait is bounded; a child still
// running when a test gives up is killed.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace korvan::test {

using namespace std::chrono_literals;

/// A fresh folder under the system's temporary folder, removed with the object.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::filesystem::path& path() const { return fPath; }
    /// Writes `text` to path()/name and returns the file's path.
    std::filesystem::path write(const std::string& name, const std::string& text) const;

  private:
    std::filesystem::path fPath;
};

struct ProcessOutcome {
    bool fExited = false;    // false: killed by a signal or by the time limit
    bool fTimedOut = false;  // the time limit was reached and the child killed
    int fStatus = -1;        // exit status when fExited
    std::string fOut, fErr;
};

struct ProcessOptions {
    std::vector<std::string> fArgs;           // after the program name
    std::string fStdin;                       // written to a pipe, then closed
    std::map<std::string, std::string> fEnv;  // set (an empty value unsets) in the child
    std::filesystem::path fWorkingFolder;     // empty: the test's own
    /// When not empty: one SIGINT is sent as soon as standard output or error holds this text
    /// (the script is then running, so the interrupt is for it).
    std::string fInterruptWhen;
    /// Standard error goes into the standard output's pipe (as `2>&1` does), so fOut shows
    /// the order in which the two were written.
    bool fErrorsIntoOutput = false;
    std::chrono::milliseconds fLimit = 20s;
};

/// Options with these arguments and KORVAN_PREFDIR set to `prefs`.
ProcessOptions korvanOptions(std::vector<std::string> args, const TempFolder& prefs);

/// Runs korvan with pipes for its standard streams.
ProcessOutcome runKorvan(const ProcessOptions& options);

/// korvan under a pseudo-terminal: a person at the prompt.
class Terminal {
  public:
    explicit Terminal(const std::map<std::string, std::string>& env);
    /// Kills the child when it is still running.
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    pid_t pid() const { return fPid; }
    void send(const std::string& bytes);
    /// Waits until the output after the last match contains `text`; true when it did within
    /// `limit`. On success the match position moves past it.
    bool expect(const std::string& text, std::chrono::milliseconds limit = 10s);
    /// Waits for the child's exit; the status, or -1 when it did not exit in time (it is
    /// killed then) or ended by a signal.
    int waitExit(std::chrono::milliseconds limit = 10s);
    /// Everything read so far.
    const std::string& output() const { return fOutput; }

  private:
    void readSome(std::chrono::milliseconds wait);

    pid_t fPid = -1;
    int fMaster = -1;
    std::string fOutput;
    std::size_t fMatched = 0;
};

}  // namespace korvan::test
