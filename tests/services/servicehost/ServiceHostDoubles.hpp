// Doubles and helpers of the service host's tests.
//
// EventLog: one ordered record of what happened, shared by the doubles, so that a test can
// check the order of the steps of a flip across objects ("notify", "removed 1", "shutdown 1",
// "added 2"). FakeHostedService records its invokes and its shutdown; FakeConnectorClient
// records notifyVshUpdate (and may be told to throw); InvokableRecorder is a registry
// ServiceTracker customizer that records the connector service's comings and goings with the
// instance's number. Every member may be called from any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceTracker.h>
#include <cppmicroservices/ServiceTrackerCustomizer.h>

#include "agent/spf/core/Invokable.hpp"
#include "korvan/services/servicehost/HostedService.hpp"
#include "rest/kv/connectorclient/RestFcnConnectorClient.hpp"

namespace korvan::test {

class EventLog {
  public:
    void add(std::string event) {
        std::lock_guard lock(fLock);
        fEvents.push_back(std::move(event));
    }
    std::vector<std::string> events() const {
        std::lock_guard lock(fLock);
        return fEvents;
    }
    std::size_t size() const {
        std::lock_guard lock(fLock);
        return fEvents.size();
    }
    void clear() {
        std::lock_guard lock(fLock);
        fEvents.clear();
    }

  private:
    mutable std::mutex fLock;
    std::vector<std::string> fEvents;
};

/// Polls `condition` every millisecond for at most `limit`; true when it became true.
inline bool waitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

class FakeHostedService final : public korvan::services::servicehost::HostedService {
  public:
    FakeHostedService(int number, std::shared_ptr<EventLog> log)
        : fNumber(number), fLog(std::move(log)) {}

    std::string invoke(const std::string& operation, const std::string& arguments) override {
        if (fShutdowns > 0) throw std::runtime_error("shut down");
        fLog->add("invoke " + std::to_string(fNumber) + " " + operation + " " + arguments);
        return "null";
    }
    void shutdown() override {
        ++fShutdowns;
        fLog->add("shutdown " + std::to_string(fNumber));
    }

    int number() const { return fNumber; }
    int shutdowns() const { return fShutdowns; }

  private:
    const int fNumber;
    const std::shared_ptr<EventLog> fLog;
    std::atomic<int> fShutdowns{0};
};

/// Makes numbered FakeHostedService instances (1, 2, ...) and keeps them for inspection; can
/// be told to fail the next calls.
class FakeFactory {
  public:
    explicit FakeFactory(std::shared_ptr<EventLog> log) : fLog(std::move(log)) {}

    korvan::services::servicehost::HostedServiceFactory factory() {
        return [this]() -> std::shared_ptr<korvan::services::servicehost::HostedService> {
            std::lock_guard lock(fLock);
            if (fFailures > 0) {
                --fFailures;
                throw std::runtime_error("factory failure");
            }
            auto instance =
                std::make_shared<FakeHostedService>(static_cast<int>(fMade.size()) + 1, fLog);
            fMade.push_back(instance);
            return instance;
        };
    }
    void failNext(int calls) {
        std::lock_guard lock(fLock);
        fFailures = calls;
    }
    std::vector<std::shared_ptr<FakeHostedService>> made() const {
        std::lock_guard lock(fLock);
        return fMade;
    }

  private:
    const std::shared_ptr<EventLog> fLog;
    mutable std::mutex fLock;
    std::vector<std::shared_ptr<FakeHostedService>> fMade;
    int fFailures = 0;
};

class FakeConnectorClient final : public rest::kv::connectorclient::RestFcnConnectorClient {
  public:
    FakeConnectorClient(std::string name, std::shared_ptr<EventLog> log)
        : fName(std::move(name)), fLog(std::move(log)) {}

    void notifyVshUpdate() override {
        fLog->add("notify " + fName);
        ++fNotified;
        if (fThrow) throw std::runtime_error("client failure");
    }
    int notified() const { return fNotified; }
    void throwOnNotify(bool on) { fThrow = on; }

