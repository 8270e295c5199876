// Shared pieces of the registry tests: test interfaces, a started framework per test, and a
// customizer that records every call with the thread it ran on.
//
// Only the public API of the service registry is used here, so the tests also build against an
// installed CppMicroServices 3.8.
#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceTrackerCustomizer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace korvan::test {

struct IFoo {
    virtual ~IFoo() = default;
    virtual int value() const = 0;
};

struct IBar {
    virtual ~IBar() = default;
    virtual std::string name() const = 0;
};

struct Foo : IFoo, IBar {
    explicit Foo(int v = 0) : fValue(v) {}
    int value() const override { return fValue; }
    std::string name() const override { return "foo" + std::to_string(fValue); }
    int fValue;
};

/// A framework started for one test and stopped (bounded wait) after it.
class FrameworkTest : public ::testing::Test {
  protected:
    FrameworkTest() {
        fFramework.Start();
        fContext = fFramework.GetBundleContext();
    }
    void SetUp() override { ASSERT_TRUE(fContext); }
    void TearDown() override {
        fFramework.Stop();
        fFramework.WaitForStop(std::chrono::seconds(10));
    }

    cppmicroservices::ServiceRegistration<IFoo> registerFoo(
        int value, cppmicroservices::ServiceProperties properties = {}) {
        return fContext.RegisterService<IFoo>(std::make_shared<Foo>(value), properties);
    }

    cppmicroservices::Framework fFramework = cppmicroservices::FrameworkFactory().NewFramework();
    cppmicroservices::BundleContext fContext;
};

/// One customizer call: which operation, for which service value, on which thread.
struct Call {
    std::string fWhat;  // "add", "modify" or "remove"
    int fValue;
    std::thread::id fThread;
};

/// Records every call. AddingService returns null while fRefuse is set.
class RecordingCustomizer : public cppmicroservices::ServiceTrackerCustomizer<IFoo> {
  public:
    explicit RecordingCustomizer(cppmicroservices::BundleContext context)
        : fContext(std::move(context)) {}

    std::shared_ptr<IFoo> AddingService(
        cppmicroservices::ServiceReference<IFoo> const& reference) override {
        auto service = fContext.GetService(reference);
        record("add", service ? service->value() : -1);
        return fRefuse ? nullptr : service;
    }
    void ModifiedService(cppmicroservices::ServiceReference<IFoo> const&,
                         std::shared_ptr<IFoo> const& service) override {
        record("modify", service->value());
    }
    void RemovedService(cppmicroservices::ServiceReference<IFoo> const&,
                        std::shared_ptr<IFoo> const& service) override {
        record("remove", service->value());
    }

    std::vector<Call> calls() const {
        std::lock_guard<std::mutex> lock(fMutex);
        return fCalls;
    }
    int count(std::string const& what) const {
        int n = 0;
        for (auto const& call : calls()) n += call.fWhat == what ? 1 : 0;
        return n;
    }
    void clear() {
        std::lock_guard<std::mutex> lock(fMutex);
        fCalls.clear();
    }

    std::atomic<bool> fRefuse{false};

  private:
    void record(std::string what, int value) {
        std::lock_guard<std::mutex> lock(fMutex);
        fCalls.push_back(Call{std::move(what), value, std::this_thread::get_id()});
    }

    cppmicroservices::BundleContext fContext;
    mutable std::mutex fMutex;
    std::vector<Call> fCalls;
};

}  // namespace korvan::test
