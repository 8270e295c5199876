// Framework, bundle context, registrations, references and service listeners: lifecycle and
// validity, the properties the framework adds, ordering by ranking, the error texts, and
// synchronous event delivery.
#include "RegistryTestSupport.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceException.h>

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace korvan::test;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::Bundle;
using cppmicroservices::BundleContext;
using cppmicroservices::FrameworkEvent;
using cppmicroservices::FrameworkFactory;
using cppmicroservices::ServiceEvent;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceReferenceU;
namespace Constants = cppmicroservices::Constants;

std::string messageOf(std::function<void()> const& action) {
    try {
        action();
    } catch (std::exception const& error) {
        return error.what();
    }
    return "(no exception)";
}

TEST(Framework, ContextIsValidOnlyWhileStarted) {
    auto framework = FrameworkFactory().NewFramework();
    EXPECT_FALSE(framework.GetBundleContext());
    EXPECT_EQ(framework.GetBundleId(), 0);
    EXPECT_EQ(framework.GetSymbolicName(), "system_bundle");
    EXPECT_EQ(framework.GetLocation(), "System Bundle");

    framework.Init();
    EXPECT_TRUE(framework.GetBundleContext());
    EXPECT_EQ(framework.GetState(), Bundle::STATE_STARTING);
    framework.Start();
    EXPECT_EQ(framework.GetState(), Bundle::STATE_ACTIVE);
    BundleContext context = framework.GetBundleContext();
    ASSERT_TRUE(context);

    framework.Stop();
    FrameworkEvent const stopped = framework.WaitForStop(std::chrono::seconds(10));
    EXPECT_EQ(stopped.GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_FALSE(context);
    EXPECT_EQ(messageOf([&] { (void)context.GetServiceReferences("", ""); }),
              "The bundle context is no longer valid");
    EXPECT_THROW(context.RegisterService<IFoo>(std::make_shared<Foo>()), std::runtime_error);
    EXPECT_THROW(BundleContext().GetBundle(), std::runtime_error);
}

TEST(Framework, WaitForStopTimesOutWhileActive) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    EXPECT_EQ(framework.WaitForStop(std::chrono::milliseconds(10)).GetType(),
              FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
    framework.Stop();
    EXPECT_EQ(framework.WaitForStop(std::chrono::seconds(10)).GetType(),
              FrameworkEvent::FRAMEWORK_STOPPED);
}

TEST(Framework, RestartGivesANewValidContext) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    auto first = framework.GetBundleContext();
    framework.Stop();
    framework.WaitForStop(std::chrono::seconds(10));
    framework.Start();
    auto second = framework.GetBundleContext();
    EXPECT_FALSE(first);
    EXPECT_TRUE(second);
    EXPECT_FALSE(first == second);
    framework.Stop();
    framework.WaitForStop(std::chrono::seconds(10));
}

TEST_F(FrameworkTest, RegistrationCarriesTheFrameworkProperties) {
    auto first = registerFoo(1, {{"Color", Any(std::string("red"))}});
    auto second = registerFoo(2);
    auto reference = first.GetReference();
    ASSERT_TRUE(reference);

    auto classes =
        any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS));
    EXPECT_EQ(classes, std::vector<std::string>{"korvan::test::IFoo"});
    EXPECT_EQ(reference.GetProperty(Constants::SERVICE_SCOPE).ToString(), "singleton");
    long const id = any_cast<long>(reference.GetProperty("SERVICE.ID"));  // keys ignore case
    EXPECT_GT(any_cast<long>(second.GetReference().GetProperty(Constants::SERVICE_ID)), id);
    EXPECT_EQ(reference.GetProperty("color").ToString(), "red");
    EXPECT_TRUE(reference.GetProperty("missing").Empty());
    EXPECT_EQ(reference.GetBundle().GetBundleId(), 0);
}

TEST_F(FrameworkTest, RegistrationRejectsBadInput) {
    EXPECT_EQ(messageOf([&] {
                  (void)fContext.RegisterService<IFoo>(std::make_shared<Foo>(),
                                                       {{"key", Any(1)}, {"KEY", Any(2)}});
              }).rfind("Properties contain case variants of the key: ", 0),
              0u);
    EXPECT_THROW(fContext.RegisterService<IFoo>(std::shared_ptr<Foo>()), std::invalid_argument);
    EXPECT_EQ(messageOf([&] { (void)fContext.RegisterService(nullptr); }),
              "Can't register empty InterfaceMap as a service");
    EXPECT_EQ(
        messageOf([&] {
            (void)fContext.RegisterService(std::make_shared<cppmicroservices::InterfaceMap>());
        }),
        "Can't register empty InterfaceMap as a service");
}

