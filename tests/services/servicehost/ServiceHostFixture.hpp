// The service host tests' fixture: a settings store in a fresh folder, a factory of fake
// hosted services, the host's real service registry, a tracker of the connector service
// selected by its client-ID filter, and fake connector clients. Everything registered is
// unregistered by the fixture, so the tests of one executable do not see each other's
// services.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/ServiceRegistration.h>

#include "ServiceHostDoubles.hpp"
#include "TempFolder.hpp"
#include "agent/spf/cppmsclientutils/TrackedServiceInfo.hpp"
#include "foundation/cppmicroservices/Framework.hpp"
#include "korvan/services/servicehost/ServiceHost.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace korvan::test {

using korvan::services::servicehost::ServiceHost;
using korvan::services::servicehost::ServiceHostOptions;
using korvan::services::settings::SettingsStore;

inline const agent::spf::cppmsclientutils::TrackedServiceInfo& connectorInfo() {
    static const agent::spf::cppmsclientutils::TrackedServiceInfo info("restfcnconnectorservice", 1,
                                                                       0);
    return info;
}

/// Sets the process's time zone for the life of the object (a POSIX TZ text).
class ScopedTimeZone {
  public:
    explicit ScopedTimeZone(const char* zone) {
        if (const char* old = std::getenv("TZ")) fOld = old, fHadOld = true;
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~ScopedTimeZone() {
        if (fHadOld)
            ::setenv("TZ", fOld.c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }

  private:
    std::string fOld;
    bool fHadOld = false;
};

class ServiceHostTest : public ::testing::Test {
  protected:
    using Tracker = cppmicroservices::ServiceTracker<agent::spf::core::Invokable>;

    ServiceHostTest()
        : fContext(foundation::cppmicroservices::getFramework().GetBundleContext()),
          fSettings(std::make_shared<SettingsStore>(fFolder.path())),
          fRecorder(fContext, fLog) {}

    ~ServiceHostTest() override {
        fHost.reset();
        if (fTracker) fTracker->Close();
        for (auto& registration : fClientRegistrations) {
            try {
                registration.Unregister();
            } catch (const std::exception&) {
            }
        }
    }

    ServiceHostOptions options() {
        ServiceHostOptions result;
        result.fContext = fContext;
        result.fSettings = fSettings;
        result.fFactory = fFactory.factory();
        return result;
    }

    ServiceHost& makeHost(ServiceHostOptions opts) {
        fHost = std::make_shared<ServiceHost>(std::move(opts));
        return *fHost;
    }
    ServiceHost& makeHost() { return makeHost(options()); }

    /// Opens a tracker of the connector service with the client-ID filter.
    Tracker& openTracker() {
        fTracker = std::make_unique<Tracker>(
            fContext, cppmicroservices::LDAPFilter(connectorInfo().getLdapExpression()),
            &fRecorder);
        fTracker->Open();
        return *fTracker;
    }

    std::shared_ptr<FakeConnectorClient> registerClient(const std::string& name) {
        auto client = std::make_shared<FakeConnectorClient>(name, fLog);
        fClientRegistrations.push_back(
            fContext.RegisterService<rest::kv::connectorclient::RestFcnConnectorClient>(client));
        return client;
    }

    std::vector<std::string> events() const { return fLog->events(); }

    korvan::test::TempFolder fFolder;
    cppmicroservices::BundleContext fContext;
    std::shared_ptr<EventLog> fLog = std::make_shared<EventLog>();
    FakeFactory fFactory{fLog};
    std::shared_ptr<SettingsStore> fSettings;
    InvokableRecorder fRecorder;  // before the tracker, which calls it
    std::unique_ptr<Tracker> fTracker;
    std::vector<cppmicroservices::ServiceRegistrationU> fClientRegistrations;
    std::shared_ptr<ServiceHost> fHost;  // destroyed first
};

}  // namespace korvan::test
