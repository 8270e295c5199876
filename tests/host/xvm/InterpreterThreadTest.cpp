// Work posted from other threads runs on the interpreter thread, in order, with failures
// kept in their futures; the synchronous helper's outcomes; many posters at once.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "XvmTestSupport.hpp"
#include "cmddistributor/RuntimeException.hpp"
#include "korvan/host/InterpreterThread.hpp"
#include "xvm/Dispatch.hpp"
#include "xvm/RunOnInterpreter.hpp"

namespace {

using cmddistributor::ExecutionStatus;
using cmddistributor::RuntimeException;
using korvan::host::InterpreterThread;
using namespace std::chrono_literals;

constexpr auto kBound = 30s;  // generous bound for every wait; never reached when things work

struct TaskError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

ExecutionStatus statusOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const RuntimeException& e) {
        return e.getExecutionStatus();
    }
    ADD_FAILURE() << "no RuntimeException";
    return ExecutionStatus::Completed;
}

TEST(InterpreterThreadTest, PostedWorkRunsOnTheInterpreterThreadInOrder) {
    InterpreterThread thread;
    auto vm = thread.getXVM();
    EXPECT_NE(thread.getThreadId(), std::this_thread::get_id());
    EXPECT_EQ(vm->getOwnerThread(), thread.getThreadId());

    std::vector<int> order;  // written only on the interpreter thread
    std::vector<xvm::Future<void>> futures;
    std::vector<std::thread::id> seen(20);
    std::vector<std::shared_ptr<xvm::XVM>> current(20);
    for (int i = 0; i < 20; ++i) {
        futures.push_back(xvm::postTask(
            vm,
            [&, i] {
                seen[i] = std::this_thread::get_id();
                current[i] = xvm::Factory::getCurrentLocalXVM();
                order.push_back(i);
                if (i == 5) throw TaskError("five");
            },
            "Test"));
    }
    for (auto& f : futures) ASSERT_TRUE(f.waitFor(kBound));
    EXPECT_THROW(futures[5].get(), TaskError);  // the work's own exception
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(seen[i], thread.getThreadId());
        EXPECT_EQ(current[i], vm);
        if (i != 5) {
            EXPECT_NO_THROW(futures[i].get());
        }
    }
    std::vector<int> expected(20);
    for (int i = 0; i < 20; ++i) expected[i] = i;
    EXPECT_EQ(order, expected);

    // The thread survived the failure and still serves.
    EXPECT_EQ(xvm::callOnInterpreter(
                  vm, [] { return 42; }, kBound, "Test"),
              42);
}

TEST(InterpreterThreadTest, RunOnInterpreterReportsEachOutcome) {
    InterpreterThread thread;
    auto vm = thread.getXVM();

    auto tid = xvm::callOnInterpreter(
        vm, [] { return std::this_thread::get_id(); }, kBound, "T");
    EXPECT_EQ(tid, thread.getThreadId());
    EXPECT_THROW(xvm::runOnInterpreter(
                     vm, [] { throw TaskError("x"); }, kBound, "T"),
                 TaskError);

    // No distributor, or no interpreter at all.
    auto lone = xvm::Factory::createXVM(korvan::test::options(false));
    EXPECT_EQ(statusOf([&] {
                  xvm::runOnInterpreter(
                      lone, [] {}, kBound, "T");
              }),
              ExecutionStatus::NoDistributor);
    EXPECT_EQ(statusOf([&] {
                  xvm::runOnInterpreter(
                      nullptr, [] {}, kBound, "T");
              }),
              ExecutionStatus::NoDistributor);

    // Time-out: the interpreter is held busy; the waiting request is withdrawn and never runs.
    std::promise<void> release;
    auto released = release.get_future().share();
    std::promise<void> busy;
    auto hold = xvm::postTask(
        vm,
        [&busy, released] {
            busy.set_value();
            released.wait_for(kBound);
        },
        "T");
    ASSERT_EQ(busy.get_future().wait_for(kBound), std::future_status::ready);
    auto ran = std::make_shared<std::atomic<bool>>(false);
    EXPECT_EQ(statusOf([&] {
                  xvm::runOnInterpreter(
                      vm, [ran] { *ran = true; }, 20ms, "T");
              }),
              ExecutionStatus::TimedOut);
    release.set_value();
    ASSERT_TRUE(hold.waitFor(kBound));
    xvm::runOnInterpreter(
        vm, [] {}, kBound, "T");  // everything before it has been served
    EXPECT_FALSE(*ran);

    // On the interpreter thread itself the work runs in place instead of dead-locking.
    int inner = xvm::callOnInterpreter(
        vm,
        [vm] {
            return xvm::callOnInterpreter(
                vm, [] { return 7; }, 1ms, "T");
        },
        kBound, "T");
    EXPECT_EQ(inner, 7);
}

