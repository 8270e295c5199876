// agent::spf::cppmsclientutils: TrackedServiceInfo and its filter, handler lists with one-shot
// entries, calls posted to the executor in event order or made directly, destruction, logging,
// and the host's framework.
#include "RegistryTestSupport.hpp"

#include <agent/spf/core/Invokable.hpp>
#include <agent/spf/cppmsclientutils/Props.hpp>
#include <agent/spf/cppmsclientutils/ServiceTracker.hpp>
#include <agent/spf/cppmsclientutils/TrackedServiceInfo.hpp>
#include <foundation/concurrent/threadpool/Executor.hpp>
#include <foundation/cppmicroservices/Framework.hpp>
#include <foundation/log/Capture.hpp>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace korvan::test;
using agent::spf::core::Invokable;
using agent::spf::cppmsclientutils::clientIdProp;
using agent::spf::cppmsclientutils::Props;
using agent::spf::cppmsclientutils::TrackedServiceInfo;
using agent::spf::cppmsclientutils::TrackerFlags;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;
using foundation::concurrent::threadpool::Executor;

template <class T>
using SpfTracker = agent::spf::cppmsclientutils::ServiceTracker<T>;

struct HostedService : Invokable {
    std::string invoke(const std::string& operation, const std::string&) override {
        return operation;
    }
};

/// What handlers saw, in call order, with their threads.
class Journal {
  public:
    void note(std::string entry) {
        std::lock_guard<std::mutex> lock(fMutex);
        fEntries.push_back(std::move(entry));
        fThreads.push_back(std::this_thread::get_id());
    }
    std::vector<std::string> entries() const {
        std::lock_guard<std::mutex> lock(fMutex);
        return fEntries;
    }
    std::vector<std::thread::id> threads() const {
        std::lock_guard<std::mutex> lock(fMutex);
        return fThreads;
    }

  private:
    mutable std::mutex fMutex;
    std::vector<std::string> fEntries;
    std::vector<std::thread::id> fThreads;
};

TEST(TrackedServiceInfo, DescribesTheServiceAsAFilterAndAsProperties) {
    TrackedServiceInfo const info("restfcnconnectorservice", 1, 0);
    EXPECT_EQ(Props::CLIENT_ID, clientIdProp());
    EXPECT_EQ(Props::CLIENT_ID, "spf.clientid");
    EXPECT_EQ(info.getLdapExpression(),
              "(&(spf.clientid=restfcnconnectorservice)(spf.version.major=1)"
              "(spf.version.minor>=0))");

    LDAPFilter const filter(info.getLdapExpression());
    auto matches = [&](TrackedServiceInfo const& published) {
        AnyMap properties;
        for (auto const& [key, value] : published.getServiceProperties()) {
            properties[key] = value;
        }
        return filter.Match(properties);
    };
    EXPECT_TRUE(matches(info));
    EXPECT_TRUE(matches(TrackedServiceInfo("restfcnconnectorservice", 1, 4)));
    EXPECT_FALSE(matches(TrackedServiceInfo("restfcnconnectorservice", 2, 0)));
    EXPECT_FALSE(matches(TrackedServiceInfo("otherservice", 1, 0)));
    EXPECT_FALSE(LDAPFilter(TrackedServiceInfo("svc", 1, 3).getLdapExpression())
                     .Match(AnyMap{{Props::CLIENT_ID, Any(std::string("svc"))},
                                   {Props::MAJOR_VERSION, Any(1)},
                                   {Props::MINOR_VERSION, Any(2)}}));

    TrackedServiceInfo const odd("a(b)*c\\", 1, 0);
    EXPECT_EQ(LDAPFilter(odd.getLdapExpression()).ToString(), odd.getLdapExpression());
    EXPECT_TRUE(LDAPFilter(odd.getLdapExpression())
                    .Match(AnyMap{{Props::CLIENT_ID, Any(std::string("a(b)*c\\"))},
                                  {Props::MAJOR_VERSION, Any(1)},
                                  {Props::MINOR_VERSION, Any(0)}}));
    EXPECT_THROW(TrackedServiceInfo("", 1, 0), std::invalid_argument);
    EXPECT_THROW(TrackedServiceInfo("x", -1, 0), std::invalid_argument);
}

