// Logs another user cannot turn against the person: a symbolic link planted at a log file's
// name is never followed, a log folder others can write to is refused, and a request path is
// written escaped, so a log line never carries control characters or shell syntax as sent.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <thread>

#include "AttackClient.hpp"
#include "AttackTarget.hpp"

namespace korvan::test {
namespace {

using namespace std::chrono_literals;
using korvan::services::settings::SettingsStore;

// The start's error, or "" when the connector started.
std::string startError(const TargetOptions& options) {
    try {
        AttackTarget target(options);
        return "";
    } catch (const std::exception& e) {
        return e.what();
    }
}

TEST(LogAttack, ALinkAtALogFileIsNeverFollowed) {
    for (const char* file : {"access.log", "connector.log"}) {
        SCOPED_TRACE(file);
        korvan::test::TempFolder elsewhere;  // outlives the target
        const fs::path victim = elsewhere.path() / "victim.txt";
        writeText(victim, "precious\n");
        TargetOptions options;
        options.fBefore = [&](SettingsStore& store) {
            const fs::path logs = store.folder() / "rest" / "logs";
            fs::create_directories(logs);
            fs::permissions(logs, fs::perms::owner_all, fs::perm_options::replace);
            fs::create_symlink(victim, logs / file);
        };
        const std::string error = startError(options);
        if (std::string(file) == "access.log")
            EXPECT_NE(error.find("is a symbolic link"), std::string::npos) << error;
        else
            EXPECT_EQ(error, "");  // connector.log's lines are dropped instead
        EXPECT_EQ(readText(victim), "precious\n");
    }
}

TEST(LogAttack, ALogFolderOthersCanWriteToIsRefused) {
    for (auto mode : {fs::perms::all, fs::perms::owner_all | fs::perms::group_all}) {
        TargetOptions options;
        fs::path shared;
        options.fBefore = [&](SettingsStore& store) {
            shared = store.folder().parent_path() / "shared-logs";
            fs::create_directories(shared);
            fs::permissions(shared, mode, fs::perm_options::replace);
            store.update([&](auto& s) { s.fLogLocation = shared.string(); });
        };
        const std::string error = startError(options);
        EXPECT_NE(error.find("can be written by other users"), std::string::npos) << error;
        EXPECT_FALSE(fs::exists(shared / "access.log"));
    }
}

TEST(LogAttack, RequestPathsAreWrittenEscaped) {
    AttackTarget target;
    const std::string path = "/v1/x$(id)`id`;|&<>'\"{}\\!*[]";
    const Reply reply =
        exchange(target.port(), requestText("GET", path, "localhost", target.token()));
    EXPECT_EQ(reply.fStatus, 404u) << reply.fError << reply.fBody;
    const std::string escaped =
        "/v1/x%24%28id%29%60id%60%3B%7C%26%3C%3E%27%22%7B%7D%5C%21%2A%5B%5D";
    std::string log;
    for (int attempt = 0; attempt < 100 && log.find(escaped) == std::string::npos; ++attempt) {
        std::this_thread::sleep_for(20ms);
        log = target.accessLog();
    }
    EXPECT_NE(log.find(" GET " + escaped + " 404 "), std::string::npos) << log;
    for (const char* raw : {"$(", "`", ";", "|", "<", "'", "\""})
        EXPECT_EQ(log.find(raw), std::string::npos) << raw << " in " << log;
}

}  // namespace
}  // namespace korvan::test
