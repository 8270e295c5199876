// Warnings: text on the sink, the last warning, no interruption, concurrent issuers.
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "korvan/host/Catalogue.hpp"
#include "korvan/host/Warnings.hpp"

namespace {

using korvan::host::lastWarning;

class WarningsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        korvan::host::MessageCatalogue::instance().installComponent(
            "KORVAN:warnTest", {{"Restart", "Restart at hour {1}."}});
        fPrevious = korvan::host::setWarningSink([this](const std::string& line) {
            std::lock_guard lock(fLinesLock);
            fLines.push_back(line);
        });
        korvan::host::clearLastWarning();
    }
    void TearDown() override {
        korvan::host::setWarningSink(fPrevious);
        korvan::host::MessageCatalogue::instance().removeComponent("KORVAN:warnTest");
    }
    std::vector<std::string> lines() {
        std::lock_guard lock(fLinesLock);
        return fLines;
    }

    korvan::host::WarningSink fPrevious;
    std::mutex fLinesLock;
    std::vector<std::string> fLines;
};

resource_core::BaseMsgID restartAt(const char* hour) {
    resource_core::BaseMsgID id("KORVAN:warnTest", "Restart", 1);
    id.setArgument(0, hour);
    return id;
}

TEST_F(WarningsTest, PrintsCatalogueTextAndRemembersIt) {
    EXPECT_NO_THROW(kxWarningMsgId(restartAt("3")));
    ASSERT_EQ(lines(), std::vector<std::string>{"Warning: Restart at hour 3.\n"});
    EXPECT_EQ(lastWarning().message, "Restart at hour 3.");
    EXPECT_EQ(lastWarning().identifier, "KORVAN:warnTest:Restart");

    kxWarningMsgId(restartAt("4"));
    EXPECT_EQ(lastWarning().message, "Restart at hour 4.");
    korvan::host::clearLastWarning();
    EXPECT_EQ(lastWarning().message, "");
    EXPECT_EQ(lastWarning().identifier, "");
}

TEST_F(WarningsTest, MissingEntryStillWarnsWithoutThrowing) {
    EXPECT_NO_THROW(kxWarningMsgId(resource_core::BaseMsgID("KORVAN:warnTest", "Unknown", 0)));
    ASSERT_EQ(lines().size(), 1u);
    EXPECT_EQ(lines()[0],
              "Warning: Message catalogue has no entry for KORVAN:warnTest:Unknown "
              "(arguments: none)\n");
    EXPECT_EQ(lastWarning().identifier, "KORVAN:warnTest:Unknown");
}

TEST_F(WarningsTest, PlainWarningAndSinkRestore) {
    korvan::host::issueWarning("plain text");
    EXPECT_EQ(lastWarning().message, "plain text");
    EXPECT_EQ(lastWarning().identifier, "");
    // Replacing the sink hands back ours; putting it back keeps receiving.
    auto ours = korvan::host::setWarningSink({});
    ASSERT_TRUE(static_cast<bool>(ours));
    korvan::host::setWarningSink(ours);
    korvan::host::issueWarning("again");
    EXPECT_EQ(lines(), (std::vector<std::string>{"Warning: plain text\n", "Warning: again\n"}));
}

TEST_F(WarningsTest, ConcurrentWarningsArriveWholeAndCounted) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 200; ++i) {
                kxWarningMsgId(restartAt("5"));
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    const auto all = lines();
    ASSERT_EQ(all.size(), 800u);
    for (const auto& line : all) {
        ASSERT_EQ(line, "Warning: Restart at hour 5.\n");
    }
    EXPECT_EQ(lastWarning().identifier, "KORVAN:warnTest:Restart");
}

}  // namespace
