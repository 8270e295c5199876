// ServiceEvent: what happened to a service (registered, modified, unregistering, or modified so
// that a listener's filter no longer matches). Delivered synchronously to service listeners on
// the thread that caused it.
#pragma once

#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/ServiceReference.h>

#include <cstdint>
#include <ostream>

namespace cppmicroservices {

class US_Framework_EXPORT ServiceEvent {
  public:
    enum Type : std::uint32_t {
        SERVICE_REGISTERED = 0x00000001,
        SERVICE_MODIFIED = 0x00000002,
        SERVICE_UNREGISTERING = 0x00000004,
        SERVICE_MODIFIED_ENDMATCH = 0x00000008
    };

    /// An invalid (false) event.
    ServiceEvent();
    ServiceEvent(Type type, ServiceReferenceBase const& reference);
    ServiceEvent(ServiceEvent const& other);
    ServiceEvent& operator=(ServiceEvent const& other);
    ~ServiceEvent();

    explicit operator bool() const;

    ServiceReferenceU GetServiceReference() const;
    template <class S>
    ServiceReference<S> GetServiceReference() const {
        return ServiceReference<S>(GetServiceReference());
    }

    Type GetType() const;

  private:
    bool fValid;
    Type fType;
    ServiceReferenceU fReference;
};

/// "REGISTERED", "MODIFIED", "MODIFIED_ENDMATCH" or "UNREGISTERING".
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, ServiceEvent::Type const& type);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, ServiceEvent const& event);

}  // namespace cppmicroservices
