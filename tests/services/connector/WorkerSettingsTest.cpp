// The worker settings files: layering over the defaults, and every way a file can be wrong
// (each refused with the file and the key named, never ignored).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "TempFolder.hpp"
#include "korvan/services/connector/WorkerSettings.hpp"

namespace korvan::test {

using namespace korvan::services::connector;
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

TEST(WorkerSettings, DefaultsSuitTheMachineAndFilesOverrideThemKeyByKey) {
    const WorkerSettings d = defaultWorkerSettings();
    EXPECT_GE(d.fWorkers, 1u);
    EXPECT_GE(d.fMemoryLimitMiB, 256u);
    EXPECT_EQ(d.fCallTimeout, 30s);

    TempFolder folder;
    EXPECT_EQ(readWorkerSettings(folder.path() / "absent.json", d), d);
    std::ofstream(folder.path() / "w.json") << R"({"workers": 3, "callTimeoutSeconds": 0.25})";
    const WorkerSettings s = readWorkerSettings(folder.path() / "w.json", d);
    EXPECT_EQ(s.fWorkers, 3u);
    EXPECT_EQ(s.fCallTimeout, 250ms);
    EXPECT_EQ(s.fMemoryLimitMiB, d.fMemoryLimitMiB);  // not in the file: kept
    EXPECT_EQ(s.fQueueLength, d.fQueueLength);
    EXPECT_EQ(toJson(s)["workers"].asNumber(), 3);
    EXPECT_EQ(toJson(s)["callTimeoutSeconds"].asNumber(), 0.25);
}

struct BadFile {
    const char* fText;
    const char* fSays;
};

class WorkerSettingsRefused : public ::testing::TestWithParam<BadFile> {};

TEST_P(WorkerSettingsRefused, NamingTheFileAndWhatIsWrong) {
    TempFolder folder;
    const auto file = folder.path() / "workers.json";
    std::ofstream(file) << GetParam().fText;
    try {
        readWorkerSettings(file, WorkerSettings{});
        FAIL() << "accepted " << GetParam().fText;
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), HasSubstr(file.string()));
        EXPECT_THAT(e.what(), HasSubstr(GetParam().fSays));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, WorkerSettingsRefused,
    ::testing::Values(BadFile{"{\"workers\": 0}",
                              "\"workers\" must be a whole number from 1 to 64"},
                      BadFile{"{\"workers\": 2.5}", "\"workers\""},
                      BadFile{"{\"workers\": \"2\"}", "\"workers\""},
                      BadFile{"{\"callTimeoutSeconds\": 0}", "\"callTimeoutSeconds\""},
                      BadFile{"{\"memoryLimitMiB\": 100}", "from 256"},
                      BadFile{"{\"queueLength\": -1}", "\"queueLength\""},
                      BadFile{"{\"worker\": 2}", "unknown key \"worker\""},
                      BadFile{"[2]", "must be a JSON object"},
                      BadFile{"{workers: 2}", "not JSON"}));

}  // namespace
}  // namespace korvan::test