TEST_F(FrameworkTest, ReferencesComeBestFirstForAClassAndInRegistrationOrderOtherwise) {
    auto r1 = registerFoo(1, {{Constants::SERVICE_RANKING, Any(1)}});
    auto r2 = registerFoo(2, {{Constants::SERVICE_RANKING, Any(5)}});
    auto r3 = registerFoo(3, {{Constants::SERVICE_RANKING, Any(5)}});
    auto r4 = registerFoo(4);

    auto values = [&](auto const& references) {
        std::vector<int> result;
        for (auto const& reference : references) {
            result.push_back(fContext.GetService(ServiceReference<IFoo>(reference))->value());
        }
        return result;
    };
    EXPECT_EQ(values(fContext.GetServiceReferences<IFoo>()), (std::vector<int>{2, 3, 1, 4}));
    EXPECT_EQ(values(fContext.GetServiceReferences("", "")), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(fContext.GetService(fContext.GetServiceReference<IFoo>())->value(), 2);

    EXPECT_TRUE(r1.GetReference() < r2.GetReference());  // lower rank
    EXPECT_TRUE(r3.GetReference() < r2.GetReference());  // same rank, later id
    EXPECT_FALSE(r2.GetReference() < r3.GetReference());

    r1.SetProperties({{Constants::SERVICE_RANKING, Any(9)}});
    EXPECT_EQ(values(fContext.GetServiceReferences<IFoo>()), (std::vector<int>{1, 2, 3, 4}));
    r4.Unregister();
    EXPECT_EQ(values(fContext.GetServiceReferences<IFoo>()), (std::vector<int>{1, 2, 3}));
}

TEST_F(FrameworkTest, MissingServiceGivesAnInvalidReference) {
    EXPECT_FALSE(fContext.GetServiceReference<IFoo>());
    EXPECT_TRUE(fContext.GetServiceReferences<IFoo>().empty());
    EXPECT_THROW(fContext.GetServiceReferences("", "(broken"), std::invalid_argument);
}

TEST_F(FrameworkTest, ServiceIsReachableThroughEachInterface) {
    auto foo = std::make_shared<Foo>(7);
    auto registration = fContext.RegisterService<IFoo, IBar>(foo);
    auto bar = fContext.GetService(registration.GetReference<IBar>());
    ASSERT_TRUE(bar);
    EXPECT_EQ(bar->name(), "foo7");
    EXPECT_EQ(fContext.GetService(fContext.GetServiceReference<IFoo>())->value(), 7);
    auto classes = any_cast<std::vector<std::string>>(
        registration.GetReference().GetProperty(Constants::OBJECTCLASS));
    EXPECT_EQ(classes.size(), 2u);
    // A reference converts to an interface the service was not registered under as invalid.
    struct IOther {
        virtual ~IOther() = default;
    };
    EXPECT_FALSE(ServiceReference<IOther>(registration.GetReference()));
}

TEST_F(FrameworkTest, UnregisterInvalidatesReferencesButNotObjectsInHand) {
    auto registration = registerFoo(3);
    auto reference = registration.GetReference();
    auto service = fContext.GetService(reference);
    registration.Unregister();

    EXPECT_FALSE(reference);
    EXPECT_TRUE(registration);  // the handle itself stays true
    EXPECT_EQ(service->value(), 3);
    EXPECT_EQ(reference.GetProperty("service.scope").ToString(), "singleton");
    EXPECT_EQ(messageOf([&] { fContext.GetService(reference); }),
              "Default constructed ServiceReference is not a valid input to GetService()");
    EXPECT_EQ(messageOf([&] { registration.Unregister(); }), "Service is unregistered");
    EXPECT_EQ(messageOf([&] { registration.SetProperties({}); }), "Service is unregistered");
    EXPECT_EQ(messageOf([&] { (void)registration.GetReference(); }), "Service is unregistered");
    EXPECT_EQ(messageOf([&] { cppmicroservices::ServiceRegistration<IFoo>().Unregister(); }),
              "ServiceRegistrationBase object invalid");
    EXPECT_THROW(fContext.GetService(ServiceReference<IFoo>()), std::invalid_argument);
}

TEST_F(FrameworkTest, SetPropertiesKeepsFrameworkKeysAndChecksTheRanking) {
    auto registration = registerFoo(1, {{"a", Any(1)}});
    long const id = any_cast<long>(registration.GetReference().GetProperty(Constants::SERVICE_ID));
    registration.SetProperties({{"b", Any(2)}});
    auto reference = registration.GetReference();
    EXPECT_TRUE(reference.GetProperty("a").Empty());
    EXPECT_EQ(any_cast<int>(reference.GetProperty("b")), 2);
    EXPECT_EQ(any_cast<long>(reference.GetProperty(Constants::SERVICE_ID)), id);
    EXPECT_FALSE(reference.GetProperty(Constants::OBJECTCLASS).Empty());
    EXPECT_THROW(registration.SetProperties({{Constants::SERVICE_RANKING, Any(2L)}}),
                 std::invalid_argument);
    EXPECT_THROW(registration.SetProperties({{"x", Any(1)}, {"X", Any(2)}}), std::runtime_error);
}

TEST_F(FrameworkTest, ListenersGetEventsSynchronouslyOnTheCallingThread) {
    struct Seen {
        ServiceEvent::Type fType;
        std::thread::id fThread;
    };
    std::vector<Seen> all;
    std::vector<ServiceEvent::Type> red;
    auto allToken = fContext.AddServiceListener([&](ServiceEvent const& event) {
        all.push_back({event.GetType(), std::this_thread::get_id()});
    });
    auto redToken = fContext.AddServiceListener(
        [&](ServiceEvent const& event) { red.push_back(event.GetType()); }, "(color=red)");

    cppmicroservices::ServiceRegistration<IFoo> registration;
    std::thread worker([&] {
        registration = registerFoo(1, {{"color", Any(std::string("red"))}});
        registration.SetProperties({{"color", Any(std::string("blue"))}});
    });
    auto const workerId = worker.get_id();
    worker.join();
    registration.SetProperties({{"COLOR", Any(std::string("red"))}});
    registration.Unregister();

    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[0].fType, ServiceEvent::SERVICE_REGISTERED);
    EXPECT_EQ(all[0].fThread, workerId);
    EXPECT_EQ(all[1].fType, ServiceEvent::SERVICE_MODIFIED);
    EXPECT_EQ(all[1].fThread, workerId);
    EXPECT_EQ(all[2].fType, ServiceEvent::SERVICE_MODIFIED);
    EXPECT_EQ(all[2].fThread, std::this_thread::get_id());
    EXPECT_EQ(all[3].fType, ServiceEvent::SERVICE_UNREGISTERING);
    EXPECT_EQ(red, (std::vector<ServiceEvent::Type>{
                       ServiceEvent::SERVICE_REGISTERED, ServiceEvent::SERVICE_MODIFIED_ENDMATCH,
                       ServiceEvent::SERVICE_MODIFIED, ServiceEvent::SERVICE_UNREGISTERING}));

    fContext.RemoveListener(std::move(allToken));
    fContext.RemoveListener(std::move(redToken));
    registerFoo(2, {{"color", Any(std::string("red"))}});
    EXPECT_EQ(all.size(), 4u);
    EXPECT_EQ(red.size(), 4u);

    std::ostringstream text;
    text << ServiceEvent::SERVICE_REGISTERED << ' ' << ServiceEvent::SERVICE_UNREGISTERING;
    EXPECT_EQ(text.str(), "REGISTERED UNREGISTERING");
}

