// The inside of one framework instance: its lifecycle, its service registry and its listeners.
//
// Ownership: Framework, Bundle and BundleContext handles share the CoreFramework; registrations
// and references only point back to it weakly, so the framework goes away with its last handle
// (stopping itself first when active). Each start makes a new ContextData; stopping marks it
// invalid, and with it every BundleContext handed out during that start.
//
// Threads: every member function may be called from any thread. fMutex guards the lifecycle
// state, the registry and the listener tables; a RegistrationData's own mutex guards its
// properties and state. Lock order: fMutex before a registration's mutex. No lock is held while
// a listener runs: events are delivered from a snapshot of the listener table, on the thread
// that caused them.
#pragma once

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ListenerFunctors.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceProperties.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace cppmicroservices::detail {

class CoreFramework;

extern char const* const kInvalidContext;  // "The bundle context is no longer valid"

/// "ns::IFoo" for "::ns::IFoo"; the registry never keeps a leading "::".
std::string stripGlobalScope(std::string const& name);

/// The properties of a registration with case-insensitive keys; throws std::runtime_error
/// ("Properties contain case variants of the key: K") for keys that differ only in case.
AnyMap buildProperties(ServiceProperties const& properties);

/// One service registration.
class RegistrationData {
  public:
    enum class State { Registered, Unregistering, Unregistered };

    RegistrationData(long id, InterfaceMapConstPtr service, AnyMap properties,
                     std::weak_ptr<CoreFramework> core);

    long const fId;                            // constant
    InterfaceMapConstPtr const fService;       // constant; keys without leading "::"
    std::weak_ptr<CoreFramework> const fCore;  // constant

    AnyMap properties() const;
    Any property(std::string const& key) const;
    int ranking() const;
    State state() const;
    bool hasInterface(std::string const& interfaceId) const;

    /// Registered -> Unregistering; false (and no change) when not registered. Throws
    /// std::logic_error("Service is unregistered") when already unregistered.
    bool beginUnregister();
    void markUnregistered();
    /// Replaces the properties (keeping the framework's own keys); returns the old ones.
    /// Throws std::logic_error("Service is unregistered") unless registered.
    AnyMap replaceProperties(AnyMap properties);

  private:
    mutable std::mutex fMutex;
    AnyMap fProperties;  // guarded by fMutex
    State fState;        // guarded by fMutex
};

/// The validity of the contexts handed out during one start of the framework.
class ContextData {
  public:
    std::atomic<bool> fValid{true};
};

class CoreFramework : public std::enable_shared_from_this<CoreFramework> {
  public:
    explicit CoreFramework(FrameworkConfiguration configuration);
    ~CoreFramework();

    CoreFramework(CoreFramework const&) = delete;
    CoreFramework& operator=(CoreFramework const&) = delete;

    // Lifecycle (Framework.cpp).
    Bundle::State state() const;
    /// The context of the current start, or null before Init.
    std::shared_ptr<ContextData> context() const;
    void init();
    void start();
    void stop();
    FrameworkEvent waitForStop(std::chrono::milliseconds timeout);

    // Registry (ServiceRegistry.cpp).
    std::shared_ptr<RegistrationData> registerService(InterfaceMapConstPtr const& service,
                                                      ServiceProperties const& properties);
    void unregisterService(std::shared_ptr<RegistrationData> const& registration);
    void propertiesChanged(std::shared_ptr<RegistrationData> const& registration,
                           AnyMap const& oldProperties, AnyMap const& newProperties);
    std::vector<ServiceReferenceU> findServices(std::string const& clazz,
                                                std::string const& filter);

    // Listeners (Listeners.cpp).
    std::int64_t addServiceListener(ServiceListener const& listener, std::string const& filter);
    std::int64_t addFrameworkListener(FrameworkListener const& listener);
    void removeListener(std::int64_t id);

    FrameworkConfiguration const fConfiguration;  // constant

  private:
    struct ServiceListenerEntry {
        ServiceListener fListener;
        LDAPFilter fFilter;  // false = every service
        std::atomic<bool> fRemoved{false};
    };
    struct FrameworkListenerEntry {
        FrameworkListener fListener;
        std::atomic<bool> fRemoved{false};
    };
    using ServiceListeners = std::vector<std::shared_ptr<ServiceListenerEntry>>;

    bool contextValidLocked() const;
    ServiceListeners serviceListenersLocked() const;
    void deliver(ServiceEvent const& event, ServiceListeners const& listeners,
                 AnyMap const& properties, AnyMap const* oldProperties);
    void deliverFrameworkEvent(FrameworkEvent const& event);
    void shutdown();

    mutable std::mutex fMutex;
    std::condition_variable fStateChanged;           // fState or fStopping changed
    Bundle::State fState = Bundle::STATE_INSTALLED;  // guarded by fMutex
    bool fStopping = false;                          // guarded; a shutdown is under way
    std::shared_ptr<ContextData> fContext;           // guarded by fMutex
    std::thread fStopThread;                         // guarded by fMutex
    std::map<long, std::shared_ptr<RegistrationData>> fServices;  // guarded; by id
    std::map<std::int64_t, std::shared_ptr<ServiceListenerEntry>> fServiceListeners;      // guarded
    std::map<std::int64_t, std::shared_ptr<FrameworkListenerEntry>> fFrameworkListeners;  // guarded
};

}  // namespace cppmicroservices::detail
