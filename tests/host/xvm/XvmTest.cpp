// The interpreter handle: the per-thread current interpreter, finding a distributor for a
// target, the no-distributor path, task references and the host error of failed requests.
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "XvmTestSupport.hpp"
#include "cmddistributor/RuntimeException.hpp"
#include "foundation/core/except/IException.hpp"
#include "xvm/Dispatch.hpp"
#include "xvm/XVM.hpp"

namespace {

using cmddistributor::ExecutionStatus;
using cmddistributor::RuntimeException;
using xvm::Factory;

TEST(XvmFactoryTest, CurrentInterpreterIsPerThreadAndBindsTheThread) {
    EXPECT_EQ(Factory::getCurrentLocalXVM(), nullptr);
    auto vm = Factory::createXVM();
    {
        xvm::CurrentXVMScope scope(vm);
        EXPECT_EQ(Factory::getCurrentLocalXVM(), vm);
        EXPECT_TRUE(vm->isOwnerThread());
        std::thread other([&] {
            EXPECT_EQ(Factory::getCurrentLocalXVM(), nullptr);
            EXPECT_THROW(Factory::setCurrentLocalXVM(vm), std::logic_error);
            EXPECT_THROW(vm->drainPending(), std::logic_error);
        });
        other.join();
    }
    EXPECT_EQ(Factory::getCurrentLocalXVM(), nullptr);
    EXPECT_EQ(vm->getOwnerThread(), std::thread::id());
    EXPECT_THROW(vm->drainPending(), std::logic_error);

    // Released from this thread, it can be made current on another one.
    std::thread other([&] {
        xvm::CurrentXVMScope scope(vm);
        EXPECT_EQ(vm->drainPending(), 0u);
    });
    other.join();
}

TEST(XvmFactoryTest, ThreadExitReleasesItsInterpreter) {
    auto vm = Factory::createXVM();
    std::thread([&] { Factory::setCurrentLocalXVM(vm); }).join();
    EXPECT_EQ(vm->getOwnerThread(), std::thread::id());
    EXPECT_NO_THROW(xvm::CurrentXVMScope scope(vm));
}

TEST(XvmDispatchTest, DistributorAndSinksPerTarget) {
    auto out = std::make_shared<kvutil::io::StringSink>();
    auto err = std::make_shared<kvutil::io::StringSink>();
    auto withQueue = Factory::createXVM(korvan::test::options(true, 16, out, err));
    auto without = Factory::createXVM(korvan::test::options(false, 16, out, err));
    auto requestOut = std::make_shared<kvutil::io::StringSink>();

    struct Case {
        const char* fName;
        xvm::detail::Target fTarget;
        cmddistributor::RunOptions fOptions;
        bool fHasDistributor;
        kvutil::io::KVSinkRef fOut;
        kvutil::io::KVSinkRef fErr;
    };
    const Case cases[] = {
        {"handle", withQueue, {}, true, out, err},
        {"McrID", withQueue->getMcrID(), {}, true, out, err},
        {"no distributor", without, {}, false, out, err},
        {"no distributor by McrID", without->getMcrID(), {}, false, out, err},
        {"null handle",
         std::shared_ptr<xvm::XVM>(),
         {},
         false,
         kvutil::io::stdoutSink(),
         kvutil::io::stderrSink()},
        {"unknown McrID",
         kvutil::contextmgr::McrID{0},
         {},
         false,
         kvutil::io::stdoutSink(),
         kvutil::io::stderrSink()},
        {"request sink", withQueue, {requestOut, nullptr}, true, requestOut, err},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fName);
        auto [distributor, o, e] = xvm::detail::getCmdDistributorAndSinks(c.fTarget, c.fOptions);
        EXPECT_EQ(distributor != nullptr, c.fHasDistributor);
        if (c.fHasDistributor) {
            EXPECT_EQ(distributor, withQueue->getCmdDistributor());
        }
        EXPECT_EQ(o, c.fOut);
        EXPECT_EQ(e, c.fErr);
    }

    // A dead interpreter's identifier finds nothing.
    auto dying = Factory::createXVM();
    const auto id = dying->getMcrID();
    EXPECT_EQ(Factory::findByMcrID(id), dying);
    dying.reset();
    EXPECT_EQ(Factory::findByMcrID(id), nullptr);
    auto [distributor, o, e] = xvm::detail::getCmdDistributorAndSinks(id, {});
    EXPECT_EQ(distributor, nullptr);
}

TEST(XvmDispatchTest, TaskIdentifiersAreFreshAndNotNil) {
    std::set<foundation::msg_svc::exchange::IDType> ids;
    for (int i = 0; i < 1000; ++i) ids.insert(xvm::detail::createID());
    EXPECT_EQ(ids.size(), 1000u);
    EXPECT_EQ(ids.count(foundation::msg_svc::exchange::nilID()), 0u);
}

