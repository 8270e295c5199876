// The service host: hosts the REST function connector service and performs update flips.
//
// It publishes, in the service registry of `fContext`:
//   - the hosted connector as an agent::spf::core::Invokable with the client ID
//     "restfcnconnectorservice" (TrackedServiceInfo properties, version 1.0);
//   - itself as korvanconnector::vshupdateflip::IVshupdateflipClient, whose preferred restart
//     hour (0..23, or none) is kept in the settings store. A value outside 0..23, or one that
//     cannot be stored, is refused (false) and nothing changes.
//
// An update flip replaces the hosted instance with a fresh one:
//   down: every registered RestFcnConnectorClient is told that an update is coming
//         (notifyVshUpdate; the client calls its update callbacks), the Invokable is
//         unregistered, and the old instance is shut down (its HTTPS server stops);
//   up:   a fresh instance from the factory is registered under the same properties.
// flip() does both; flipDown() and flipUp() do one half each, so that a person or a test can
// act in between. scheduleUpdate() announces an update and performs the flip at the next
// occurrence of the preferred restart hour (at once when no hour is set).
//
// The update-flip service object that the registry hands out is a small object of its own
// that shares the settings store, so a client holding it after the host is gone still reads
// and writes the stored hour safely; the IVshupdateflipClient operations of the host forward
// to it.
//
// Owns: the current instance and its registrations, the schedule thread.
// Threads: any thread may call. A flip lock serialises start, stop and flips; it is held while
// the clients are told, while the registry delivers the unregister and register events and
// while the old instance shuts down, so handlers that call back into the service host may read
// its state (isUp, current, flipCount) but must not flip (a flip from inside a flip on the same
// thread throws std::logic_error). The state (instance, registrations, counter) is guarded by
// a separate state lock that is never held while calling out. The schedule runs on a thread of
// its own, which the destructor stops; it re-reads the clock at least every fPollInterval.
// Errors: flip(), flipDown(), flipUp() and scheduleUpdate() throw std::logic_error while the
// host is not started; flipUp() throws what the factory or the registry throws (the host stays
// down). A client or an instance that throws while being told or shut down is logged and
// skipped.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "korvan/services/servicehost/Export.hpp"
#include "korvan/services/servicehost/HostedService.hpp"
#include "korvan/services/settings/SettingsStore.hpp"
#include "korvanconnector/vshupdateflip/IVshupdateflipClient.hpp"

namespace korvan::services::servicehost {

struct ServiceHostOptions {
    cppmicroservices::BundleContext fContext;
    std::shared_ptr<settings::SettingsStore> fSettings;
    HostedServiceFactory fFactory;
    /// The wall clock the schedule follows (local time of day); tests give their own.
    std::function<std::chrono::system_clock::time_point()> fNow = [] {
        return std::chrono::system_clock::now();
    };
    /// Longest time the schedule thread sleeps before it reads fNow again, so that a changed
    /// wall clock (suspend, manual change, a test's clock) is noticed.
    std::chrono::milliseconds fPollInterval{30000};
};

class KORVAN_SERVICEHOST_EXPORT ServiceHost final
    : public korvanconnector::vshupdateflip::IVshupdateflipClient,
      public std::enable_shared_from_this<ServiceHost> {
  public:
    /// Builds the host; start() publishes.
    explicit ServiceHost(ServiceHostOptions options);
    /// Stops the schedule, unregisters both services and shuts the instance down.
    ~ServiceHost() override;

    /// Registers the update-flip service and a first instance of the hosted service.
    void start();
    /// Unregisters both and shuts the instance down; start() may follow.
    void stop();

    void flip();
    void flipDown();
    /// Registers a fresh instance; does nothing when one is registered.
    void flipUp();
    /// True while an instance is registered.
    bool isUp() const;
    /// Flips performed (each completed "up" after a "down").
    std::uint64_t flipCount() const;
    /// The registered instance, or null while down.
    std::shared_ptr<HostedService> current() const;

    /// Tells the connector clients that an update is coming (their callbacks run) without
    /// flipping.
    void notifyUpdate();
    /// notifyUpdate(), then a flip at the next preferred restart hour (at once without one),
    /// performed on the schedule thread. While a flip is pending a further call does nothing:
    /// the earlier time stands and the clients are not told twice. stop() cancels it.
    void scheduleUpdate();
    /// When the scheduled flip will happen, if one is pending.
    std::optional<std::chrono::system_clock::time_point> scheduledFlip() const;

    // IVshupdateflipClient
    std::int32_t getPreferredRestartHour() override;
    bool setPreferredRestartHour(std::int32_t hour) override;
    bool clearPreferredRestartHour() override;

  private:
    struct Impl;
    std::unique_ptr<Impl> fImpl;
};

}  // namespace korvan::services::servicehost
