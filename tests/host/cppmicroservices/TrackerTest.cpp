// cppmicroservices::ServiceTracker: what the customizer is told, on which thread, across open,
// register, modify, unregister and close; null from AddingService; ranking; the bounded wait.
#include "RegistryTestSupport.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceTracker.h>

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace korvan::test;
using cppmicroservices::Any;
using cppmicroservices::LDAPFilter;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceTracker;
namespace Constants = cppmicroservices::Constants;

using Tracker = ServiceTracker<IFoo>;

/// Runs action on a thread of its own and returns that thread's id.
std::thread::id onOtherThread(std::function<void()> const& action) {
    std::thread worker(action);
    auto const id = worker.get_id();
    worker.join();
    return id;
}

std::vector<int> valuesOf(std::vector<Call> const& calls, std::string const& what) {
    std::vector<int> values;
    for (auto const& call : calls) {
        if (call.fWhat == what) values.push_back(call.fValue);
    }
    return values;
}

class TrackerTest : public FrameworkTest {
  protected:
    RecordingCustomizer fCustomizer{fContext};  // declared before any tracker: outlives it
};

TEST_F(TrackerTest, OpenAddsPresentServicesBestFirstOnTheCallingThread) {
    auto r1 = registerFoo(1, {{Constants::SERVICE_RANKING, Any(1)}});
    auto r2 = registerFoo(2, {{Constants::SERVICE_RANKING, Any(5)}});
    auto r3 = registerFoo(3, {{Constants::SERVICE_RANKING, Any(3)}});
    Tracker tracker(fContext, &fCustomizer);
    EXPECT_EQ(tracker.GetTrackingCount(), -1);
    tracker.Open();

    auto calls = fCustomizer.calls();
    EXPECT_EQ(valuesOf(calls, "add"), (std::vector<int>{2, 3, 1}));
    for (auto const& call : calls) EXPECT_EQ(call.fThread, std::this_thread::get_id());
    EXPECT_EQ(tracker.Size(), 3);
    EXPECT_EQ(tracker.GetTrackingCount(), 3);
    EXPECT_EQ(tracker.GetService()->value(), 2);
    EXPECT_EQ(tracker.GetServiceReference(), r2.GetReference());
    EXPECT_EQ(tracker.GetServices().size(), 3u);
    EXPECT_EQ(tracker.GetService(r3.GetReference())->value(), 3);

    r1.SetProperties({{Constants::SERVICE_RANKING, Any(9)}});
    EXPECT_EQ(tracker.GetService()->value(), 1);  // a rank change changes the best
    tracker.Open();                               // already open: nothing happens
    EXPECT_EQ(fCustomizer.count("add"), 3);
}

TEST_F(TrackerTest, EventsCallTheCustomizerOnTheThreadThatCausedThem) {
    Tracker tracker(fContext, &fCustomizer);
    tracker.Open();
    EXPECT_EQ(tracker.GetTrackingCount(), 0);

    cppmicroservices::ServiceRegistration<IFoo> registration;
    auto const registering = onOtherThread([&] { registration = registerFoo(4); });
    auto const modifying = onOtherThread([&] { registration.SetProperties({{"k", Any(1)}}); });
    EXPECT_EQ(tracker.GetTrackingCount(), 2);
    auto const unregistering = onOtherThread([&] { registration.Unregister(); });

    auto calls = fCustomizer.calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].fWhat, "add");
    EXPECT_EQ(calls[0].fThread, registering);
    EXPECT_EQ(calls[1].fWhat, "modify");
    EXPECT_EQ(calls[1].fThread, modifying);
    EXPECT_EQ(calls[2].fWhat, "remove");
    EXPECT_EQ(calls[2].fThread, unregistering);
    EXPECT_EQ(tracker.GetTrackingCount(), 3);
    EXPECT_TRUE(tracker.IsEmpty());
}

