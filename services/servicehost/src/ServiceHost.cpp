// The service host: publishes the hosted connector and the update-flip service, performs update
// flips and runs the update schedule (see ServiceHost.hpp).
#include "korvan/services/servicehost/ServiceHost.hpp"

#include <atomic>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/ServiceReference.h>

#include "ServiceHostRestartHour.hpp"
#include "ServiceHostSchedule.hpp"
#include "agent/spf/cppmsclientutils/TrackedServiceInfo.hpp"
#include "foundation/log/Log.hpp"
#include "korvan/services/servicehost/RestartTime.hpp"
#include "rest/kv/connectorclient/RestFcnConnectorClient.hpp"
#include "rest/kv/connectorservice/Operations.hpp"

namespace korvan::services::servicehost {

namespace {

const foundation::log::Channel kLog{"korvan::servicehost"};

using agent::spf::core::Invokable;
using korvanconnector::vshupdateflip::IVshupdateflipClient;
using rest::kv::connectorclient::RestFcnConnectorClient;

cppmicroservices::ServiceProperties connectorProperties() {
    namespace service = rest::kv::connectorservice;
    return agent::spf::cppmsclientutils::TrackedServiceInfo(
               std::string(service::kClientId), service::kMajorVersion, service::kMinorVersion)
        .getServiceProperties();
}

/// Unregisters, tolerating a registration that is already gone (the framework stopped, or
/// another thread unregistered it).
void unregister(cppmicroservices::ServiceRegistrationBase& registration, const char* what) {
    try {
        registration.Unregister();
    } catch (const std::exception& e) {
        FOUNDATION_LOG(kLog, "Unregistering the " << what << " failed: " << e.what());
    }
}

}  // namespace

struct ServiceHost::Impl {
    explicit Impl(ServiceHostOptions options);

    void start();
    void stop();
    void flip();
    void flipDown();
    void flipUp();
    void notifyUpdate();
    void scheduleUpdate();

  private:
    /// Holds fFlipLock and records the holding thread, so that a flip requested by a registry
    /// handler on the flipping thread fails instead of deadlocking.
    class FlipGuard {
      public:
        explicit FlipGuard(Impl& impl);
        ~FlipGuard();
        FlipGuard(const FlipGuard&) = delete;
        FlipGuard& operator=(const FlipGuard&) = delete;

      private:
        Impl& fImpl;
    };

    // The halves of a flip; the caller holds fFlipLock.
    bool down(bool tellClients);  // false when already down
    bool up();                    // false when already up
    void completeFlip();          // up(), counting the flip when a "down" preceded it
    void requireStarted() const;

  public:
    // Constant after construction.
    cppmicroservices::BundleContext fContext;  // set once; its methods are thread-safe
    const HostedServiceFactory fFactory;
    const std::function<std::chrono::system_clock::time_point()> fNow;
    const std::shared_ptr<detail::RestartHourService> fRestartHour;
    const cppmicroservices::ServiceProperties fProperties;

    std::mutex fFlipLock;                        // serialises start, stop and the flips
    std::atomic<std::thread::id> fFlipThread{};  // the thread holding fFlipLock, if any

    mutable std::mutex fStateLock;            // never held while calling out
    bool fStarted = false;                    // guarded by fStateLock
    std::shared_ptr<HostedService> fCurrent;  // guarded by fStateLock
    cppmicroservices::ServiceRegistration<Invokable> fConnectorRegistration;        // fStateLock
    cppmicroservices::ServiceRegistration<IVshupdateflipClient> fFlipRegistration;  // fStateLock
    bool fDownForFlip = false;     // guarded by fStateLock: a "down" awaits its "up"
    std::uint64_t fFlipCount = 0;  // guarded by fStateLock

