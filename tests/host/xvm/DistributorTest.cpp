// The command distributor on its own: argument checks, FIFO order, failures confined to their
// own future, the bounded queue, cancel and close.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "cmddistributor/CmdDistributor.hpp"
#include "cmddistributor/CmdRequest.hpp"
#include "cmddistributor/IIP.hpp"
#include "cmddistributor/RuntimeException.hpp"
#include "xvm/Dispatch.hpp"

namespace {

using cmddistributor::CmdDistributor;
using cmddistributor::ExecutionStatus;
using cmddistributor::RuntimeException;

std::shared_ptr<cmddistributor::CmdRequest> request(boost::function<void()> work) {
    auto iip = std::make_shared<cmddistributor::PackagedTaskIIP>(
        std::move(work), kvutil::io::stdoutSink(), kvutil::io::stderrSink(), "DistributorTest");
    return std::make_shared<cmddistributor::FcnCmdRequest<void>>(iip);
}

boost::future<void> enqueue(CmdDistributor& d, boost::function<void()> work) {
    return d.enqueueWithFuture(request(std::move(work)), {}, xvm::detail::createID());
}

// The status of the RuntimeException a ready future holds (fails the test for anything else).
ExecutionStatus failureStatus(boost::future<void>& f) {
    EXPECT_TRUE(f.is_ready());
    try {
        f.get();
    } catch (const RuntimeException& e) {
        return e.getExecutionStatus();
    }
    ADD_FAILURE() << "future did not fail with a RuntimeException";
    return ExecutionStatus::Completed;
}

struct MyError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

TEST(CmdDistributorTest, RejectsMalformedRequestsWithTheirMessages) {
    CmdDistributor d;
    auto taskId = xvm::detail::createID();
    try {
        d.enqueueWithFuture(nullptr, {}, taskId);
        FAIL() << "null request accepted";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "request cannot be null.");
    }
    auto empty = std::make_shared<cmddistributor::CmdRequest>(
        cmddistributor::kPackagedTaskStreamID, kvutil::io::stdoutSink(), kvutil::io::stderrSink());
    try {
        d.enqueueWithFuture(empty, {}, taskId);
        FAIL() << "request without payload accepted";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "request must contain an IIP.");
    }
    EXPECT_EQ(d.pendingCount(), 0u);
}

TEST(CmdDistributorTest, PackagedTaskRefusesEmptyFunctionAndKeepsItsFields) {
    try {
        cmddistributor::PackagedTaskIIP iip({}, nullptr, nullptr, "X");
        FAIL() << "empty function accepted";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "func cannot be empty.");
    }
    auto out = std::make_shared<kvutil::io::StringSink>();
    cmddistributor::PackagedTaskIIP iip([] {}, out, nullptr, "RestfcnConnector");
    EXPECT_EQ(iip.getKind(), "packaged_task");
    EXPECT_EQ(iip.getStreamID(), -2);
    EXPECT_EQ(iip.getOrigin(), "RestfcnConnector");
    EXPECT_EQ(iip.getOutputSink(), out);
    cmddistributor::FcnCmdRequest<void> req(
        std::make_shared<cmddistributor::PackagedTaskIIP>([] {}, out, nullptr, "RestfcnConnector"));
    EXPECT_EQ(req.getStreamID(), -2);
    EXPECT_EQ(req.getOutputSink(), out);
}

TEST(CmdDistributorTest, RunsInEnqueueOrderAndConfinesFailures) {
    CmdDistributor d;
    std::vector<int> order;
    std::vector<boost::future<void>> futures;
    for (int i = 0; i < 50; ++i) {
        futures.push_back(enqueue(d, [&order, i] {
            order.push_back(i);
            if (i % 7 == 3) throw MyError("task " + std::to_string(i));
        }));
    }
    EXPECT_EQ(d.drainPending(), 50u);
    ASSERT_EQ(order.size(), 50u);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(order[i], i);
        ASSERT_TRUE(futures[i].is_ready());
        if (i % 7 == 3) {
            // The work's own exception, with its exact type and text.
            try {
                futures[i].get();
                ADD_FAILURE() << "task " << i << " should have failed";
            } catch (const MyError& e) {
                EXPECT_EQ(std::string(e.what()), "task " + std::to_string(i));
            }
        } else {
            EXPECT_NO_THROW(futures[i].get());
        }
    }
}

TEST(CmdDistributorTest, DrainRunsOnlyWhatWasQueuedAndNestedDrainKeepsFifo) {
    CmdDistributor d;
    std::vector<std::string> order;
    auto reposted = std::make_shared<boost::future<void>>();
    auto a = enqueue(d, [&] {
        order.push_back("a");
        *reposted = enqueue(d, [&] { order.push_back("late"); });
        d.drainPending();  // nested: must take b, then c, not "late" first
    });
    auto b = enqueue(d, [&] { order.push_back("b"); });
    auto c = enqueue(d, [&] { order.push_back("c"); });
    d.drainPending();
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c", "late"}));

    // A task that re-posts itself cannot keep one drain running for ever.
    int runs = 0;
    std::function<void()> again = [&] {
        ++runs;
        enqueue(d, again);
    };
    enqueue(d, again);
    EXPECT_EQ(d.drainPending(), 1u);
    EXPECT_EQ(d.drainPending(), 1u);
    EXPECT_EQ(runs, 2);
}

