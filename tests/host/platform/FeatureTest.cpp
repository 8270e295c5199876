// foundation::feature: default on, environment switch, overrides, index caching.
#include <foundation/feature/Feature.hpp>

#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using foundation::feature::Feature;
using foundation::feature::IFeature;

class FeatureTest : public ::testing::Test {
  protected:
    void TearDown() override {
        ::unsetenv("KORVAN_FEATURES");
        foundation::feature::reloadEnvironment();
    }
    void setEnvironment(const char* value) {
        ::setenv("KORVAN_FEATURES", value, 1);
        foundation::feature::reloadEnvironment();
    }
};

TEST_F(FeatureTest, OnByDefaultAndIndexResolvedOnce) {
    ::unsetenv("KORVAN_FEATURES");
    foundation::feature::reloadEnvironment();
    const Feature feature(1, "FeatureTestDefault");
    EXPECT_EQ(feature.scope(), 1);
    EXPECT_TRUE(IFeature::get(feature));
    const auto index = feature.dataIndex();
    EXPECT_NE(index, Feature::kUnresolved);
    EXPECT_EQ(feature.dataIndex(), index);
    // Same scope and name, same table entry; another scope, another entry.
    EXPECT_EQ(Feature(1, "FeatureTestDefault").dataIndex(), index);
    EXPECT_NE(Feature(2, "FeatureTestDefault").dataIndex(), index);
}

TEST_F(FeatureTest, EnvironmentSwitchesFeaturesOff) {
    static const Feature rest(1, "RestFunctionService");
    const Feature other(1, "OtherService");
    const Feature third(1, "ThirdService");
    setEnvironment(" OtherService = ON , RestFunctionService=off,ThirdService=0,Broken");
    EXPECT_FALSE(IFeature::get(rest));
    EXPECT_TRUE(IFeature::get(other));
    EXPECT_FALSE(IFeature::get(third));

    setEnvironment("restfunctionservice=off,RestFunctionService=maybe");  // names are exact
    EXPECT_TRUE(IFeature::get(rest));

    setEnvironment("RestFunctionService=false");
    EXPECT_FALSE(IFeature::get(rest));
    ::unsetenv("KORVAN_FEATURES");
    foundation::feature::reloadEnvironment();
    EXPECT_TRUE(IFeature::get(rest));
}

TEST_F(FeatureTest, OverrideWinsOverEnvironmentAndIsRestored) {
    const Feature rest(1, "RestFunctionService");
    setEnvironment("RestFunctionService=off");
    {
        foundation::feature::ScopedOverride on("RestFunctionService", true);
        EXPECT_TRUE(IFeature::get(rest));
        {
            foundation::feature::ScopedOverride off("RestFunctionService", false);
            EXPECT_FALSE(IFeature::get(rest));
        }
        EXPECT_TRUE(IFeature::get(rest));
    }
    EXPECT_FALSE(IFeature::get(rest));  // back to the environment
    foundation::feature::setOverride("RestFunctionService", true);
    EXPECT_TRUE(IFeature::get(rest));
    foundation::feature::setOverride("RestFunctionService", std::nullopt);
    EXPECT_FALSE(IFeature::get(rest));
}

TEST_F(FeatureTest, ConcurrentFirstQueriesAgreeOnTheIndex) {
    const Feature feature(7, "FeatureTestRace");
    std::vector<std::uint64_t> seen(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&, i] { seen[i] = feature.dataIndex(); });
    }
    for (auto& t : threads) {
        t.join();
    }
    for (auto index : seen) {
        EXPECT_EQ(index, seen[0]);
    }
    EXPECT_EQ(Feature(7, "FeatureTestRace").dataIndex(), seen[0]);
}

}  // namespace
