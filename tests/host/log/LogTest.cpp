// foundation::log: lazy formatting, capture, output file, channel filter and environment.
#include <foundation/log/Capture.hpp>
#include <foundation/log/Config.hpp>
#include <foundation/log/Log.hpp>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

namespace {

using foundation::log::Level;
using foundation::log::ScopedCapture;
using foundation::log::Settings;

const foundation::log::Channel kConn{" KV::Conn "};

// Every test starts and ends with the output off.
class LogTest : public ::testing::Test {
  protected:
    void SetUp() override { foundation::log::configure(Settings{}); }
    void TearDown() override { foundation::log::configure(Settings{}); }
};

int touch(int& counter) {
    return ++counter;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST_F(LogTest, DisabledChannelDoesNotEvaluateTheMessage) {
    int counter = 0;
    FOUNDATION_LOG(kConn, "value " << touch(counter));
    FOUNDATION_LOG_AT(" KV::Conn ", Level::Error, touch(counter));
    EXPECT_EQ(counter, 0);
    EXPECT_FALSE(foundation::log::isEnabled(kConn));
}

TEST_F(LogTest, CaptureCollectsOnlyItsChannelAndEndsWithItsScope) {
    int counter = 0;
    {
        ScopedCapture capture(kConn);
        EXPECT_TRUE(foundation::log::isEnabled(kConn, Level::Trace));
        EXPECT_FALSE(foundation::log::isEnabled("KV::Conn"));  // names match exactly
        FOUNDATION_LOG(kConn, "Inside Restconnector::setPort()");
        FOUNDATION_LOG(" Other ", "not mine " << touch(counter));
        FOUNDATION_LOG_AT(kConn, Level::Info, "Port set successfully " << touch(counter));
        EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Inside Restconnector::setPort()",
                                                             "Port set successfully 1"}));
        capture.clear();
        EXPECT_TRUE(capture.lines().empty());
    }
    FOUNDATION_LOG(kConn, touch(counter));
    EXPECT_EQ(counter, 1);
    EXPECT_FALSE(foundation::log::isEnabled(kConn));
}

TEST_F(LogTest, NestedCapturesOnOneChannelBothReceiveLines) {
    ScopedCapture outer(kConn);
    {
        ScopedCapture inner(kConn);
        FOUNDATION_LOG(kConn, "both");
        EXPECT_EQ(inner.lines(), std::vector<std::string>{"both"});
    }
    EXPECT_TRUE(foundation::log::isEnabled(kConn));  // outer still alive
    FOUNDATION_LOG(kConn, "outer only");
    EXPECT_EQ(outer.lines(), (std::vector<std::string>{"both", "outer only"}));
}

TEST_F(LogTest, CaptureFromManyThreadsKeepsEveryLineWhole) {
    ScopedCapture capture(kConn);
    constexpr int kThreads = 8;
    constexpr int kLines = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kLines; ++i) {
                FOUNDATION_LOG(kConn, "t" << t << " line " << i);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kLines));
    // Per thread, lines arrive complete and in order.
    std::vector<int> next(kThreads, 0);
    for (const auto& line : lines) {
        int t = -1, i = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "t%d line %d", &t, &i), 2) << line;
        ASSERT_EQ(i, next[t]++) << line;
    }
}

TEST_F(LogTest, FileOutputHonoursChannelFilterAndThreshold) {
    const auto path = std::filesystem::temp_directory_path() /
                      ("korvan-log-test-" + std::to_string(::getpid()) + ".log");
    std::filesystem::remove(path);
    Settings settings;
    settings.fOutput = Settings::Output::File;
    settings.fPath = path.string();
    settings.fChannels = {"  KV::Conn"};  // trimmed on both sides when compared
    settings.fThreshold = Level::Debug;
    foundation::log::configure(settings);

    EXPECT_TRUE(foundation::log::isEnabled(kConn));
    EXPECT_FALSE(foundation::log::isEnabled(kConn, Level::Trace));
    EXPECT_FALSE(foundation::log::isEnabled("Other"));
    FOUNDATION_LOG(kConn, "Inside Restconnector::setPort()");
    FOUNDATION_LOG_AT(kConn, Level::Trace, "too fine");
    FOUNDATION_LOG("Other", "filtered out");
    foundation::log::configure(Settings{});

    const std::string text = readFile(path);
    std::filesystem::remove(path);
    EXPECT_NE(text.find("[debug] [ KV::Conn ] Inside Restconnector::setPort()\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("too fine"), std::string::npos);
    EXPECT_EQ(text.find("filtered out"), std::string::npos);
}

TEST_F(LogTest, UnopenableFileLeavesOutputOff) {
    Settings settings;
    settings.fOutput = Settings::Output::File;
    settings.fPath = "/nonexistent-dir/korvan.log";
    foundation::log::configure(settings);
    EXPECT_EQ(foundation::log::currentSettings().fOutput, Settings::Output::Off);
    EXPECT_FALSE(foundation::log::isEnabled(kConn, Level::Error));
}

TEST_F(LogTest, SettingsFromEnvironment) {
    struct Case {
        const char* log;
        const char* channels;
        const char* level;
        Settings::Output output;
        std::string path;
        std::vector<std::string> wantChannels;
        Level threshold;
    };
    const Case cases[] = {
        {nullptr, nullptr, nullptr, Settings::Output::Off, "", {}, Level::Debug},
        {"off", "", "", Settings::Output::Off, "", {}, Level::Debug},
        {"stderr",
         "KV::Conn, Other ,,",
         "warning",
         Settings::Output::Stderr,
         "",
         {"KV::Conn", "Other"},
         Level::Warning},
        {"/tmp/x.log",
         " KV::Conn ",
         "bogus",
         Settings::Output::File,
         "/tmp/x.log",
         {"KV::Conn"},
         Level::Debug},
    };
    auto set = [](const char* name, const char* value) {
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    };
    for (const auto& c : cases) {
        set("KORVAN_LOG", c.log);
        set("KORVAN_LOG_CHANNELS", c.channels);
        set("KORVAN_LOG_LEVEL", c.level);
        const Settings s = Settings::fromEnvironment();
        EXPECT_EQ(s.fOutput, c.output) << (c.log ? c.log : "(unset)");
        EXPECT_EQ(s.fPath, c.path);
        EXPECT_EQ(s.fChannels, c.wantChannels);
        EXPECT_EQ(s.fThreshold, c.threshold);
    }
    ::unsetenv("KORVAN_LOG");
    ::unsetenv("KORVAN_LOG_CHANNELS");
    ::unsetenv("KORVAN_LOG_LEVEL");
}

}  // namespace
