// The preferred restart hour of the update-flip service: what is accepted, where it is kept,
// and what happens when it cannot be stored.
#include <gmock/gmock.h>

#include <climits>
#include <filesystem>
#include <fstream>

#include "ServiceHostFixture.hpp"

namespace korvan::test {
namespace {

struct HourCase {
    std::int32_t fHour;
    bool fAccepted;
};

TEST_F(ServiceHostTest, SetAcceptsOnlyHoursOfTheDay) {
    auto& host = makeHost();
    EXPECT_EQ(host.getPreferredRestartHour(), -1);
    ASSERT_TRUE(host.setPreferredRestartHour(9));

    const HourCase cases[] = {{0, true},   {23, true},       {12, true},       {-1, false},
                              {24, false}, {INT_MIN, false}, {INT_MAX, false}, {100, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fHour);
        const std::int32_t before = host.getPreferredRestartHour();
        EXPECT_EQ(host.setPreferredRestartHour(c.fHour), c.fAccepted);
        const std::int32_t expected = c.fAccepted ? c.fHour : before;
        EXPECT_EQ(host.getPreferredRestartHour(), expected);
        EXPECT_EQ(fSettings->current().fRestartHour, expected);
    }
}

TEST_F(ServiceHostTest, TheHourSurvivesANewHostOnTheSameFolder) {
    {
        ServiceHost first(options());
        ASSERT_TRUE(first.setPreferredRestartHour(7));
    }
    {
        ServiceHostOptions opts = options();
        opts.fSettings = std::make_shared<SettingsStore>(fFolder.path());
        ServiceHost second(opts);
        EXPECT_EQ(second.getPreferredRestartHour(), 7);
        EXPECT_TRUE(second.clearPreferredRestartHour());
        EXPECT_EQ(second.getPreferredRestartHour(), -1);
        EXPECT_TRUE(second.clearPreferredRestartHour());  // clearing twice is fine
    }
    ServiceHostOptions opts = options();
    opts.fSettings = std::make_shared<SettingsStore>(fFolder.path());
    ServiceHost third(opts);
    EXPECT_EQ(third.getPreferredRestartHour(), -1);
}

TEST_F(ServiceHostTest, TheHourSurvivesFlips) {
    auto& host = makeHost();
    host.start();
    ASSERT_TRUE(host.setPreferredRestartHour(3));
    host.flip();
    EXPECT_EQ(host.getPreferredRestartHour(), 3);
}

TEST_F(ServiceHostTest, AWriteFailureRefusesAndKeepsTheEarlierHour) {
    auto& host = makeHost();
    ASSERT_TRUE(host.setPreferredRestartHour(5));

    // A plain file where the settings' folder should be: no write can succeed there, whoever
    // runs the test.
    const auto settingsFolder = fSettings->file().parent_path();
    std::filesystem::remove_all(settingsFolder);
    std::ofstream(settingsFolder) << "in the way";

    EXPECT_FALSE(host.setPreferredRestartHour(6));
    EXPECT_EQ(host.getPreferredRestartHour(), 5);
    EXPECT_FALSE(host.clearPreferredRestartHour());
    EXPECT_EQ(host.getPreferredRestartHour(), 5);

    std::filesystem::remove(settingsFolder);
    std::filesystem::create_directories(settingsFolder);
    EXPECT_TRUE(host.setPreferredRestartHour(6));
    EXPECT_EQ(host.getPreferredRestartHour(), 6);
}

}  // namespace
}  // namespace korvan::test
