// The connector client bundle: RestFcnConnectorClient over the hosted connector service.
//
// ConnectorClient forwards each operation to the Invokable published with the client ID
// "restfcnconnectorservice" (see rest/kv/connectorservice/Operations.hpp), which it tracks in
// the service registry; while none is registered (during an update flip) every forwarded
// operation throws std::runtime_error saying that the connector service is not available.
// The update callbacks given to registerVshUpdateCallback are the client's own: notifyVshUpdate
// calls each of them on the client's callback thread, in registration order, and returns at
// once. Callbacks belong to the service instance they were registered for: when that instance
// goes away they are dropped (the module registers again when the service comes back).
//
// ConnectorClientBundle is the bundle's start and stop: it creates the client, opens its
// tracker and registers the client under RestFcnConnectorClient; its destructor undoes that.
//
// Threads: every operation from any thread; fLock guards the current service and the
// callbacks; forwarded calls run without the lock on the caller's thread.
#pragma once

#include <memory>

#include <chrono>

#include <cppmicroservices/BundleContext.h>

#include "korvan/services/client/Export.hpp"
#include "rest/kv/connectorclient/RestFcnConnectorClient.hpp"

namespace korvan::services::client {

class ConnectorClient;

class KORVAN_CONNECTOR_CLIENT_EXPORT ConnectorClientBundle {
  public:
    /// `startWait`: how long a start waits for a connector service that is away (an update).
    explicit ConnectorClientBundle(cppmicroservices::BundleContext context,
                                   std::chrono::milliseconds startWait = std::chrono::seconds(10));
    ~ConnectorClientBundle();
    ConnectorClientBundle(const ConnectorClientBundle&) = delete;
    ConnectorClientBundle& operator=(const ConnectorClientBundle&) = delete;

    std::shared_ptr<rest::kv::connectorclient::RestFcnConnectorClient> client() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> fImpl;
};

}  // namespace korvan::services::client