TEST_F(TrackerTest, CloseRemovesEveryTrackedServiceOnTheClosingThread) {
    registerFoo(1);
    registerFoo(2);
    auto r3 = registerFoo(3);
    Tracker tracker(fContext, &fCustomizer);
    tracker.Open();
    fCustomizer.clear();

    auto const closing = onOtherThread([&] { tracker.Close(); });
    auto calls = fCustomizer.calls();
    ASSERT_EQ(calls.size(), 3u);
    for (auto const& call : calls) {
        EXPECT_EQ(call.fWhat, "remove");
        EXPECT_EQ(call.fThread, closing);
    }
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(tracker.GetTrackingCount(), -1);
    EXPECT_EQ(tracker.GetService(), nullptr);
    EXPECT_TRUE(tracker.GetServiceReferences().empty());
    tracker.Close();  // twice: nothing more
    r3.Unregister();  // after close: no callback
    EXPECT_EQ(fCustomizer.calls().size(), 3u);

    tracker.Open();  // re-open starts afresh
    EXPECT_EQ(tracker.GetTrackingCount(), 2);
    EXPECT_EQ(tracker.Size(), 2);
}

TEST_F(TrackerTest, NullFromAddingServiceLeavesTheServiceUntracked) {
    fCustomizer.fRefuse = true;
    auto registration = registerFoo(1);
    Tracker tracker(fContext, &fCustomizer);
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(fCustomizer.count("add"), 1);

    registration.SetProperties({{"k", Any(1)}});  // a new candidate again
    EXPECT_EQ(fCustomizer.count("add"), 2);
    EXPECT_EQ(fCustomizer.count("modify"), 0);
    registration.Unregister();
    tracker.Close();
    EXPECT_EQ(fCustomizer.count("remove"), 0);
}

TEST_F(TrackerTest, GetServiceReferenceThrowsWhenNothingIsTracked) {
    Tracker tracker(fContext, &fCustomizer);
    try {
        (void)tracker.GetServiceReference();
        FAIL() << "no exception";
    } catch (cppmicroservices::ServiceException const& error) {
        EXPECT_STREQ(error.what(), "No service is being tracked");
    }
    tracker.Open();
    EXPECT_THROW((void)tracker.GetServiceReference(), cppmicroservices::ServiceException);
    EXPECT_EQ(tracker.GetService(), nullptr);
}

