// The settings store: round trip, defaults, corrupt files moved aside, file and folder modes,
// failed writes that change nothing, and concurrent updates.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "TempFolder.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace {

namespace fs = std::filesystem;
using korvan::services::settings::ConnectorSettings;
using korvan::services::settings::SettingsStore;
using korvan::test::TempFolder;
using ::testing::HasSubstr;

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

unsigned modeOf(const fs::path& path) {
    struct stat info {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

std::vector<fs::path> filesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder)) files.push_back(entry.path());
    return files;
}

ConnectorSettings sample() {
    ConnectorSettings s;
    s.fPort = 8443;
    s.fLogLocation = "/var/tmp/l\xC3\xB6gs \"quoted\"";
    s.fHostName = "example.test";
    s.fAccessMode = 1;
    s.fToken = std::string(64, 'a');
    s.fTokenExpiry = 1'900'000'000;
    s.fPrivateKey = "/k/key.pem";
    s.fCertificate = "/k/cert.pem";
    s.fRestartHour = 23;
    return s;
}

TEST(SettingsStore, MissingFileGivesDefaultsWithoutProblemAndWritesNothing) {
    TempFolder folder;
    SettingsStore store(folder.path() / "prefs");
    EXPECT_EQ(store.current(), ConnectorSettings{});
    EXPECT_TRUE(store.loadProblem().empty());
    EXPECT_FALSE(fs::exists(folder.path() / "prefs"));
    EXPECT_EQ(store.file(), folder.path() / "prefs" / "rest" / "connector.json");
    EXPECT_EQ(store.defaultLogFolder(), folder.path() / "prefs" / "rest" / "logs");
    EXPECT_EQ(store.certificateFolder(), folder.path() / "prefs" / "rest" / "certificate");
    EXPECT_EQ(store.servicesFolder(), folder.path() / "prefs" / "rest" / "services");
}

TEST(SettingsStore, RoundTripThroughTheFile) {
    TempFolder folder;
    {
        SettingsStore store(folder.path());
        store.update([](ConnectorSettings& s) { s = sample(); });
        EXPECT_EQ(store.current(), sample());
    }
    SettingsStore again(folder.path());
    EXPECT_TRUE(again.loadProblem().empty()) << again.loadProblem();
    EXPECT_EQ(again.current(), sample());
    const std::string text = readFile(again.file());
    EXPECT_THAT(text, HasSubstr("\"version\": 1"));
    EXPECT_THAT(text, HasSubstr("\"port\": 8443"));
    EXPECT_THAT(text, HasSubstr("\"restartHour\": 23"));

    // Members left out take their defaults; members this version does not know are ignored.
    writeFile(again.file(), R"({"version": 1, "port": 8080, "futureMember": [1, 2]})");
    SettingsStore partial(folder.path());
    EXPECT_TRUE(partial.loadProblem().empty()) << partial.loadProblem();
    ConnectorSettings expected;
    expected.fPort = 8080;
    EXPECT_EQ(partial.current(), expected);
}

TEST(SettingsStore, FileAndCreatedFoldersAreForTheOwnerOnly) {
    TempFolder folder;
    SettingsStore store(folder.path() / "new");
    store.update([](ConnectorSettings& s) { s.fToken = "secret"; });
    EXPECT_EQ(modeOf(store.file()), 0600u);
    EXPECT_EQ(modeOf(folder.path() / "new"), 0700u);
    EXPECT_EQ(modeOf(folder.path() / "new" / "rest"), 0700u);
    store.update([](ConnectorSettings& s) { s.fToken = "other"; });
    EXPECT_EQ(modeOf(store.file()), 0600u);
    // Only the file itself remains: no temporary file is left behind.
    EXPECT_EQ(filesIn(folder.path() / "new" / "rest"), std::vector<fs::path>{store.file()});
}

struct CorruptCase {
    const char* fName;
    std::string fText;
    const char* fExplanation;  // part of the load problem
};

class CorruptFile : public ::testing::TestWithParam<CorruptCase> {};

TEST_P(CorruptFile, IsMovedAsideAndTheDefaultsAreUsed) {
    TempFolder folder;
    const fs::path file = folder.path() / "rest" / "connector.json";
    writeFile(file, GetParam().fText);
    SettingsStore store(folder.path());

    EXPECT_EQ(store.current(), ConnectorSettings{});
    EXPECT_FALSE(fs::exists(file));
    const auto left = filesIn(folder.path() / "rest");
    ASSERT_EQ(left.size(), 1u);
    const std::string aside = left[0].filename().string();
    EXPECT_THAT(aside, ::testing::MatchesRegex(R"(connector\.json\.corrupt-[0-9]{8}T[0-9]{6}Z)"));
    EXPECT_EQ(readFile(left[0]), GetParam().fText);

    const std::string& problem = store.loadProblem();
    EXPECT_THAT(problem, HasSubstr(file.string()));
    EXPECT_THAT(problem, HasSubstr(GetParam().fExplanation));
    EXPECT_THAT(problem, HasSubstr(left[0].string()));

    // The next write creates a fresh file; the broken one stays for the person to look at.
    store.update([](ConnectorSettings& s) { s.fPort = 9000; });
    EXPECT_EQ(SettingsStore(folder.path()).current().fPort, 9000);
    EXPECT_TRUE(fs::exists(left[0]));
}

