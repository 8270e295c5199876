// ConnectorClient: RestFcnConnectorClient as a thin forwarder to the hosted connector service.
//
// Every connector operation becomes one Invokable::invoke on the best tracked service with the
// client ID "restfcnconnectorservice" (version 1.0): the operation's name, its arguments as a
// JSON object and its JSON result (rest/kv/connectorservice/Operations.hpp). Text crosses as
// UTF-8; UTF-16 arguments and results are converted with fl::i18n.
//
// Ownership: the connector client bundle creates the client, opens and closes its tracker and
// publishes it; the registry and the module may hold further references. The client owns its
// tracker and its callback thread.
//
// Threads: operations from any thread. The tracker reports services on the thread that
// registers or unregisters them. fLock guards fServices and fCallbacks; a forwarded call takes
// a reference to the service under the lock and runs without it on the caller's thread.
// The registry tells its listeners one after the other, so another listener of the same
// registration (the module's own tracker, whose handler may post a restart at once) can act
// before this client's tracker has heard of the new service: with nothing tracked, a call
// looks the service up in the registry itself instead of failing.
// Update callbacks run on fCallbackThread.
//
// While the service is away (an update flip), the client answers from what the last service
// said (ServiceAway): property reads as last persisted, Status notrunning, setters kept for the
// next service, and startConnector waits up to fStartWait for a service to come back.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceTracker.h>
#include <boost/json/object.hpp>

#include "CallbackThread.hpp"
#include "ServiceAway.hpp"
#include "agent/spf/core/Invokable.hpp"
#include "rest/kv/connectorclient/RestFcnConnectorClient.hpp"

namespace korvan::services::client {

class ConnectorClient final
    : public rest::kv::connectorclient::RestFcnConnectorClient,
      private cppmicroservices::ServiceTrackerCustomizer<agent::spf::core::Invokable> {
  public:
    using Invokable = agent::spf::core::Invokable;

    /// How long startConnector waits for a service that is away to come back.
    static constexpr std::chrono::milliseconds kStartWait{10000};

    explicit ConnectorClient(cppmicroservices::BundleContext context,
                             std::chrono::milliseconds startWait = kStartWait);
    ~ConnectorClient() override;
    ConnectorClient(const ConnectorClient&) = delete;
    ConnectorClient& operator=(const ConnectorClient&) = delete;

    /// Starts tracking the connector service (a service already registered is found here).
    void open();
    /// Stops tracking: the client then has no service and no callbacks.
    void close();

    std::uint16_t getPort() override;
    void setPort(std::uint16_t port) override;
    std::u16string getLogLocation() override;
    void setLogLocation(const std::u16string& logLocation) override;
    std::string getHostname() override;
    void setHostname(const std::string& hostName) override;
    std::int32_t getClientAccessMode() override;
    void setAccessMode(std::int32_t accessMode) override;
    std::vector<std::string> getServiceNames() override;
    std::string getPersonalAccessToken() override;
    std::string getTokenExpirationDate() override;
    std::u16string getCertificate() override;
    std::u16string getCertificateExpirationDate() override;
    std::string getBaseUrl() override;
    std::int32_t getStatus() override;
    std::string getPropertiesJson() override;
    void restoreSettings(std::int32_t port, const std::u16string& logLocation,
                         const std::string& hostName, std::int32_t accessMode) override;
    void refreshServices() override;
    void changeToken(std::uint32_t days) override;
    void changeCertificate(const std::u16string& privateKeyPath,
                           const std::u16string& certificatePath,
                           const std::vector<std::string>& ipAddresses) override;
    void startConnector() override;
    void stopConnector() override;
    void resetConnector() override;
    void notifyVshUpdate() override;
    std::u16string getAccessLogLocation() override;
    void registerVshUpdateCallback(std::function<void()> callback) override;

  private:
    using Reference = cppmicroservices::ServiceReference<Invokable>;
    using Tracker = cppmicroservices::ServiceTracker<Invokable>;

    std::shared_ptr<Invokable> AddingService(const Reference& reference) override;
    void ModifiedService(const Reference& reference,
                         const std::shared_ptr<Invokable>& service) override;
    void RemovedService(const Reference& reference,
                        const std::shared_ptr<Invokable>& service) override;

    /// The best tracked service, else the best one registered (not yet reported to the
    /// tracker); null when there is none.
    std::shared_ptr<Invokable> findService() const;
    /// The best registered connector service, asked of the registry directly; null if none.
    std::shared_ptr<Invokable> lookUpRegistered() const;
    /// Forwards one operation and returns the service's JSON result; while the service is
    /// away, answers or keeps it (ServiceAway), else KORVAN:connectorClient:ServiceUnavailable.
    std::string call(std::string_view operation,
                     const boost::json::object& arguments = boost::json::object()) const;
    std::string callWhileAway(std::string_view operation,
                              const boost::json::object& arguments) const;

    cppmicroservices::BundleContext fContext;  // constant after construction
    std::string fFilter;                       // constant: the LDAP filter of the service
    std::unique_ptr<Tracker> fTracker;         // constant after construction
    std::atomic<bool> fOpen{false};            // between open() and close()

    mutable std::mutex fLock;
    std::vector<std::pair<Reference, std::shared_ptr<Invokable>>> fServices;  // guarded by fLock
    std::vector<std::function<void()>> fCallbacks;                            // guarded by fLock
    mutable detail::ServiceAway fAway;                                        // guarded by fLock
    const std::chrono::milliseconds fStartWait;

    CallbackThread fCallbackThread;  // last member: stopped first
};

}  // namespace korvan::services::client
