// faults_settings_child: the processes the settings fault tests start.
//
//   faults_settings_child writer <prefs>
//       Updates the settings in a loop until killed. Each round's settings are derived from one
//       counter (kept in tokenExpiry) so that a file mixing two rounds is recognisable; after
//       each update has returned the counter is written to stdout as one line.
//   faults_settings_child setters <mode> <work folder>
//       Breaks the settings folder in one way (mode: nospace, readonly, notdir, fsize), calls
//       every setter of a hosted connector and checks that each fails and changes nothing in
//       memory or on disk, then repairs the folder and checks that a setter works again.
//       Exit 0: all held; 1: something did not (the lines on stdout say what); 77: the mode
//       cannot be set up here (the reason on stdout).
//
// The namespace modes (nospace, readonly) enter a user and mount namespace first, while the
// process still has one thread, and mount a small tmpfs on the work folder: that stops root,
// which a file mode does not.
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "SetterFaults.hpp"
#include "SettingsRounds.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace fs = std::filesystem;
using korvan::services::settings::SettingsStore;

namespace {

constexpr int kSkip = 77;

int writer(const fs::path& prefs) {
    SettingsStore store(prefs);  // removes what killed writers left behind
    if (!store.loadProblem().empty()) {
        std::cout << "load problem: " << store.loadProblem() << std::endl;
        return 1;
    }
    std::int64_t counter = store.current().fTokenExpiry;
    for (;;) {
        ++counter;
        store.update([&](auto& s) { korvan::test::applyRound(s, counter); });
        const std::string line = std::to_string(counter) + "\n";
        if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) return 1;
    }
}

bool writeFile(const char* path, const std::string& text) {
    const int fd = ::open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool ok = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(fd);
    return ok;
}

/// Enters a user and mount namespace (root inside, mapped to the caller) and mounts a tmpfs of
/// `bytes` on `folder`. Empty on success, else why not.
std::string mountTmpfs(const fs::path& folder, std::size_t bytes) {
    const uid_t uid = ::geteuid();
    const gid_t gid = ::getegid();
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return std::string("unshare(CLONE_NEWUSER|CLONE_NEWNS): ") + std::strerror(errno);
    writeFile("/proc/self/setgroups", "deny");
    if (!writeFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") ||
        !writeFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1"))
        return std::string("uid_map: ") + std::strerror(errno);
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return std::string("making / private: ") + std::strerror(errno);
    const std::string options = "size=" + std::to_string(bytes) + ",mode=0700";
    if (::mount("korvan-faults", folder.c_str(), "tmpfs", 0, options.c_str()) != 0)
        return std::string("mount tmpfs: ") + std::strerror(errno);
    return {};
}

/// Fills the file system of `folder` until a write fails with ENOSPC.
std::string fill(const fs::path& folder) {
    const fs::path filler = folder / "filler";
    const int fd = ::open(filler.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return std::string("filler: ") + std::strerror(errno);
    const std::string block(4096, 'x');
    for (int i = 0; i < 1 << 20; ++i) {
        if (::write(fd, block.data(), block.size()) < 0) {
            const int error = errno;
            ::close(fd);
            return error == ENOSPC ? "" : std::string("filler: ") + std::strerror(error);
        }
    }
    ::close(fd);
    return "the file system did not fill up";
}

int setters(const std::string& mode, const fs::path& work) {
    if (mode == "nospace" || mode == "readonly") {
        if (const std::string why = mountTmpfs(work, 1 << 20); !why.empty()) {
            std::cout << "no private tmpfs here: " << why << std::endl;
            return kSkip;
        }
    } else if (mode != "notdir" && mode != "fsize") {
        std::cout << "unknown mode " << mode << std::endl;
        return 2;
    }

    const fs::path prefs = work / "prefs";
    korvan::test::SetterFaults faults(prefs);
    if (!faults.prepare()) {
        std::cout << faults.report();
        return 1;
    }

    std::string setupError;
    rlimit fileLimit{};
    if (mode == "nospace") {
        setupError = fill(work);
    } else if (mode == "readonly") {
        if (::mount("none", work.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0)
            setupError = std::string("remount read-only: ") + std::strerror(errno);
    } else if (mode == "notdir") {
        // The folder of the settings file replaced by a file of the same name.
        fs::rename(prefs / "rest", work / "rest-aside");
        std::ofstream(prefs / "rest") << "not a folder";
        faults.watchExtra(prefs / "rest");
    } else if (mode == "fsize") {
        ::signal(SIGXFSZ, SIG_IGN);
        // The soft limit only, so that it can be raised again without privileges.
        if (::getrlimit(RLIMIT_FSIZE, &fileLimit) != 0)
            setupError = std::string("getrlimit: ") + std::strerror(errno);
        rlimit limit{64, fileLimit.rlim_max};
        if (setupError.empty() && ::setrlimit(RLIMIT_FSIZE, &limit) != 0)
            setupError = std::string("setrlimit: ") + std::strerror(errno);
    }
    if (!setupError.empty()) {
        std::cout << "could not break the folder: " << setupError << std::endl;
        return 1;
    }

    faults.runFailingSetters();

    // Repair, then a setter must work again.
    if (mode == "nospace") {
        fs::remove(work / "filler");
    } else if (mode == "readonly") {
        ::mount("none", work.c_str(), nullptr, MS_REMOUNT, nullptr);
    } else if (mode == "notdir") {
        fs::remove(prefs / "rest");
        fs::rename(work / "rest-aside", prefs / "rest");
        faults.watchExtra({});
    } else if (mode == "fsize") {
        ::setrlimit(RLIMIT_FSIZE, &fileLimit);
    }
    faults.checkRecovered();
    std::cout << faults.report();
    return faults.ok() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::string what = argc > 1 ? argv[1] : "";
        if (what == "writer" && argc == 3) return writer(argv[2]);
        if (what == "setters" && argc == 4) return setters(argv[2], argv[3]);
        std::cerr << "usage: faults_settings_child writer <prefs> | setters <mode> <folder>\n";
        return 2;
    } catch (const std::exception& e) {
        std::cout << "unexpected exception: " << e.what() << std::endl;
        return 1;
    }
}