TEST(CmdDistributorTest, FullQueueAndClosedDistributorFailTheFutureNotTheCaller) {
    CmdDistributor d(2);
    int ran = 0;
    auto f1 = enqueue(d, [&] { ++ran; });
    auto f2 = enqueue(d, [&] { ++ran; });
    auto f3 = enqueue(d, [&] { ++ran; });
    EXPECT_EQ(failureStatus(f3), ExecutionStatus::QueueFull);
    EXPECT_EQ(d.pendingCount(), 2u);

    d.close();
    EXPECT_EQ(failureStatus(f1), ExecutionStatus::Stopped);
    EXPECT_EQ(failureStatus(f2), ExecutionStatus::Stopped);
    auto f4 = enqueue(d, [&] { ++ran; });
    EXPECT_EQ(failureStatus(f4), ExecutionStatus::Stopped);
    EXPECT_EQ(d.drainPending(), 0u);
    EXPECT_EQ(ran, 0);
}

TEST(CmdDistributorTest, CancelWithdrawsOnlyQueuedTasks) {
    CmdDistributor d;
    int ran = 0;
    auto keepId = xvm::detail::createID();
    auto dropId = xvm::detail::createID();
    auto keep = d.enqueueWithFuture(request([&] { ++ran; }), {}, keepId);
    auto drop = d.enqueueWithFuture(request([&] { ran += 100; }), {}, dropId);
    EXPECT_TRUE(d.cancel(dropId));
    EXPECT_FALSE(d.cancel(dropId));
    EXPECT_FALSE(d.cancel(xvm::detail::createID()));
    EXPECT_EQ(failureStatus(drop), ExecutionStatus::Cancelled);
    d.drainPending();
    EXPECT_NO_THROW(keep.get());
    EXPECT_FALSE(d.cancel(keepId));  // already ran
    EXPECT_EQ(ran, 1);
}

TEST(CmdDistributorTest, WaitForWorkReturnsOnWorkOrWake) {
    CmdDistributor d;
    EXPECT_FALSE(d.waitForWork(std::chrono::milliseconds(1)));
    d.wake();  // a wake before the wait is not lost
    EXPECT_FALSE(d.waitForWork(std::chrono::seconds(30)));
    auto f = enqueue(d, [] {});
    EXPECT_TRUE(d.waitForWork(std::chrono::seconds(30)));
    EXPECT_TRUE(d.runOne());
    EXPECT_FALSE(d.runOne());
}

TEST(PromiseDelegateTest, FulfilsAtMostOnce) {
    auto out = kvutil::io::stdoutSink();
    int ran = 0;
    cmddistributor::FcnCmdRequest<void> req(
        std::make_shared<cmddistributor::PackagedTaskIIP>([&] { ++ran; }, out, out, "T"));

    cmddistributor::PromiseDelegateT<void> failedFirst;
    auto f1 = failedFirst.getFuture();
    EXPECT_FALSE(failedFirst.isPromiseDone());
    EXPECT_FALSE(failedFirst.waitTillReady(std::chrono::milliseconds(1)));
    EXPECT_TRUE(failedFirst.tryFail(RuntimeException(ExecutionStatus::Cancelled, "gone")));
    EXPECT_FALSE(failedFirst.tryRunTask(req));  // never runs after a failure
    EXPECT_FALSE(failedFirst.tryFail(RuntimeException(ExecutionStatus::Stopped, "again")));
    EXPECT_TRUE(failedFirst.waitTillReady(std::chrono::milliseconds(1)));
    EXPECT_EQ(failureStatus(f1), ExecutionStatus::Cancelled);
    EXPECT_EQ(ran, 0);

    cmddistributor::PromiseDelegateT<void> ranFirst;
    auto f2 = ranFirst.getFuture();
    EXPECT_TRUE(ranFirst.tryRunTask(req));
    EXPECT_FALSE(ranFirst.tryRunTask(req));
    EXPECT_FALSE(ranFirst.tryFail(RuntimeException(ExecutionStatus::Stopped, "late")));
    EXPECT_FALSE(ranFirst.setResult({}));
    ranFirst.waitTillReady();
    EXPECT_NO_THROW(f2.get());
    EXPECT_EQ(ran, 1);

    // An error result without an exception still fails the future, with its status.
    cmddistributor::PromiseDelegateT<void> bare;
    auto f3 = bare.getFuture();
    EXPECT_TRUE(bare.setResult({ExecutionStatus::Stopped, nullptr}));
    EXPECT_EQ(failureStatus(f3), ExecutionStatus::Stopped);
}

}  // namespace
