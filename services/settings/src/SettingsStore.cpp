#include "korvan/services/settings/SettingsStore.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <boost/json.hpp>

#include "SettingsJson.hpp"

namespace korvan::services::settings {

namespace fs = std::filesystem;

namespace {

constexpr const char* kSettingsFile = "connector.json";

std::string osReason(int error) {
    return std::strerror(error);
}

/// "20261122T081500Z": the current UTC time for the name of a file moved aside.
std::string utcStamp() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
    return text;
}

/// Creates `folder` and any missing parent with mode 0700 (owner only: the settings hold the
/// access token). Existing folders keep their mode.
void makeFolders(const fs::path& folder) {
    fs::path partial;
    for (const auto& part : folder) {
        partial /= part;
        if (::mkdir(partial.c_str(), 0700) != 0 && errno != EEXIST)
            throw std::system_error(errno, std::generic_category(), partial.string());
    }
}

/// Writes `text` to `file` atomically: a new temporary file (0600, O_EXCL) beside it, fsync,
/// rename over `file`, fsync of the folder. On failure the temporary file is removed and
/// `file` is as it was; throws std::system_error carrying errno.
void writeAtomically(const fs::path& file, const std::string& text) {
    static std::atomic<unsigned> counter{0};
    const fs::path folder = file.parent_path();
    makeFolders(folder);
    const fs::path temporary =
        folder / (file.filename().string() + ".tmp-" + std::to_string(::getpid()) + "-" +
                  std::to_string(counter++));

    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) throw std::system_error(errno, std::generic_category());
    auto fail = [&](int error) {
        ::close(fd);
        ::unlink(temporary.c_str());
        throw std::system_error(error, std::generic_category());
    };
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t n = ::write(fd, text.data() + written, text.size() - written);
        if (n < 0) {
            if (errno == EINTR) continue;
            fail(errno);
        }
        written += static_cast<std::size_t>(n);
    }
    if (::fsync(fd) != 0) fail(errno);
    if (::close(fd) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        throw std::system_error(error, std::generic_category());
    }
    if (::rename(temporary.c_str(), file.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        throw std::system_error(error, std::generic_category());
    }
    // The rename is durable only once the folder's entry is on disk.
    const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
}

/// Moves a broken settings file aside; returns the new path, or an empty path (and the reason
/// in `reason`) when it could not be moved.
fs::path moveAside(const fs::path& file, std::string& reason) {
    const std::string base = file.string() + ".corrupt-" + utcStamp();
    fs::path target = base;
    for (int n = 2; fs::exists(fs::symlink_status(target)); ++n)
        target = base + "-" + std::to_string(n);
    if (::rename(file.c_str(), target.c_str()) != 0) {
        reason = osReason(errno);
        return {};
    }
    return target;
}

/// Removes the temporary files that writers killed in the middle of a write left beside `file`
/// ("<name>.tmp-<pid>-<n>"). Only those of processes that no longer exist are removed: a live
/// process (another korvan sharing the folder) may be about to rename its file.
void removeStaleTemporaries(const fs::path& file) {
    const std::string prefix = file.filename().string() + ".tmp-";
    std::error_code ec;
    for (fs::directory_iterator it(file.parent_path(), ec), end; !ec && it != end;
         it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.rfind(prefix, 0) != 0) continue;
        const std::string rest = name.substr(prefix.size());
        const auto dash = rest.find('-');
        if (dash == std::string::npos || dash == 0) continue;
        pid_t pid = 0;
        try {
            std::size_t used = 0;
            const long value = std::stol(rest.substr(0, dash), &used);
            if (used != dash || value <= 0) continue;
            pid = static_cast<pid_t>(value);
        } catch (const std::exception&) {
            continue;
        }
        if (pid == ::getpid()) continue;
        if (::kill(pid, 0) == 0 || errno != ESRCH) continue;  // alive, or not ours to judge
        std::error_code ignored;
        if (fs::is_regular_file(it->symlink_status(ignored))) fs::remove(it->path(), ignored);
    }
}

}  // namespace

fs::path SettingsStore::defaultFolder() {
    if (const char* folder = std::getenv("KORVAN_PREFDIR"); folder && *folder) return folder;
    if (const char* home = std::getenv("HOME"); home && *home) return fs::path(home) / ".korvan";
    throw std::runtime_error(
        "No settings folder: neither KORVAN_PREFDIR nor HOME is set in the environment");
}

SettingsStore::SettingsStore(fs::path folder) : fFolder(std::move(folder)) {
    const fs::path path = file();
    removeStaleTemporaries(path);
    std::error_code ec;
    const auto status = fs::symlink_status(path, ec);
    if (!fs::exists(status)) return;  // first run: the defaults, nothing to report

    std::string what;
    if (fs::is_directory(status)) {
        what = "is a folder, not a file";
    } else {
        std::ifstream in(path, std::ios::binary);
        std::stringstream text;
        if (in) text << in.rdbuf();
        if (!in || in.bad()) {
            what = "could not be read (" + osReason(errno) + ")";
        } else {
            try {
                fCurrent = detail::fromJson(text.str());
                return;
            } catch (const std::exception& e) {
                what = e.what();
            }
        }
    }

    std::string reason;
    const fs::path aside = moveAside(path, reason);
    if (aside.empty())
        fLoadProblem = "The settings file " + path.string() + " " + what +
                       "; it could not be moved aside (" + reason +
                       "), so the default settings are used and it will be replaced on the "
                       "next change.";
    else
        fLoadProblem = "The settings file " + path.string() + " " + what + "; it was moved to " +
                       aside.string() + " and the default settings are used.";
}

fs::path SettingsStore::file() const {
    return fFolder / "rest" / kSettingsFile;
}
fs::path SettingsStore::defaultLogFolder() const {
    return fFolder / "rest" / "logs";
}
fs::path SettingsStore::certificateFolder() const {
    return fFolder / "rest" / "certificate";
}
fs::path SettingsStore::servicesFolder() const {
    return fFolder / "rest" / "services";
}

ConnectorSettings SettingsStore::current() const {
    std::lock_guard lock(fLock);
    return fCurrent;
}

void SettingsStore::update(const std::function<void(ConnectorSettings&)>& change) {
    // Held across the write, so that concurrent updates are applied one after the other and
    // the file always holds the last of them.
    std::lock_guard lock(fLock);
    ConnectorSettings next = fCurrent;
    change(next);
    try {
        writeAtomically(file(), detail::toJson(next));
    } catch (const std::system_error& e) {
        throw std::runtime_error("Cannot write the settings file " + file().string() + ": " +
                                 osReason(e.code().value()));
    }
    fCurrent = std::move(next);
}

}  // namespace korvan::services::settings
