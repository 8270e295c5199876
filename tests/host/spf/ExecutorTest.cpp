// Executor: per-key order, one task at a time per key, parallel keys, failing tasks, draining
// at destruction, and waits from inside a task.
#include <foundation/concurrent/threadpool/Executor.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using foundation::concurrent::threadpool::Executor;

TEST(Executor, RunsTheTasksOfOneKeyInOrderAndOneAtATime) {
    Executor executor(3);
    std::mutex mutex;
    std::map<std::string, std::vector<int>> seen;
    std::map<std::string, std::atomic<int>> running;
    std::atomic<int> overlaps{0};
    std::vector<std::string> const keys{"a", "b", "c"};
    for (auto const& key : keys) running[key] = 0;

    for (int i = 0; i < 900; ++i) {
        std::string const& key = keys[i % 3];
        executor.postWork(key, [&, key, i] {
            if (running[key].fetch_add(1) != 0) ++overlaps;
            {
                std::lock_guard<std::mutex> lock(mutex);
                seen[key].push_back(i);
            }
            running[key].fetch_sub(1);
        });
    }
    for (auto const& key : keys) executor.waitForKey(key);

    EXPECT_EQ(overlaps.load(), 0);
    for (auto const& key : keys) {
        std::lock_guard<std::mutex> lock(mutex);
        ASSERT_EQ(seen[key].size(), 300u) << key;
        EXPECT_TRUE(std::is_sorted(seen[key].begin(), seen[key].end())) << key;
    }
}

TEST(Executor, RunsDifferentKeysAtTheSameTime) {
    Executor executor(2);
    std::promise<void> released;
    auto releasedFuture = released.get_future().share();
    std::promise<bool> sawRelease;
    auto result = sawRelease.get_future();
    // "a" can only finish once "b" ran, so both must be running on the two workers.
    executor.postWork("a", [&] {
        sawRelease.set_value(releasedFuture.wait_for(std::chrono::seconds(20)) ==
                             std::future_status::ready);
    });
    executor.postWork("b", [&] { released.set_value(); });
    ASSERT_EQ(result.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_TRUE(result.get());
}

TEST(Executor, AFailingTaskDoesNotStopTheKey) {
    Executor executor(1);
    std::vector<int> order;
    executor.postWork("k", [&] { order.push_back(1); });
    executor.postWork("k", [] { throw std::runtime_error("task failed"); });
    executor.postWork("k", [] { throw 42; });
    executor.postWork("k", [&] { order.push_back(2); });
    executor.waitForKey("k");
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(Executor, DestructionRunsEverythingPostedIncludingFollowUps) {
    std::atomic<int> done{0};
    {
        Executor executor(2);
        for (int i = 0; i < 100; ++i) {
            executor.postWork("k" + std::to_string(i % 5), [&, i] {
                ++done;
                if (i % 10 == 0) executor.postWork("follow", [&] { ++done; });
            });
        }
    }
    EXPECT_EQ(done.load(), 110);
}

TEST(Executor, KnowsItsWorkersAndWaitsNotOnThem) {
    Executor executor(0);  // at least one worker
    EXPECT_EQ(executor.threadCount(), 1u);
    EXPECT_FALSE(executor.isWorkerThread());
    std::promise<bool> onWorker;
    auto result = onWorker.get_future();
    executor.postWork("self", [&] {
        executor.waitForKey("self");  // must not wait for itself
        onWorker.set_value(executor.isWorkerThread());
    });
    ASSERT_EQ(result.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_TRUE(result.get());
    executor.waitForKey("never-posted");
}

TEST(Executor, SharedExecutorIsOneInstance) {
    auto first = Executor::shared();
    EXPECT_EQ(first, Executor::shared());
    EXPECT_EQ(first->threadCount(), 2u);
}

}  // namespace
