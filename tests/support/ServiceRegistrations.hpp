// Registration of the test doubles in the host's real service registry
// (foundation::cppmicroservices::getFramework()'s bundle context), and their withdrawal, as the
// connector client bundle and the service host would do it.
//
// Service events are delivered on the registering / unregistering thread: the module's client
// tracker has taken (or dropped) the client when publish / withdraw return; the connector
// tracker's handlers run later on an executor thread.
//
// Threads: any thread; fMutex guards the registrations.
#pragma once

#include <memory>
#include <mutex>

#include <cppmicroservices/ServiceRegistration.h>

#include "FakeConnectorClient.hpp"
#include "FakeConnectorService.hpp"
#include "FakeUpdateFlipClient.hpp"

namespace korvan::test {

/// The client ID under which the connector service is published.
inline constexpr const char* kConnectorClientId = "restfcnconnectorservice";

class ServiceRegistrations {
  public:
    /// The doubles (created once, kept for the process).
    std::shared_ptr<FakeConnectorClient> client() const { return fClient; }
    std::shared_ptr<FakeUpdateFlipClient> updateFlip() const { return fUpdateFlip; }
    std::shared_ptr<FakeConnectorService> service() const { return fService; }

    /// Registers the connector client double (no-op when registered).
    void publishClient();
    void withdrawClient();
    /// Changes the client registration's properties (a SERVICE_MODIFIED event).
    void modifyClient();
    /// Registers a second, separate client object (for the several-clients cases).
    std::shared_ptr<FakeConnectorClient> publishSecondClient();
    void withdrawSecondClient();
    void publishUpdateFlip();
    void withdrawUpdateFlip();
    /// Registers the connector service double under Invokable with the client-ID and version
    /// properties its trackers select it by.
    void publishService();
    void withdrawService();

    bool isClientPublished() const;
    bool isServicePublished() const;

  private:
    const std::shared_ptr<FakeConnectorClient> fClient = std::make_shared<FakeConnectorClient>();
    const std::shared_ptr<FakeConnectorClient> fSecondClient =
        std::make_shared<FakeConnectorClient>();
    const std::shared_ptr<FakeUpdateFlipClient> fUpdateFlip =
        std::make_shared<FakeUpdateFlipClient>();
    const std::shared_ptr<FakeConnectorService> fService = std::make_shared<FakeConnectorService>();

    mutable std::mutex fMutex;
    // Guarded by fMutex; an invalid registration means "not published".
    cppmicroservices::ServiceRegistrationU fClientRegistration;
    cppmicroservices::ServiceRegistrationU fSecondClientRegistration;
    cppmicroservices::ServiceRegistrationU fUpdateFlipRegistration;
    cppmicroservices::ServiceRegistrationU fServiceRegistration;
};

}  // namespace korvan::test
