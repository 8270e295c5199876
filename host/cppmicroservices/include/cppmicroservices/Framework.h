// Framework: the system bundle of a framework instance, as created by FrameworkFactory.
//
// Lifecycle: installed -> Init() (context valid, starting) -> Start() (active) -> Stop()
// (asynchronous: shutdown runs on a thread of its own) -> WaitForStop() joins it. Stopping
// clears the registry without UNREGISTERING events and invalidates the bundle context.
// Threads: any thread.
#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/GlobalConfig.h>

#include <chrono>

namespace cppmicroservices {

class FrameworkEvent;  // include <cppmicroservices/FrameworkEvent.h> to call WaitForStop
class FrameworkFactory;

class US_Framework_EXPORT Framework : public Bundle {
  public:
    /// Throws std::logic_error("Not a framework bundle") unless b is a system bundle.
    explicit Framework(Bundle b);
    Framework(Framework const& fw);
    Framework(Framework&& fw) noexcept;
    Framework& operator=(Framework const& fw);
    Framework& operator=(Framework&& fw) noexcept;
    ~Framework() override;

    /// Makes the bundle context valid without starting; a no-op when already initialised.
    void Init();

    /// Waits until the framework has stopped completely (0 = without limit). Returns an event
    /// of type FRAMEWORK_STOPPED, or FRAMEWORK_WAIT_TIMEDOUT when the time ran out.
    FrameworkEvent WaitForStop(std::chrono::milliseconds const& timeout);

  private:
    friend class FrameworkFactory;
    explicit Framework(std::shared_ptr<detail::CoreFramework> core);
};

}  // namespace cppmicroservices