class SpfTrackerTest : public FrameworkTest {
  protected:
    cppmicroservices::ServiceRegistration<Invokable> publish(const std::string& clientId) {
        return fContext.RegisterService<Invokable>(
            std::make_shared<HostedService>(),
            TrackedServiceInfo(clientId, 1, 0).getServiceProperties());
    }
    LDAPFilter connectorFilter() const {
        return LDAPFilter(TrackedServiceInfo("restfcnconnectorservice", 1, 0).getLdapExpression());
    }

    std::shared_ptr<Executor> fExecutor = std::make_shared<Executor>(2);
    Journal fJournal;
};

TEST_F(SpfTrackerTest, HandlersRunInOrderOnTheExecutorAndOneShotsOnlyOnce) {
    auto tracker =
        std::make_shared<SpfTracker<Invokable>>(fContext, connectorFilter(), 0, fExecutor);
    auto noteOnWorker = [&](std::string what) {
        return [this, what](const std::shared_ptr<Invokable>& service) {
            ASSERT_TRUE(service);
            fJournal.note(what + (fExecutor->isWorkerThread() ? "" : " off-worker"));
        };
    };
    tracker->addServiceAddedHandler(noteOnWorker("added"));
    tracker->addServiceAddedHandler(noteOnWorker("added once"), true);
    {
        // As the connector module does it: the removed list changed under the tracker's mutex.
        std::lock_guard<std::recursive_mutex> lock(tracker->getMutex());
        tracker->addServiceRemovedHandler(noteOnWorker("removed"));
    }
    EXPECT_EQ(tracker->addedHandlerCount(), 2u);
    tracker->Open();

    auto first = publish("restfcnconnectorservice");
    EXPECT_EQ(tracker->addedHandlerCount(), 1u);  // the one-shot entry is used up
    publish("someotherservice");                  // not selected by the filter
    first.Unregister();
    auto second = publish("restfcnconnectorservice");
    fExecutor->waitForKey(tracker->getId());

    EXPECT_EQ(fJournal.entries(),
              (std::vector<std::string>{"added", "added once", "removed", "added"}));
    for (auto const& thread : fJournal.threads()) EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_EQ(tracker->Size(), 1);
}

TEST_F(SpfTrackerTest, ExecutorKeepsTheEventOrderOfOneTracker) {
    SpfTracker<Invokable> tracker(fContext, connectorFilter(), 0, fExecutor);
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    auto note = [&](std::string what) {
        return [&, what](const std::shared_ptr<Invokable>&) {
            if (inside.fetch_add(1) != 0) ++overlaps;
            std::this_thread::yield();
            fJournal.note(what);
            inside.fetch_sub(1);
        };
    };
    tracker.addServiceAddedHandler(note("+"));
    tracker.addServiceRemovedHandler(note("-"));
    tracker.Open();
    for (int i = 0; i < 50; ++i) publish("restfcnconnectorservice").Unregister();
    fExecutor->waitForKey(tracker.getId());

    auto const entries = fJournal.entries();
    ASSERT_EQ(entries.size(), 100u);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i], i % 2 == 0 ? "+" : "-") << i;
    }
    EXPECT_EQ(overlaps.load(), 0);
}

TEST_F(SpfTrackerTest, DirectFlagCallsHandlersOnTheEventThread) {
    SpfTracker<Invokable> tracker(fContext, connectorFilter(), TrackerFlags::kCallDirectly);
    EXPECT_EQ(tracker.getExecutor(), nullptr);
    tracker.addServiceAddedHandler([&](const std::shared_ptr<Invokable>&) {
        throw std::runtime_error("a failing handler does not stop the next one");
    });
    tracker.addServiceAddedHandler([&](const std::shared_ptr<Invokable>&) { fJournal.note("+"); });
    tracker.addServiceModifiedHandler(
        [&](const std::shared_ptr<Invokable>&) { fJournal.note("~"); });
    tracker.Open();

    cppmicroservices::ServiceRegistration<Invokable> registration;
    std::thread registering([&] { registration = publish("restfcnconnectorservice"); });
    auto const registeringId = registering.get_id();
    registering.join();
    auto properties = TrackedServiceInfo("restfcnconnectorservice", 1, 2).getServiceProperties();
    registration.SetProperties(properties);

    EXPECT_EQ(fJournal.entries(), (std::vector<std::string>{"+", "~"}));
    EXPECT_EQ(fJournal.threads().at(0), registeringId);
    EXPECT_EQ(fJournal.threads().at(1), std::this_thread::get_id());
}

