// The connector module's chief header: the process-wide connector object (RestConnector) and
// the holder of the connector client (RestConnectorSingleton).
//
// RestConnector mirrors the connector service's state (the property cache), forwards every
// property change and command to the connector client, and follows the connector service's
// disappearance and return (the update flip). There is one per process, owned by a static
// pointer and deleted at library unload; every host object of
// korvan.engine.rest.RESTFunctionConnector is a handle on it.
//
// Threads and the one lock:
//  - user calls (property access, methods) and the work posted by postToInterpreter run on
//    the host interpreter thread;
//  - onAdded / onRemoved run on executor threads of the connector tracker;
//  - the update callback runs on the connector client's own thread and only posts work.
//  fStateLock (reader-writer) guards every data member below it: setters, start and stop
//  take it shared; onAdded and onRemoved take it exclusively for their short run. Posted
//  work is fire-and-forget (its future is dropped). The property cache and appliedSettings
//  are used only on the interpreter thread; fStatus is the one cache field that the tracker
//  handlers also touch, so it is atomic (getters and reset run without the lock).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include <cppmicroservices/ServiceTracker.h>
#include <cppmicroservices/ServiceTrackerCustomizer.h>

#include "agent/spf/core/Invokable.hpp"
#include "agent/spf/cppmsclientutils/ServiceTracker.hpp"
#include "kx/kxArray.hpp"
#include "rest/kv/connectorclient/RestFcnConnectorClient.hpp"
#include "xvm/XVM.hpp"

namespace rest::kv::connector {

using connectorclient::RestFcnConnectorClient;

/// Holder of the current RestFcnConnectorClient, tracked in the service registry. Kept in the
/// host's unique-singleton registry (instance()). The customizer operations run on the thread
/// that delivers the registry's service events; fClient is replaced and emptied there without
/// a lock of the module's own: readers copy the shared pointer (getClient()).
class RestConnectorSingleton
    : public cppmicroservices::ServiceTrackerCustomizer<RestFcnConnectorClient,
                                                        RestFcnConnectorClient> {
  public:
    using Tracker =
        cppmicroservices::ServiceTracker<RestFcnConnectorClient, RestFcnConnectorClient>;

    /// The process-wide holder, created race-free on first use (any thread).
    static RestConnectorSingleton& instance();

    RestConnectorSingleton();
    ~RestConnectorSingleton() override;

    std::shared_ptr<RestFcnConnectorClient> AddingService(
        const cppmicroservices::ServiceReference<RestFcnConnectorClient>& reference) override;
    void ModifiedService(
        const cppmicroservices::ServiceReference<RestFcnConnectorClient>& reference,
        const std::shared_ptr<RestFcnConnectorClient>& service) override;
    void RemovedService(const cppmicroservices::ServiceReference<RestFcnConnectorClient>& reference,
                        const std::shared_ptr<RestFcnConnectorClient>& service) override;

    /// A copy of the current client (empty when none is tracked).
    std::shared_ptr<RestFcnConnectorClient> getClient() const { return std::atomic_load(&fClient); }

  private:
    std::shared_ptr<RestFcnConnectorClient> fClient;  // accessed atomically (see above)
    std::unique_ptr<Tracker> fTracker;                // closed and deleted by the destructor
};

class RestConnector {
    struct CtorTag {};

  public:
    /// The process-wide connector, constructed on first call (interpreter thread). Throws
    /// NoConnectorFound when no connector client is tracked; nothing is stored then.
    static RestConnector* getInstance();

    explicit RestConnector(CtorTag);
    /// Closes the connector tracker first, so that no handler runs while the lock and the
    /// other members are destroyed.
    ~RestConnector();
    RestConnector(const RestConnector&) = delete;
    RestConnector& operator=(const RestConnector&) = delete;

    // ---- property snapshot -------------------------------------------------------------
    /// Refreshes members 1 to 11 from the client's property document (not transactional).
    void getAllProperties();

    // ---- property getters: new host values (the caller owns them), except getAccessMode
    // and getStatus, which return the shared enumeration member --------------------------
    double getPort();
    kxArray* getLogLocation();
    kxArray* getHostname();
    kxArray* getPreferredRestartHour();
    kxArray* getAccessMode();
    kxArray* getServiceNames();
    kxArray* getPersonalAccessToken();
    kxArray* getTokenExpirationDate();
    kxArray* getCertificate();
    kxArray* getCertificateExpirationDate();
    kxArray* getBaseUrl();
    kxArray* getStatus();

    // ---- property setters ----------------------------------------------------------------
    void setPort(double value);
    void setLogLocation(const kxArray* value);
    void setHostname(const kxArray* value);
    void setAccessMode(const kxArray* value);
    void setPreferredRestartHour(const kxArray* value);

    // ---- lifecycle and methods -----------------------------------------------------------
    void startConnector();
    void stopConnector();
    void reset();
    /// Throws CannotModifyConnector when the client reports status 1 (running).
    void ensureNotRunning();
    void changeToken(std::int32_t days);
    void changeCertificate(std::u16string privateKeyPath, std::u16string certificatePath,
                           std::vector<std::string> ipAddresses);

    // ---- service tracking (executor threads) and posted work (interpreter thread) ---------
    void onAdded(const std::shared_ptr<agent::spf::core::Invokable>& service);
    void onRemoved(const std::shared_ptr<agent::spf::core::Invokable>& service);
    /// Hands the connector client the update callback, which posts issueRestartWarning.
    void registerVshUpdateCallback();
    /// Warns that the connector will be restarted at the preferred hour (when it is > 0).
    void issueRestartWarning();

  private:
    /// The update callback given to the connector client (runs on the client's thread).
    void onVshUpdate();
    void startConnectorHelper(bool applyCurrent);
    void refreshStatus();
    void refreshClientAccessMode();

    // Guarded by fStateLock (declaration order and initial values are part of the design).
    std::uint16_t fPort = 9920;
    std::u16string fLogLocation;
    std::string fHostName;
    std::int32_t fClientAccessMode = 0;
    std::vector<std::string> fServiceNames;
    std::string fRestPersonalAccessToken;
    std::string fTokenExpirationDate;
    std::u16string fCertificate;
    std::u16string fCertificateExpirationDate;
    std::string fBaseUrl;
    std::atomic<std::int32_t> fStatus{0};  // 0 notrunning, 1 running
    std::shared_ptr<agent::spf::cppmsclientutils::ServiceTracker<agent::spf::core::Invokable>>
        fConnectorTracker;
    bool fIsVshDown = false;
    // appliedSettings: written only after a successful start, read by the restore path.
    std::int32_t fAppliedPort = 9920;
    std::u16string fAppliedLogLocation;
    std::string fAppliedHostName;
    std::int32_t fAppliedAccessMode = 0;

    std::shared_mutex fStateLock;
    // Constant after construction: the interpreter whose distributor receives posted work.
    std::shared_ptr<xvm::XVM> fInterpreter;
};

}  // namespace rest::kv::connector
