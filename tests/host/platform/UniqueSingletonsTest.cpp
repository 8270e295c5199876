// foundation::usm: one winner under a race, losers get the winner, ownership and reset.
#include <foundation/usm/UniqueSingletons.hpp>

#include <algorithm>
#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace usm = foundation::usm;

std::atomic<int> gAlive{0};
std::atomic<int> gConstructed{0};

struct Holder {
    explicit Holder(int o) : fOwner(o) {
        ++gAlive;
        ++gConstructed;
    }
    ~Holder() { --gAlive; }
    int fOwner;
};

class UniqueSingletonsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        usm::reset();
        gAlive = 0;
        gConstructed = 0;
    }
    void TearDown() override { usm::reset(); }
};

TEST_F(UniqueSingletonsTest, RaceHasOneWinnerAndLosersGetIt) {
    const usm::Id id = usm::obtainId();
    constexpr int kThreads = 16;
    std::latch start(kThreads);
    std::vector<Holder*> got(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            if (Holder* found = usm::find<Holder>(id)) {
                got[t] = found;
                return;
            }
            auto candidate = std::make_unique<Holder>(t);
            got[t] = usm::findOrInsert(id, candidate);
            // A loser still owns its candidate here; a winner's was taken.
            EXPECT_EQ(candidate == nullptr, got[t]->fOwner == t);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (Holder* h : got) {
        EXPECT_EQ(h, got[0]);
    }
    EXPECT_EQ(gAlive.load(), 1);  // every losing candidate was destroyed
    EXPECT_EQ(usm::find<Holder>(id), got[0]);
    usm::reset();
    EXPECT_EQ(gAlive.load(), 0);
    EXPECT_EQ(usm::find<Holder>(id), nullptr);  // the ID stays usable
}

TEST_F(UniqueSingletonsTest, IdsAreDistinctAcrossThreads) {
    std::vector<usm::Id> ids(400);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 100; ++i) {
                ids[t * 100 + i] = usm::obtainId();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST_F(UniqueSingletonsTest, WrongTypeAndUnknownIdAreErrors) {
    const usm::Id id = usm::obtainId();
    auto holder = std::make_unique<Holder>(1);
    usm::findOrInsert(id, holder);
    EXPECT_THROW(usm::find<int>(id), std::logic_error);
    auto number = std::make_unique<int>(3);
    EXPECT_THROW(usm::findOrInsert(id, number), std::logic_error);
    EXPECT_NE(number, nullptr);  // refused: still the caller's
    EXPECT_THROW(usm::find<Holder>(0), std::out_of_range);
    EXPECT_THROW(usm::find<Holder>(usm::obtainId() + 1000), std::out_of_range);
}

// Records its destruction, and uses the registry from its destructor (as a holder that looks
// up another singleton might): that must not deadlock.
std::vector<int> gDestroyed;
Holder* gSeenByDestructor = nullptr;

struct Chained {
    Chained(int tag, usm::Id other) : fTag(tag), fOther(other) {}
    ~Chained() {
        gDestroyed.push_back(fTag);
        gSeenByDestructor = usm::find<Holder>(fOther);
    }
    int fTag;
    usm::Id fOther;
};

TEST_F(UniqueSingletonsTest, ResetDestroysNewestFirstOutsideTheLock) {
    const usm::Id a = usm::obtainId();
    const usm::Id b = usm::obtainId();
    const usm::Id h = usm::obtainId();
    auto holder = std::make_unique<Holder>(0);
    usm::findOrInsert(h, holder);
    auto first = std::make_unique<Chained>(1, h);
    usm::findOrInsert(a, first);
    auto second = std::make_unique<Chained>(2, h);
    usm::findOrInsert(b, second);
    gDestroyed.clear();
    gSeenByDestructor = reinterpret_cast<Holder*>(&gDestroyed);  // anything but null
    usm::reset();
    EXPECT_EQ(gDestroyed, (std::vector<int>{2, 1}));
    EXPECT_EQ(gSeenByDestructor, nullptr);  // the table was emptied before destruction
    EXPECT_EQ(gAlive.load(), 0);
}

}  // namespace