TEST_F(TrackerTest, WaitForServiceRejectsNegativeTimeAndReturnsAtOnceWhenNotOpen) {
    Tracker tracker(fContext, &fCustomizer);
    try {
        tracker.WaitForService(std::chrono::milliseconds(-1));
        FAIL() << "no exception";
    } catch (std::invalid_argument const& error) {
        EXPECT_STREQ(error.what(), "negative timeout");
    }
    registerFoo(1);  // present, but the tracker is not open
    auto waited = std::async(std::launch::async,
                             [&] { return tracker.WaitForService(std::chrono::hours(1)); });
    ASSERT_EQ(waited.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_EQ(waited.get(), nullptr);
}

TEST_F(TrackerTest, WaitForServiceEndsWithARegistrationOrAClose) {
    Tracker tracker(fContext, &fCustomizer);
    tracker.Open();
    EXPECT_EQ(tracker.WaitForService(std::chrono::milliseconds(20)), nullptr);

    auto waited = std::async(std::launch::async,
                             [&] { return tracker.WaitForService(std::chrono::minutes(5)); });
    registerFoo(6);
    ASSERT_EQ(waited.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    ASSERT_NE(waited.get(), nullptr);

    Tracker other(fContext, LDAPFilter("(never=1)"), &fCustomizer);
    other.Open();
    auto unlimited = std::async(std::launch::async, [&] { return other.WaitForService(); });
    other.Close();
    ASSERT_EQ(unlimited.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_EQ(unlimited.get(), nullptr);
}

TEST_F(TrackerTest, FilterTrackerFollowsPropertyChanges) {
    auto registration = registerFoo(1, {{"color", Any(std::string("red"))}});
    registerFoo(2, {{"color", Any(std::string("blue"))}});
    Tracker tracker(fContext, LDAPFilter("(color=red)"), &fCustomizer);
    tracker.Open();
    EXPECT_EQ(valuesOf(fCustomizer.calls(), "add"), std::vector<int>{1});

    registration.SetProperties({{"color", Any(std::string("blue"))}});
    EXPECT_EQ(valuesOf(fCustomizer.calls(), "remove"), std::vector<int>{1});
    EXPECT_TRUE(tracker.IsEmpty());
    registration.SetProperties({{"color", Any(std::string("red"))}});
    EXPECT_EQ(valuesOf(fCustomizer.calls(), "add"), (std::vector<int>{1, 1}));
    EXPECT_EQ(tracker.Size(), 1);
}

TEST_F(TrackerTest, FilterTrackerSkipsServicesOfOtherInterfaces) {
    auto bar = fContext.RegisterService<IBar>(std::make_shared<Foo>(5),
                                              {{"color", Any(std::string("red"))}});
    Tracker tracker(fContext, LDAPFilter("(color=red)"), &fCustomizer);
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(fCustomizer.count("add"), 0);
    EXPECT_THROW(Tracker(cppmicroservices::BundleContext(), LDAPFilter("(a=1)")),
                 std::invalid_argument);
}

TEST_F(TrackerTest, DefaultFilterTracksOnlyWhatIsPresentAtOpen) {
    registerFoo(1);
    registerFoo(2);
    Tracker tracker(fContext, LDAPFilter(), &fCustomizer);
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 2);
    registerFoo(3);
    EXPECT_EQ(tracker.Size(), 2);
}

TEST_F(TrackerTest, ExceptionFromAddingServiceLeavesOpenAndKeepsTheTrackerOpen) {
    struct Failing : RecordingCustomizer {
        using RecordingCustomizer::RecordingCustomizer;
        std::shared_ptr<IFoo> AddingService(ServiceReference<IFoo> const& reference) override {
            auto service = RecordingCustomizer::AddingService(reference);
            if (service->value() == 2) throw std::runtime_error("refused");
            return service;
        }
    } failing(fContext);
    registerFoo(1, {{Constants::SERVICE_RANKING, Any(3)}});
    registerFoo(2, {{Constants::SERVICE_RANKING, Any(2)}});
    registerFoo(3, {{Constants::SERVICE_RANKING, Any(1)}});
    Tracker tracker(fContext, &failing);
    EXPECT_THROW(tracker.Open(), std::runtime_error);
    EXPECT_EQ(tracker.Size(), 1);  // the third one was not processed
    EXPECT_GE(tracker.GetTrackingCount(), 0);

    // During an event the exception stays inside the registry: registration succeeds.
    auto registration = registerFoo(2);
    EXPECT_TRUE(registration.GetReference());
    EXPECT_EQ(tracker.Size(), 1);
}

TEST_F(TrackerTest, RemoveCallsRemovedServiceOnTheCaller) {
    auto registration = registerFoo(8);
    Tracker tracker(fContext, &fCustomizer);
    tracker.Open();
    auto const removing = onOtherThread([&] { tracker.Remove(registration.GetReference()); });
    auto calls = fCustomizer.calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[1].fWhat, "remove");
    EXPECT_EQ(calls[1].fThread, removing);
    EXPECT_EQ(tracker.Size(), 0);
    tracker.Remove(registration.GetReference());  // not tracked: nothing
    EXPECT_EQ(fCustomizer.calls().size(), 2u);
}

TEST_F(TrackerTest, ReferenceTrackerFollowsOneService) {
    auto first = registerFoo(1);
    registerFoo(2);
    Tracker tracker(fContext, first.GetReference(), &fCustomizer);
    tracker.Open();
    EXPECT_EQ(valuesOf(fCustomizer.calls(), "add"), std::vector<int>{1});
    first.Unregister();
    EXPECT_EQ(tracker.Size(), 0);
}

TEST_F(TrackerTest, DefaultCustomizerTracksTheServiceObjects) {
    auto foo = std::make_shared<Foo>(4);
    fContext.RegisterService<IFoo>(foo);
    Tracker tracker(fContext);
    tracker.Open();
    EXPECT_EQ(tracker.GetService(), foo);

    struct Wrapped {
        int fValue;
    };
    ServiceTracker<IFoo, Wrapped> typed(fContext);
    try {
        typed.Open();
        FAIL() << "no exception";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(),
                     "A custom ServiceTrackerCustomizer instance is required for custom tracked "
                     "objects.");
    }
}

TEST_F(TrackerTest, StoppedFrameworkLeavesTrackedServicesUntilClose) {
    registerFoo(1);
    registerFoo(2);
    Tracker tracker(fContext, &fCustomizer);
    tracker.Open();
    fFramework.Stop();
    fFramework.WaitForStop(std::chrono::seconds(10));
    EXPECT_EQ(tracker.Size(), 2);
    EXPECT_EQ(fCustomizer.count("remove"), 0);
    tracker.Close();
    EXPECT_EQ(fCustomizer.count("remove"), 2);
}

}  // namespace