TEST(XvmDispatchTest, NoDistributorGivesFailedFutureAndNullReference) {
    auto vm = Factory::createXVM(korvan::test::options(false));
    bool ran = false;
    auto future = xvm::postTask(
        vm, [&] { ran = true; }, "RestfcnConnector");
    ASSERT_TRUE(future.isReady());
    EXPECT_EQ(future.getTaskReference().getTaskID(), foundation::msg_svc::exchange::nilID());
    EXPECT_FALSE(future.getTaskReference().cancel());
    try {
        future.get();
        FAIL() << "no error";
    } catch (const RuntimeException& e) {
        EXPECT_EQ(e.getExecutionStatus(), ExecutionStatus::NoDistributor);
        EXPECT_EQ(static_cast<int>(e.getExecutionStatus()), 2);
        EXPECT_EQ(e.getMessage(), "No CmdDistributor available");
        EXPECT_EQ(e.getSourceFile(), "RestfcnConnector");
        EXPECT_EQ(e.GetID(), "");
        EXPECT_TRUE(e.getStack().empty());
        EXPECT_TRUE(e.getNestedExceptions().empty());
        EXPECT_FALSE(e.isUserError());
    }
    EXPECT_FALSE(ran);
    EXPECT_THROW(xvm::postTask(vm, {}, "X"), std::invalid_argument);
}

TEST(XvmDispatchTest, ContinuationsAreRefusedAndDroppingNeverWaits) {
    auto vm = Factory::createXVM();
    bool ran = false;
    {
        auto future = xvm::postTask(
            vm, [&] { ran = true; }, "Test");
        EXPECT_FALSE(future.isReady());
        try {
            future.then([] {});
            FAIL() << "then accepted";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "then is unsupported");
        }
        auto none = xvm::detail::makeNoDistributorFuture("RestfcnConnector");
        EXPECT_THROW(none.getTaskReference().then([] {}), std::runtime_error);
    }  // nobody serves vm: the destructor must return anyway
    EXPECT_FALSE(ran);
    EXPECT_EQ(vm->getCmdDistributor()->pendingCount(), 1u);
    xvm::CurrentXVMScope scope(vm);
    EXPECT_EQ(vm->drainPending(), 1u);
    EXPECT_TRUE(ran);
}

TEST(XvmDispatchTest, TaskReferenceCancelsItsQueuedTask) {
    auto vm = Factory::createXVM();
    bool ran = false;
    auto future = xvm::postTask(
        vm, [&] { ran = true; }, "Test");
    EXPECT_TRUE(future.getTaskReference().cancel());
    ASSERT_TRUE(future.isReady());
    EXPECT_THROW(future.get(), RuntimeException);
    xvm::CurrentXVMScope scope(vm);
    EXPECT_EQ(vm->drainPending(), 0u);
    EXPECT_FALSE(ran);
}

TEST(XvmDispatchTest, DestroyingTheInterpreterFailsWhatIsQueued) {
    auto vm = Factory::createXVM();
    auto future = xvm::postTask(
        vm, [] {}, "Test");
    vm.reset();
    ASSERT_TRUE(future.isReady());
    try {
        future.get();
        FAIL() << "no error";
    } catch (const RuntimeException& e) {
        EXPECT_EQ(e.getExecutionStatus(), ExecutionStatus::Stopped);
    }
}

TEST(RuntimeExceptionTest, IsAHostErrorWithItsTextAndArguments) {
    auto nested = std::make_exception_ptr(std::out_of_range("inner"));
    const RuntimeException original(ExecutionStatus::Failed, "Task {1} failed in {2}",
                                    "KORVAN:test:TaskFailed", "Unit.cpp", {{"Unit.cpp", "run", 12}},
                                    {nested}, true, {std::int64_t{7}, std::string("step")});
    const RuntimeException copy(original);  // copies carry everything
    for (const RuntimeException* e : {&original, &copy}) {
        EXPECT_STREQ(e->what(), "Task 7 failed in step");
        EXPECT_EQ(e->GetID(), "KORVAN:test:TaskFailed");
        EXPECT_EQ(e->GetBaseMsgIDObj().getComponent(), "KORVAN:test");
        EXPECT_EQ(e->GetBaseMsgIDObj().getName(), "TaskFailed");
        EXPECT_EQ(e->GetBaseMsgIDObj().getNumberOfArguments(), 2u);
        ASSERT_EQ(e->getStack().size(), 1u);
        EXPECT_EQ(e->getStack()[0].fLine, 12);
        ASSERT_EQ(e->getNestedExceptions().size(), 1u);
        EXPECT_THROW(std::rethrow_exception(e->getNestedExceptions()[0]), std::out_of_range);
        EXPECT_TRUE(e->isUserError());
    }
    // Rethrown through the host's interfaces with its exact type.
    std::unique_ptr<foundation::core::except::IException> clone(original.clone());
    try {
        clone->rethrow();
    } catch (const foundation::core::except::IMsgIDException& e) {
        EXPECT_EQ(e.GetID(), "KORVAN:test:TaskFailed");
        EXPECT_NE(dynamic_cast<const RuntimeException*>(&e), nullptr);
    }
    auto failed = cmddistributor::makeFailedFuture(original);
    EXPECT_THROW(failed.get(), RuntimeException);
}

}  // namespace