    // Not used by the service host.
    std::uint16_t getPort() override { return unused<std::uint16_t>(); }
    void setPort(std::uint16_t) override { unused<void>(); }
    std::u16string getLogLocation() override { return unused<std::u16string>(); }
    void setLogLocation(const std::u16string&) override { unused<void>(); }
    std::string getHostname() override { return unused<std::string>(); }
    void setHostname(const std::string&) override { unused<void>(); }
    std::int32_t getClientAccessMode() override { return unused<std::int32_t>(); }
    void setAccessMode(std::int32_t) override { unused<void>(); }
    std::vector<std::string> getServiceNames() override {
        return unused<std::vector<std::string>>();
    }
    std::string getPersonalAccessToken() override { return unused<std::string>(); }
    std::string getTokenExpirationDate() override { return unused<std::string>(); }
    std::u16string getCertificate() override { return unused<std::u16string>(); }
    std::u16string getCertificateExpirationDate() override { return unused<std::u16string>(); }
    std::string getBaseUrl() override { return unused<std::string>(); }
    std::int32_t getStatus() override { return unused<std::int32_t>(); }
    std::string getPropertiesJson() override { return unused<std::string>(); }
    void restoreSettings(std::int32_t, const std::u16string&, const std::string&,
                         std::int32_t) override {
        unused<void>();
    }
    void refreshServices() override { unused<void>(); }
    void changeToken(std::uint32_t) override { unused<void>(); }
    void changeCertificate(const std::u16string&, const std::u16string&,
                           const std::vector<std::string>&) override {
        unused<void>();
    }
    void startConnector() override { unused<void>(); }
    void stopConnector() override { unused<void>(); }
    void resetConnector() override { unused<void>(); }
    std::u16string getAccessLogLocation() override { return unused<std::u16string>(); }
    void registerVshUpdateCallback(std::function<void()>) override { unused<void>(); }

  private:
    template <class T>
    T unused() {
        throw std::logic_error("the service host called an operation it should not: " + fName);
    }

    const std::string fName;
    const std::shared_ptr<EventLog> fLog;
    std::atomic<int> fNotified{0};
    std::atomic<bool> fThrow{false};
};

/// Records "added N" / "removed N" for the tracked connector services (N: the fake's number),
/// and the thread of the last event. `onEvent`, when set, runs after each record on the
/// reporting thread.
class InvokableRecorder final
    : public cppmicroservices::ServiceTrackerCustomizer<agent::spf::core::Invokable> {
  public:
    InvokableRecorder(cppmicroservices::BundleContext context, std::shared_ptr<EventLog> log)
        : fContext(std::move(context)), fLog(std::move(log)) {}

    std::shared_ptr<agent::spf::core::Invokable> AddingService(
        const cppmicroservices::ServiceReference<agent::spf::core::Invokable>& reference) override {
        std::shared_ptr<agent::spf::core::Invokable> service;
        try {
            service = fContext.GetService(reference);
        } catch (const std::exception&) {
            return nullptr;
        }
        record("added", service);
        return service;
    }
    void ModifiedService(const cppmicroservices::ServiceReference<agent::spf::core::Invokable>&,
                         const std::shared_ptr<agent::spf::core::Invokable>&) override {
        fLog->add("modified");
    }
    void RemovedService(const cppmicroservices::ServiceReference<agent::spf::core::Invokable>&,
                        const std::shared_ptr<agent::spf::core::Invokable>& service) override {
        record("removed", service);
    }

    std::thread::id lastThread() const {
        std::lock_guard lock(fLock);
        return fLastThread;
    }
    std::function<void(const std::string&)> onEvent;  // set before the tracker opens

  private:
    void record(const std::string& what, const std::shared_ptr<agent::spf::core::Invokable>& s) {
        const auto* fake = dynamic_cast<const FakeHostedService*>(s.get());
        fLog->add(what + " " + (fake ? std::to_string(fake->number()) : std::string("?")));
        {
            std::lock_guard lock(fLock);
            fLastThread = std::this_thread::get_id();
        }
        if (onEvent) onEvent(what);
    }

    cppmicroservices::BundleContext fContext;
    const std::shared_ptr<EventLog> fLog;
    mutable std::mutex fLock;
    std::thread::id fLastThread;
};

}  // namespace korvan::test