TEST_F(SpfTrackerTest, CloseReportsRemovalsButDestructionDoesNot) {
    publish("restfcnconnectorservice");
    {
        SpfTracker<Invokable> tracker(fContext, connectorFilter(), TrackerFlags::kCallDirectly);
        tracker.addServiceRemovedHandler(
            [&](const std::shared_ptr<Invokable>&) { fJournal.note("closed"); });
        tracker.Open();
        tracker.Close();
    }
    {
        auto tracker =
            std::make_unique<SpfTracker<Invokable>>(fContext, connectorFilter(), 0, fExecutor);
        tracker->addServiceRemovedHandler(
            [&](const std::shared_ptr<Invokable>&) { fJournal.note("destroyed"); });
        tracker->Open();
        EXPECT_EQ(tracker->Size(), 1);
        tracker.reset();
    }
    EXPECT_EQ(fJournal.entries(), std::vector<std::string>{"closed"});
}

TEST_F(SpfTrackerTest, DestructionWaitsForCallsAlreadyPosted) {
    std::atomic<bool> finished{false};
    {
        SpfTracker<Invokable> tracker(fContext, connectorFilter(), 0, fExecutor);
        tracker.addServiceAddedHandler([&](const std::shared_ptr<Invokable>&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            finished = true;
        });
        tracker.Open();
        publish("restfcnconnectorservice");
    }
    EXPECT_TRUE(finished.load());
}

TEST_F(SpfTrackerTest, MatchAllTrackerFindsTheServicePresentAtOpen) {
    fContext.RegisterService<IFoo>(std::make_shared<Foo>(3));
    auto tracker = std::make_shared<SpfTracker<IFoo>>(fContext, LDAPFilter(), 1);
    foundation::log::ScopedCapture capture("agent::spf");
    tracker->logStarting();
    tracker->Open();
    tracker->logWaiting();
    auto service = tracker->WaitForService(std::chrono::milliseconds(500));
    ASSERT_TRUE(service);
    EXPECT_EQ(service->value(), 3);

    auto const lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("Starting"), std::string::npos);
    EXPECT_NE(lines[0].find(tracker->getId()), std::string::npos);
    EXPECT_NE(lines[1].find("Waiting"), std::string::npos);
    EXPECT_THROW(tracker->WaitForService(std::chrono::milliseconds(-500)), std::invalid_argument);
}

TEST_F(SpfTrackerTest, TrackerOfEveryServiceOfAnInterface) {
    SpfTracker<IFoo> tracker(fContext, TrackerFlags::kCallDirectly);
    tracker.addServiceAddedHandler(
        [&](const std::shared_ptr<IFoo>& foo) { fJournal.note(std::to_string(foo->value())); });
    tracker.Open();
    registerFoo(1);
    registerFoo(2);
    EXPECT_EQ(fJournal.entries(), (std::vector<std::string>{"1", "2"}));
    EXPECT_NE(tracker.getId(), SpfTracker<IFoo>(fContext, 1).getId());
}

TEST(HostFramework, IsOneStartedFramework) {
    auto framework = foundation::cppmicroservices::getFramework();
    EXPECT_EQ(framework.GetState(), cppmicroservices::Bundle::STATE_ACTIVE);
    auto context = framework.GetBundleContext();
    ASSERT_TRUE(context);
    auto registration = context.RegisterService<IFoo>(std::make_shared<Foo>(11));
    auto other = foundation::cppmicroservices::getFramework().GetBundleContext();
    EXPECT_EQ(other.GetService(other.GetServiceReference<IFoo>())->value(), 11);
    registration.Unregister();
}

}  // namespace
