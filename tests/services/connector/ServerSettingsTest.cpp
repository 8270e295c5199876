// server.json: each key read over the defaults, and every kind of mistake refused with the
// file and the key named.
#include <gtest/gtest.h>

#include <fstream>

#include "TempFolder.hpp"
#include "korvan/services/connector/ServerSettings.hpp"

namespace {

using namespace korvan::services::connector;

struct Case {
    const char* fText;
    std::size_t fConnections, fPerAddress, fBodyMiB;  // expected when fError is empty
    const char* fError;                               // a piece of the message
};

class ServerSettingsTest : public ::testing::TestWithParam<Case> {};

TEST_P(ServerSettingsTest, ReadsOverTheDefaultsOrNamesTheMistake) {
    const Case& c = GetParam();
    korvan::test::TempFolder folder;
    const auto file = folder.path() / kServerSettingsFile;
    std::ofstream(file) << c.fText;
    Config base;
    if (std::string(c.fError).empty()) {
        const Config read = readServerSettings(file, base);
        EXPECT_EQ(read.fMaxConnections, c.fConnections);
        EXPECT_EQ(read.fMaxConnectionsPerAddress, c.fPerAddress);
        EXPECT_EQ(read.fBodyLimit, c.fBodyMiB * 1024 * 1024);
        return;
    }
    try {
        readServerSettings(file, base);
        ADD_FAILURE() << "accepted: " << c.fText;
    } catch (const std::runtime_error& e) {
        const std::string message = e.what();
        EXPECT_NE(message.find(file.string()), std::string::npos) << message;
        EXPECT_NE(message.find(c.fError), std::string::npos) << message;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, ServerSettingsTest,
    ::testing::Values(
        Case{"{}", 512, 64, 64, ""},
        Case{R"({"maxConnections": 2000, "maxConnectionsPerAddress": 0, "maxBodyMiB": 256})", 2000,
             0, 256, ""},
        Case{R"({"maxBodyMiB": 1})", 512, 64, 1, ""},
        Case{R"({"maxConnections": 0})", 0, 0, 0,
             "\"maxConnections\" must be a whole number from 1"},
        Case{R"({"maxConnections": 10.5})", 0, 0, 0, "\"maxConnections\""},
        Case{R"({"maxConnectionsPerAddress": -1})", 0, 0, 0, "\"maxConnectionsPerAddress\""},
        Case{R"({"maxBodyMiB": 5000})", 0, 0, 0,
             "\"maxBodyMiB\" must be a whole number from 1 to 4096"},
        Case{R"({"maxBodyMiB": "64"})", 0, 0, 0, "\"maxBodyMiB\""},
        Case{R"({"maxConnection": 5})", 0, 0, 0, "unknown key \"maxConnection\""},
        Case{"[1]", 0, 0, 0, "must be a JSON object"}, Case{"{", 0, 0, 0, "is not JSON"}));

TEST(ServerSettingsFile, NoFileLeavesTheConfiguredValues) {
    Config base;
    base.fMaxConnections = 7;
    EXPECT_EQ(readServerSettings("/nonexistent/server.json", base).fMaxConnections, 7u);
    EXPECT_EQ(readServerSettings({}, base).fMaxConnections, 7u);
}

}  // namespace
