// Settings writes that fail and writers that are killed in the middle of a write.
//
// Failing writes run in a child process (faults_settings_child setters <mode>), because the
// faults are process-wide or need a namespace of their own: a full file system and a read-only
// one (a private tmpfs in a user and mount namespace, which stops root too), the settings
// folder replaced by a file, and a file-size limit. Every setter of the hosted connector must
// fail with an error and change nothing in memory or on disk.
//
// The killed writer: a child updates the settings in a loop and is killed with SIGKILL at a
// varying moment; the file must then hold the settings of the last completed update or of the
// one in flight, never a broken file, and temporary files must not pile up. The number of
// rounds is small in the CI run; KORVAN_FAULTS_LONG=1 runs many more.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "SettingsRounds.hpp"
#include "TempFolder.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

extern char** environ;

namespace korvan::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using korvan::services::settings::SettingsStore;
using korvan::test::TempFolder;

/// A child process with its stdout on a pipe; killed and reaped by the destructor if still
/// there.
class Child {
  public:
    explicit Child(const std::vector<std::string>& args) {
        int pipeFds[2];
        if (::pipe2(pipeFds, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
        std::vector<char*> argv;
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        const int error = ::posix_spawn(&fPid, argv[0], &actions, nullptr, argv.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(pipeFds[1]);
        fOut = pipeFds[0];
        if (error != 0) {
            ::close(fOut);
            throw std::runtime_error("posix_spawn failed");
        }
    }
    ~Child() {
        if (fPid > 0) {
            ::kill(fPid, SIGKILL);
            ::waitpid(fPid, nullptr, 0);
        }
        ::close(fOut);
    }

    /// Reads what is available within `timeout`; false at the end of the output.
    bool read(std::chrono::milliseconds timeout) {
        pollfd p{fOut, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(timeout.count())) <= 0) return true;
        char buffer[4096];
        const ssize_t n = ::read(fOut, buffer, sizeof buffer);
        if (n <= 0) return false;
        fText.append(buffer, static_cast<std::size_t>(n));
        return true;
    }
    /// Reads until the end of the output or the deadline.
    void readAll(std::chrono::steady_clock::time_point deadline) {
        while (std::chrono::steady_clock::now() < deadline && read(100ms)) {
        }
    }
    /// Kills and reaps; returns the wait status.
    int kill() {
        ::kill(fPid, SIGKILL);
        return reap();
    }
    /// Waits for the end (bounded by the caller's reading first); returns the wait status.
    int reap() {
        int status = 0;
        ::waitpid(fPid, &status, 0);
        fPid = -1;
        return status;
    }
    const std::string& text() const { return fText; }

  private:
    pid_t fPid = -1;
    int fOut = -1;
    std::string fText;
};

// ---- failing writes through the hosted connector's setters ---------------------------------

class SetterFaultTest : public ::testing::TestWithParam<const char*> {};

TEST_P(SetterFaultTest, EverySetterFailsAndChangesNothing) {
    TempFolder work;
    Child child({KORVAN_FAULTS_CHILD, "setters", GetParam(), work.path().string()});
    child.readAll(std::chrono::steady_clock::now() + 60s);
    const int status = child.reap();
    ASSERT_TRUE(WIFEXITED(status)) << "the child ended with status " << status << "\n"
                                   << child.text();
    if (WEXITSTATUS(status) == 77) GTEST_SKIP() << child.text();
    EXPECT_EQ(WEXITSTATUS(status), 0) << child.text();
    std::cout << child.text();
}

INSTANTIATE_TEST_SUITE_P(Modes, SetterFaultTest,
                         ::testing::Values("nospace", "readonly", "notdir", "fsize"));

// ---- stale temporary files -----------------------------------------------------------------

/// The pid of a process that has ended and been reaped.
pid_t deadPid() {
    const pid_t pid = ::fork();
    if (pid == 0) ::_exit(0);
    ::waitpid(pid, nullptr, 0);
    return pid;
}

std::vector<std::string> temporariesIn(const fs::path& folder) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        const std::string name = entry.path().filename().string();
        if (name.find(".tmp-") != std::string::npos) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(StaleTemporaryTest, LoadingRemovesOnlyTheTemporariesOfEndedProcesses) {
    TempFolder prefs;
    fs::create_directories(prefs.path() / "rest");
    const std::string dead = "connector.json.tmp-" + std::to_string(deadPid()) + "-3";
    const std::string live = "connector.json.tmp-" + std::to_string(::getppid()) + "-0";
    const std::string own = "connector.json.tmp-" + std::to_string(::getpid()) + "-9";
    for (const auto& name : {dead, live, own, std::string("connector.json.tmp-x-1"),
                             std::string("other.json.tmp-1-1")})
        std::ofstream(prefs.path() / "rest" / name) << "{\"port\":";

    SettingsStore store(prefs.path());
    EXPECT_TRUE(store.loadProblem().empty());
    // Kept: a live process's, our own, a name that is not ours to judge, another file's.
    std::vector<std::string> expected = {live, own, "connector.json.tmp-x-1", "other.json.tmp-1-1"};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(temporariesIn(prefs.path() / "rest"), expected);
}

// ---- a writer killed in the middle of a write ----------------------------------------------

/// The settings a copy of `file` loads to, through a store of its own so that the writer's
/// folder is left as the kill left it. nullopt (and `problem`) when the copy does not load.
std::optional<korvan::services::settings::ConnectorSettings> loadCopy(const fs::path& file,
                                                                      const fs::path& scratch,
                                                                      std::string& problem) {
    fs::remove_all(scratch);
    fs::create_directories(scratch / "rest");
    if (fs::exists(file)) fs::copy_file(file, scratch / "rest" / "connector.json");
    SettingsStore copy(scratch);
    problem = copy.loadProblem();
    if (!problem.empty()) return std::nullopt;
    return copy.current();
}

TEST(KilledWriterTest, TheFileHoldsTheOldOrTheNewSettingsAfterEveryKill) {
    const bool longRun = std::getenv("KORVAN_FAULTS_LONG") != nullptr;
    const int rounds = longRun ? 2000 : 150;
    const auto budget = longRun ? 600s : 40s;
    const auto start = std::chrono::steady_clock::now();

    TempFolder work;
    const fs::path prefs = work.path() / "prefs";
    const fs::path file = prefs / "rest" / "connector.json";
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> delayMicros(0, 4000);

    std::int64_t counter = 0;  // the round the file holds
    int kills = 0, midWrite = 0, writes = 0, lost = 0, beforeFirstWrite = 0;
    std::size_t mostTemporaries = 0;
    for (int round = 0; round < rounds && std::chrono::steady_clock::now() - start < budget;
         ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        Child writer({KORVAN_FAULTS_CHILD, "writer", prefs.string()});
        // Half of the rounds wait for a first completed write, so the kill also lands in the
        // store's load (and its clean-up of temporaries) as well as in later writes.
        if (round % 2 == 0) {
            const auto deadline = std::chrono::steady_clock::now() + 10s;
            while (writer.text().find('\n') == std::string::npos &&
                   std::chrono::steady_clock::now() < deadline && writer.read(100ms)) {
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(delayMicros(random)));
        const int status = writer.kill();
        ++kills;
        writer.readAll(std::chrono::steady_clock::now() + 5s);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself: " << writer.text();

        // The last update that returned before the kill.
        std::int64_t completed = counter;
        const std::string& out = writer.text();
        const auto lastNewline = out.rfind('\n');
        if (lastNewline != std::string::npos) {
            const auto begin = out.rfind('\n', lastNewline - 1);
            completed = std::stoll(
                out.substr(begin == std::string::npos ? 0 : begin + 1, lastNewline - begin - 1));
            writes += static_cast<int>(completed - counter);
        } else {
            ++beforeFirstWrite;
        }

        const auto temporaries = temporariesIn(prefs / "rest");
        mostTemporaries = std::max(mostTemporaries, temporaries.size());
        if (!temporaries.empty()) ++midWrite;
        // The writer's load removed what earlier rounds left; only its own write may remain.
        EXPECT_LE(temporaries.size(), 1u);

        std::string problem;
        const auto settings = loadCopy(file, work.path() / "check", problem);
        if (!settings) {
            ++lost;
            ADD_FAILURE() << "the settings file does not load after a kill: " << problem;
            break;
        }
        const auto held = roundOf(*settings);
        if (!held || (*held != completed && *held != completed + 1)) {
            ++lost;
            ADD_FAILURE() << "the file holds round " << (held ? std::to_string(*held) : "<mixed>")
                          << "; the last completed update was round " << completed;
            break;
        }
        counter = *held;
    }

    // A final load cleans up after the last kill.
    SettingsStore last(prefs);
    EXPECT_TRUE(last.loadProblem().empty()) << last.loadProblem();
    EXPECT_EQ(roundOf(last.current()), counter);
    EXPECT_TRUE(temporariesIn(prefs / "rest").empty());
    EXPECT_GE(kills, longRun ? 100 : 20) << "too few rounds in the time";
    std::cout << "[ faults ] killed writer: rounds " << kills << ", killed before the first write "
              << beforeFirstWrite << ", temporary file left by the kill " << midWrite
              << ", updates completed " << writes << ", most temporaries seen " << mostTemporaries
              << ", lost " << lost << "\n";
}

}  // namespace
}  // namespace korvan::test
