// Bundle: a handle on an installed bundle. This framework hosts only its own system bundle
// (id 0, symbolic name "system_bundle", location "System Bundle"); services are registered
// through its context.
//
// Handles are cheap to copy and share one bundle. The framework stays alive while any
// Framework, Bundle or BundleContext handle on it exists; when the last one goes away an active
// framework stops itself and waits for that to finish.
//
// Threads: any thread. Errors: GetBundleContext and GetBundleId throw
// std::invalid_argument("invalid bundle") on a default-constructed handle.
#pragma once

#include <cppmicroservices/GlobalConfig.h>

#include <cstdint>
#include <memory>
#include <string>

namespace cppmicroservices {

class BundleContext;

namespace detail {
class CoreFramework;
}

class US_Framework_EXPORT Bundle {
  public:
    enum State : std::uint32_t {
        STATE_UNINSTALLED = 0x00000001,
        STATE_INSTALLED = 0x00000002,
        STATE_RESOLVED = 0x00000004,
        STATE_STARTING = 0x00000008,
        STATE_STOPPING = 0x00000010,
        STATE_ACTIVE = 0x00000020
    };

    /// An invalid handle.
    Bundle();
    Bundle(Bundle const&);
    Bundle(Bundle&&) noexcept;
    Bundle& operator=(Bundle const&);
    Bundle& operator=(Bundle&&) noexcept;
    Bundle& operator=(std::nullptr_t);
    virtual ~Bundle();

    bool operator==(Bundle const& rhs) const;
    bool operator!=(Bundle const& rhs) const;
    bool operator<(Bundle const& rhs) const;
    explicit operator bool() const;

    State GetState() const;
    /// Valid only between start (or Init) and stop of the bundle.
    BundleContext GetBundleContext() const;
    long GetBundleId() const;
    std::string GetLocation() const;
    std::string GetSymbolicName() const;

    void Start();
    void Start(std::uint32_t options);
    /// Stopping the framework bundle is asynchronous; see Framework::WaitForStop.
    void Stop();
    void Stop(std::uint32_t options);

  protected:
    friend class BundleContext;
    friend class detail::CoreFramework;
    friend class ServiceReferenceBase;

    explicit Bundle(std::shared_ptr<detail::CoreFramework> core);

    std::shared_ptr<detail::CoreFramework> d;
};

}  // namespace cppmicroservices