const CorruptCase kCorruptCases[] = {
    {"Empty", "", "not valid JSON"},
    {"NotJson", "port = 9920\n", "not valid JSON"},
    {"SyntaxErrorPosition", "{\n  \"version\": 1,\n  \"port\": ]\n}", "line 3"},
    {"Truncated", R"({"version": 1, "port": 99)", "ends too early"},
    {"Array", "[1, 2]", "does not hold a JSON object"},
    {"NoVersion", R"({"port": 9920})", "no \"version\""},
    {"OtherVersion", R"({"version": 2})", "version 2"},
    {"VersionText", R"({"version": "1"})", "\"version\""},
    {"PortText", R"({"version": 1, "port": "9920"})", "\"port\""},
    {"PortTooLarge", R"({"version": 1, "port": 65536})", "outside 0 to 65535"},
    {"PortNegative", R"({"version": 1, "port": -1})", "outside 0 to 65535"},
    {"PortFraction", R"({"version": 1, "port": 80.5})", "whole number"},
    {"AccessModeTwo", R"({"version": 1, "accessMode": 2})", "\"accessMode\" 2"},
    {"HourTooLarge", R"({"version": 1, "restartHour": 24})", "outside -1 to 23"},
    {"HourTooSmall", R"({"version": 1, "restartHour": -2})", "outside -1 to 23"},
    {"TokenNumber", R"({"version": 1, "token": 5})", "where a text belongs"},
    {"HostNull", R"({"version": 1, "hostName": null})", "\"hostName\""},
    {"ExpiryNegative", R"({"version": 1, "tokenExpiry": -5})", "\"tokenExpiry\""},
    {"HugeUnsigned", R"({"version": 1, "port": 18446744073709551615})", "outside 0 to 65535"},
};

INSTANTIATE_TEST_SUITE_P(Table, CorruptFile, ::testing::ValuesIn(kCorruptCases),
                         [](const auto& info) { return std::string(info.param.fName); });

TEST(SettingsStore, AFolderInPlaceOfTheFileIsMovedAside) {
    TempFolder folder;
    fs::create_directories(folder.path() / "rest" / "connector.json");
    SettingsStore store(folder.path());
    EXPECT_EQ(store.current(), ConnectorSettings{});
    EXPECT_THAT(store.loadProblem(), HasSubstr("is a folder"));
    EXPECT_THAT(store.loadProblem(), HasSubstr(".corrupt-"));
    EXPECT_FALSE(fs::exists(store.file()));
}

TEST(SettingsStore, FailedWriteWhereTheFolderIsAFileChangesNothing) {
    TempFolder folder;
    writeFile(folder.path() / "rest", "not a folder");
    SettingsStore store(folder.path());
    try {
        store.update([](ConnectorSettings& s) { s.fPort = 1234; });
        FAIL() << "the write should fail";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), HasSubstr(store.file().string()));
        EXPECT_THAT(e.what(), HasSubstr(std::strerror(ENOTDIR)));
    }
    EXPECT_EQ(store.current(), ConnectorSettings{});
    EXPECT_EQ(readFile(folder.path() / "rest"), "not a folder");
}

TEST(SettingsStore, AChangeThatThrowsChangesNothing) {
    TempFolder folder;
    SettingsStore store(folder.path());
    EXPECT_THROW(store.update([](ConnectorSettings& s) {
        s.fPort = 1;
        throw std::invalid_argument("no");
    }),
                 std::invalid_argument);
    EXPECT_EQ(store.current(), ConnectorSettings{});
    EXPECT_FALSE(fs::exists(store.file()));
}

TEST(SettingsStore, ConcurrentUpdatesLoseNothing) {
    TempFolder folder;
    SettingsStore store(folder.path());
    constexpr int kThreads = 6;
    constexpr int kEach = 40;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&store, t] {
            for (int i = 0; i < kEach; ++i)
                store.update([t](ConnectorSettings& s) {
                    ++s.fTokenExpiry;
                    s.fToken += static_cast<char>('a' + t);
                });
        });
    for (auto& thread : threads) thread.join();

    const ConnectorSettings last = store.current();
    EXPECT_EQ(last.fTokenExpiry, kThreads * kEach);
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(std::count(last.fToken.begin(), last.fToken.end(), 'a' + t), kEach);
    EXPECT_EQ(SettingsStore(folder.path()).current(), last);
}

TEST(SettingsStore, DefaultFolderFromTheEnvironment) {
    const char* prefdir = std::getenv("KORVAN_PREFDIR");
    const char* home = std::getenv("HOME");
    const std::string savedPrefdir = prefdir ? prefdir : "";
    const std::string savedHome = home ? home : "";

    ::setenv("KORVAN_PREFDIR", "/somewhere/prefs", 1);
    ::setenv("HOME", "/home/someone", 1);
    EXPECT_EQ(SettingsStore::defaultFolder(), fs::path("/somewhere/prefs"));
    ::setenv("KORVAN_PREFDIR", "", 1);
    EXPECT_EQ(SettingsStore::defaultFolder(), fs::path("/home/someone/.korvan"));
    ::unsetenv("KORVAN_PREFDIR");
    ::unsetenv("HOME");
    EXPECT_THROW(SettingsStore::defaultFolder(), std::runtime_error);

    if (prefdir) ::setenv("KORVAN_PREFDIR", savedPrefdir.c_str(), 1);
    if (home) ::setenv("HOME", savedHome.c_str(), 1);
}

}  // namespace