TEST(InterpreterThreadTest, FullQueueIsReportedToTheSynchronousCaller) {
    auto vm = xvm::Factory::createXVM(korvan::test::options(true, 1));
    // Not served yet: one request fills the queue.
    auto first = xvm::postTask(
        vm, [] {}, "T");
    EXPECT_EQ(statusOf([&] {
                  xvm::runOnInterpreter(
                      vm, [] {}, kBound, "T");
              }),
              ExecutionStatus::QueueFull);
    InterpreterThread thread(vm);
    EXPECT_TRUE(first.waitFor(kBound));
}

TEST(InterpreterThreadTest, StopServesWhatIsQueuedAndReleasesTheInterpreter) {
    auto vm = xvm::Factory::createXVM();
    std::atomic<int> ran{0};
    std::vector<xvm::Future<void>> futures;
    {
        InterpreterThread thread(vm);
        EXPECT_THROW(InterpreterThread second(vm), std::logic_error);  // already served
        std::promise<void> gate;
        auto open = gate.get_future().share();
        futures.push_back(xvm::postTask(
            vm, [open] { open.wait_for(kBound); }, "T"));
        for (int i = 0; i < 10; ++i)
            futures.push_back(xvm::postTask(
                vm, [&] { ++ran; }, "T"));
        std::thread opener([&] {
            std::this_thread::sleep_for(10ms);
            gate.set_value();
        });
        thread.stop();
        opener.join();
        thread.stop();  // idempotent
    }
    EXPECT_EQ(ran.load(), 10);
    for (auto& f : futures) EXPECT_TRUE(f.isReady());
    EXPECT_EQ(vm->getOwnerThread(), std::thread::id());
    InterpreterThread again(vm);  // may be served again
    EXPECT_EQ(xvm::callOnInterpreter(
                  vm, [] { return 1; }, kBound, "T"),
              1);
}

TEST(InterpreterThreadTest, ManyPostersAtOnceLoseNothingAndKeepEachPostersOrder) {
    InterpreterThread thread;
    auto vm = thread.getXVM();
    constexpr int kPosters = 8;
    constexpr int kEach = 500;
    std::vector<std::vector<int>> seen(kPosters);  // written only on the interpreter thread
    std::vector<std::vector<xvm::Future<void>>> futures(kPosters);
    std::atomic<bool> go{false};
    std::vector<std::thread> posters;
    for (int p = 0; p < kPosters; ++p) {
        posters.emplace_back([&, p] {
            while (!go.load()) std::this_thread::yield();
            for (int i = 0; i < kEach; ++i) {
                futures[p].push_back(xvm::postTask(
                    vm, [&seen, p, i] { seen[p].push_back(i); }, "Poster"));
            }
        });
    }
    go = true;
    for (auto& t : posters) t.join();
    for (auto& list : futures) {
        for (auto& f : list) {
            ASSERT_TRUE(f.waitFor(kBound));
            f.get();
        }
    }
    for (int p = 0; p < kPosters; ++p) {
        ASSERT_EQ(seen[p].size(), static_cast<size_t>(kEach));
        for (int i = 0; i < kEach; ++i) ASSERT_EQ(seen[p][i], i) << "poster " << p;
    }
}

}  // namespace

namespace {

// Posted work that waits drains the next posted work on its own stack (pause does so). 3,500
// such items queued at once once nested 3,500 deep until the stack overflowed; now the nesting
// stops at the bound, and every item still runs.
TEST(InterpreterThreadTest, WorkThatWaitsNestsOnlyToABound) {
    InterpreterThread thread;
    auto vm = thread.getXVM();
    constexpr int kItems = 3500;
    int depth = 0, deepest = 0, ran = 0;  // interpreter thread only
    std::vector<xvm::Future<void>> futures;
    for (int i = 0; i < kItems; ++i) {
        futures.push_back(xvm::postTask(
            vm,
            [&] {
                deepest = std::max(deepest, ++depth);
                ++ran;
                xvm::Factory::getCurrentLocalXVM()->waitAndDrain(1ms);
                --depth;
            },
            "Test"));
    }
    for (auto& f : futures) ASSERT_TRUE(f.waitFor(kBound));
    auto check = xvm::postTask(
        vm,
        [&] {
            EXPECT_EQ(ran, kItems);
            EXPECT_LE(deepest, xvm::XVM::kMaxDrainDepth);
            EXPECT_GE(deepest, 2);  // the nesting itself still happens: pause keeps serving work
        },
        "Test");
    ASSERT_TRUE(check.waitFor(kBound));
    check.get();
}

}  // namespace
