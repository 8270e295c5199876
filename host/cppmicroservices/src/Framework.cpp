// Framework lifecycle: init, start, the asynchronous stop and the wait for it.
#include "CoreFramework.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

CoreFramework::CoreFramework(FrameworkConfiguration configuration)
    : fConfiguration(std::move(configuration)) {}

CoreFramework::~CoreFramework() {
    bool running = false;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        running = fState == Bundle::STATE_STARTING || fState == Bundle::STATE_ACTIVE;
        if (running) {
            fState = Bundle::STATE_STOPPING;
            fStopping = true;
        }
    }
    if (running) shutdown();
    if (fStopThread.joinable()) {
        // The last handle may be dropped by the shutdown thread itself (a listener that held a
        // context); that thread touches nothing after this, so it is let go.
        if (fStopThread.get_id() == std::this_thread::get_id()) {
            fStopThread.detach();
        } else {
            fStopThread.join();
        }
    }
}

Bundle::State CoreFramework::state() const {
    std::lock_guard<std::mutex> lock(fMutex);
    return fState;
}

std::shared_ptr<ContextData> CoreFramework::context() const {
    std::lock_guard<std::mutex> lock(fMutex);
    return fContext;
}

void CoreFramework::init() {
    std::thread finished;
    {
        std::unique_lock<std::mutex> lock(fMutex);
        fStateChanged.wait(lock, [&] { return !fStopping; });
        if (fState == Bundle::STATE_INSTALLED || fState == Bundle::STATE_RESOLVED) {
            fContext = std::make_shared<ContextData>();
            fState = Bundle::STATE_STARTING;
        }
        finished = std::move(fStopThread);
    }
    if (finished.joinable()) finished.join();
}

void CoreFramework::start() {
    init();
    bool started = false;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        if (fState == Bundle::STATE_STARTING) {
            fState = Bundle::STATE_ACTIVE;
            started = true;
        }
    }
    fStateChanged.notify_all();
    if (started) {
        deliverFrameworkEvent(FrameworkEvent(FrameworkEvent::FRAMEWORK_STARTED,
                                             Bundle(shared_from_this()), "Framework Started"));
    }
}

void CoreFramework::stop() {
    std::thread previous;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        if (fStopping || (fState != Bundle::STATE_STARTING && fState != Bundle::STATE_ACTIVE)) {
            return;
        }
        fState = Bundle::STATE_STOPPING;
        fStopping = true;
        previous = std::move(fStopThread);
        fStopThread = std::thread([this] { shutdown(); });
    }
    fStateChanged.notify_all();
    if (previous.joinable()) previous.join();
}

void CoreFramework::shutdown() {
    std::map<long, std::shared_ptr<RegistrationData>> services;
    std::map<std::int64_t, std::shared_ptr<ServiceListenerEntry>> serviceListeners;
    std::map<std::int64_t, std::shared_ptr<FrameworkListenerEntry>> frameworkListeners;
    {
        std::lock_guard<std::mutex> lock(fMutex);
        if (fContext) fContext->fValid = false;
        services.swap(fServices);
        serviceListeners.swap(fServiceListeners);
        frameworkListeners.swap(fFrameworkListeners);
    }
    // Services of the system bundle simply disappear: no UNREGISTERING events.
    for (auto const& entry : services) entry.second->markUnregistered();
    for (auto const& entry : serviceListeners) entry.second->fRemoved = true;
    for (auto const& entry : frameworkListeners) entry.second->fRemoved = true;
    // Listener objects are destroyed here, outside the lock.
    services.clear();
    serviceListeners.clear();
    frameworkListeners.clear();
    {
        std::lock_guard<std::mutex> lock(fMutex);
        fState = Bundle::STATE_RESOLVED;
        fStopping = false;
    }
    fStateChanged.notify_all();
}

FrameworkEvent CoreFramework::waitForStop(std::chrono::milliseconds timeout) {
    std::thread finished;
    {
        std::unique_lock<std::mutex> lock(fMutex);
        auto stopped = [&] {
            return !fStopping && fState != Bundle::STATE_STARTING && fState != Bundle::STATE_ACTIVE;
        };
        if (timeout.count() <= 0) {
            fStateChanged.wait(lock, stopped);
        } else if (!fStateChanged.wait_for(lock, timeout, stopped)) {
            return FrameworkEvent(FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT,
                                  Bundle(shared_from_this()),
                                  "Timed out while waiting for the framework to stop");
        }
        finished = std::move(fStopThread);
    }
    if (finished.joinable()) finished.join();
    return FrameworkEvent(FrameworkEvent::FRAMEWORK_STOPPED, Bundle(shared_from_this()),
                          "Framework Stopped");
}

}  // namespace cppmicroservices::detail

namespace cppmicroservices {

Framework::Framework(Bundle b) : Bundle(std::move(b)) {
    if (GetBundleId() != 0) throw std::logic_error("Not a framework bundle");
}
Framework::Framework(std::shared_ptr<detail::CoreFramework> core) : Bundle(std::move(core)) {}
Framework::Framework(Framework const&) = default;
Framework::Framework(Framework&&) noexcept = default;
Framework& Framework::operator=(Framework const&) = default;
Framework& Framework::operator=(Framework&&) noexcept = default;
Framework::~Framework() = default;

void Framework::Init() {
    if (!d) throw std::invalid_argument("invalid bundle");
    d->init();
}

FrameworkEvent Framework::WaitForStop(std::chrono::milliseconds const& timeout) {
    if (!d) throw std::invalid_argument("invalid bundle");
    return d->waitForStop(timeout);
}

Framework FrameworkFactory::NewFramework(FrameworkConfiguration const& configuration,
                                         std::ostream* /*logger*/) {
    return Framework(std::make_shared<detail::CoreFramework>(configuration));
}

Framework FrameworkFactory::NewFramework() {
    return NewFramework(FrameworkConfiguration());
}

}  // namespace cppmicroservices