TEST_F(FrameworkTest, ThrowingListenerBecomesAFrameworkError) {
    std::vector<FrameworkEvent> errors;
    auto frameworkToken = fContext.AddFrameworkListener([&](FrameworkEvent const& event) {
        if (event.GetType() == FrameworkEvent::FRAMEWORK_ERROR) errors.push_back(event);
    });
    int later = 0;
    auto throwing = fContext.AddServiceListener(
        [](ServiceEvent const&) { throw std::runtime_error("listener failed"); });
    auto counting = fContext.AddServiceListener([&](ServiceEvent const&) { ++later; });

    auto registration = registerFoo(1);
    EXPECT_TRUE(registration.GetReference());
    EXPECT_EQ(later, 1);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].GetMessage(), "Service listener in system_bundle threw an exception!");
    EXPECT_EQ(messageOf([&] { std::rethrow_exception(errors[0].GetThrowable()); }),
              "listener failed");
    EXPECT_THROW(fContext.AddServiceListener([](ServiceEvent const&) {}, "(bad"),
                 std::invalid_argument);

    // Once removed, neither the throwing listener nor the counting one hears of a change.
    fContext.RemoveListener(std::move(throwing));
    fContext.RemoveListener(std::move(counting));
    fContext.RemoveListener(std::move(frameworkToken));
    registration.Unregister();
    EXPECT_EQ(later, 1);
    EXPECT_EQ(errors.size(), 1u);
}

TEST_F(FrameworkTest, StoppingTheFrameworkSendsNoUnregisteringEvents) {
    int unregistering = 0;
    // Kept only for the listener's sake: the framework stops with the listener still added.
    [[maybe_unused]] auto token = fContext.AddServiceListener([&](ServiceEvent const& event) {
        if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING) ++unregistering;
    });
    auto registration = registerFoo(1);
    fFramework.Stop();
    fFramework.WaitForStop(std::chrono::seconds(10));
    EXPECT_EQ(unregistering, 0);
}

}  // namespace