    std::mutex fScheduleCallLock;  // serialises scheduleUpdate calls
    // Declared last, so destroyed first: its thread calls flip() on this object.
    detail::UpdateSchedule fSchedule;
};

ServiceHost::Impl::FlipGuard::FlipGuard(Impl& impl) : fImpl(impl) {
    if (fImpl.fFlipThread.load() == std::this_thread::get_id())
        throw std::logic_error(
            "The service host cannot flip from inside a flip (a registry event handler "
            "asked for one).");
    fImpl.fFlipLock.lock();
    fImpl.fFlipThread.store(std::this_thread::get_id());
}

ServiceHost::Impl::FlipGuard::~FlipGuard() {
    fImpl.fFlipThread.store(std::thread::id());
    fImpl.fFlipLock.unlock();
}

ServiceHost::Impl::Impl(ServiceHostOptions options)
    : fContext(std::move(options.fContext)),
      fFactory(std::move(options.fFactory)),
      fNow(options.fNow ? std::move(options.fNow)
                        : [] { return std::chrono::system_clock::now(); }),
      fRestartHour(std::make_shared<detail::RestartHourService>(std::move(options.fSettings))),
      fProperties(connectorProperties()),
      fSchedule(fNow, options.fPollInterval, [this] { flip(); }) {
    if (!fContext) throw std::invalid_argument("The service host needs a valid bundle context.");
    if (!fFactory) throw std::invalid_argument("The service host needs a factory.");
}

void ServiceHost::Impl::requireStarted() const {
    std::lock_guard lock(fStateLock);
    if (!fStarted) throw std::logic_error("The service host is not started.");
}

void ServiceHost::Impl::start() {
    FlipGuard guard(*this);
    {
        std::lock_guard lock(fStateLock);
        if (fStarted) return;
    }
    auto registration = fContext.RegisterService<IVshupdateflipClient>(fRestartHour);
    {
        std::lock_guard lock(fStateLock);
        fFlipRegistration = registration;
        fStarted = true;
        fDownForFlip = false;
    }
    try {
        up();
    } catch (...) {
        {
            std::lock_guard lock(fStateLock);
            fStarted = false;
            fFlipRegistration = nullptr;
        }
        unregister(registration, "update-flip service");
        throw;
    }
    FOUNDATION_LOG(kLog, "Service host started");
}

void ServiceHost::Impl::stop() {
    fSchedule.cancel();
    FlipGuard guard(*this);
    cppmicroservices::ServiceRegistration<IVshupdateflipClient> registration;
    {
        std::lock_guard lock(fStateLock);
        if (!fStarted) return;
    }
    down(false);
    {
        std::lock_guard lock(fStateLock);
        registration = fFlipRegistration;
        fFlipRegistration = nullptr;
        fStarted = false;
        fDownForFlip = false;
    }
    if (registration) unregister(registration, "update-flip service");
    fSchedule.cancel();  // one planned while this stop waited for the flip lock
    FOUNDATION_LOG(kLog, "Service host stopped");
}

bool ServiceHost::Impl::down(bool tellClients) {
    std::shared_ptr<HostedService> instance;
    cppmicroservices::ServiceRegistration<Invokable> registration;
    {
        std::lock_guard lock(fStateLock);
        if (!fCurrent) return false;
    }
    if (tellClients) notifyUpdate();
    {
        std::lock_guard lock(fStateLock);
        instance = std::move(fCurrent);
        fCurrent = nullptr;
        registration = fConnectorRegistration;
        fConnectorRegistration = nullptr;
    }
    // Trackers of the connector service see the removal now, on this thread.
    if (registration) unregister(registration, "connector service");
    try {
        instance->shutdown();
    } catch (const std::exception& e) {
        FOUNDATION_LOG_AT(kLog, foundation::log::Level::Warning,
                          "Shutting down the old connector service failed: " << e.what());
    }
    FOUNDATION_LOG(kLog, "Connector service down");
    return true;
}

bool ServiceHost::Impl::up() {
    {
        std::lock_guard lock(fStateLock);
        if (fCurrent) return false;
    }
    std::shared_ptr<HostedService> instance = fFactory();
    if (!instance)
        throw std::runtime_error("The service host's factory made no connector service.");
    {
        std::lock_guard lock(fStateLock);
        fCurrent = instance;
    }
    cppmicroservices::ServiceRegistration<Invokable> registration;
    try {
        registration = fContext.RegisterService<Invokable>(instance, fProperties);
    } catch (...) {
        {
            std::lock_guard lock(fStateLock);
            fCurrent = nullptr;
        }
        try {
            instance->shutdown();
        } catch (const std::exception& e) {
            FOUNDATION_LOG(kLog, "Shutting down an unpublished instance failed: " << e.what());
        }
        throw;
    }
    {
        std::lock_guard lock(fStateLock);
        fConnectorRegistration = registration;
    }
    FOUNDATION_LOG(kLog, "Connector service up");
    return true;
}

void ServiceHost::Impl::flip() {
    FlipGuard guard(*this);
    requireStarted();
    FOUNDATION_LOG(kLog, "Update flip");
    if (down(true)) {
        std::lock_guard lock(fStateLock);
        fDownForFlip = true;
    }
    completeFlip();
}

void ServiceHost::Impl::flipDown() {
    FlipGuard guard(*this);
    requireStarted();
    if (down(true)) {
        std::lock_guard lock(fStateLock);
        fDownForFlip = true;
    }
}

void ServiceHost::Impl::flipUp() {
    FlipGuard guard(*this);
    completeFlip();
}

void ServiceHost::Impl::completeFlip() {
    requireStarted();
    if (!up()) return;
    std::lock_guard lock(fStateLock);
    if (fDownForFlip) {
        fDownForFlip = false;
        ++fFlipCount;
    }
}

void ServiceHost::Impl::notifyUpdate() {
    std::vector<cppmicroservices::ServiceReference<RestFcnConnectorClient>> references;
    try {
        references = fContext.GetServiceReferences<RestFcnConnectorClient>();
    } catch (const std::exception& e) {
        FOUNDATION_LOG_AT(kLog, foundation::log::Level::Warning,
                          "The connector clients cannot be listed: " << e.what());
        return;
    }
    FOUNDATION_LOG(kLog, "Telling " << references.size() << " connector client(s) of an update");
    for (const auto& reference : references) {
        try {
            if (auto client = fContext.GetService(reference)) client->notifyVshUpdate();
        } catch (const std::exception& e) {
            // A client that went away meanwhile, or one that fails, does not stop the others.
            FOUNDATION_LOG_AT(kLog, foundation::log::Level::Warning,
                              "A connector client was not told of the update: " << e.what());
        }
    }
}

void ServiceHost::Impl::scheduleUpdate() {
    std::lock_guard call(fScheduleCallLock);
    requireStarted();
    if (fSchedule.due()) {
        FOUNDATION_LOG(kLog, "An update flip is already scheduled; the earlier time stands");
        return;
    }
    notifyUpdate();
    const std::int32_t hour = fRestartHour->getPreferredRestartHour();
    const auto now = fNow();
    const auto due = hour < 0 ? now : nextRestartTime(now, hour);
    fSchedule.plan(due);
    FOUNDATION_LOG(kLog, "Update flip scheduled for hour "
                             << hour << " (in "
                             << std::chrono::duration_cast<std::chrono::seconds>(due - now).count()
                             << " s)");
}

ServiceHost::ServiceHost(ServiceHostOptions options)
    : fImpl(std::make_unique<Impl>(std::move(options))) {}

ServiceHost::~ServiceHost() {
    fImpl->fSchedule.stop();
    try {
        fImpl->stop();
    } catch (const std::exception& e) {
        FOUNDATION_LOG_AT(kLog, foundation::log::Level::Error,
                          "Stopping the service host failed: " << e.what());
    }
}

void ServiceHost::start() {
    fImpl->start();
}
void ServiceHost::stop() {
    fImpl->stop();
}
void ServiceHost::flip() {
    fImpl->flip();
}
void ServiceHost::flipDown() {
    fImpl->flipDown();
}

void ServiceHost::flipUp() {
    fImpl->flipUp();
}

bool ServiceHost::isUp() const {
    std::lock_guard lock(fImpl->fStateLock);
    return fImpl->fCurrent != nullptr;
}

std::uint64_t ServiceHost::flipCount() const {
    std::lock_guard lock(fImpl->fStateLock);
    return fImpl->fFlipCount;
}

std::shared_ptr<HostedService> ServiceHost::current() const {
    std::lock_guard lock(fImpl->fStateLock);
    return fImpl->fCurrent;
}

void ServiceHost::notifyUpdate() {
    fImpl->notifyUpdate();
}
void ServiceHost::scheduleUpdate() {
    fImpl->scheduleUpdate();
}

std::optional<std::chrono::system_clock::time_point> ServiceHost::scheduledFlip() const {
    return fImpl->fSchedule.due();
}

std::int32_t ServiceHost::getPreferredRestartHour() {
    return fImpl->fRestartHour->getPreferredRestartHour();
}

bool ServiceHost::setPreferredRestartHour(std::int32_t hour) {
    return fImpl->fRestartHour->setPreferredRestartHour(hour);
}

bool ServiceHost::clearPreferredRestartHour() {
    return fImpl->fRestartHour->clearPreferredRestartHour();
}

}  // namespace korvan::services::servicehost
