// FrameworkEvent: a general event of the framework (started, stopped, an error such as a
// service listener that threw, a timed-out wait).
#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/GlobalConfig.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <ostream>
#include <string>

namespace cppmicroservices {

class US_Framework_EXPORT FrameworkEvent {
  public:
    enum Type : std::uint32_t {
        FRAMEWORK_STARTED = 0x00000001,
        FRAMEWORK_ERROR = 0x00000002,
        FRAMEWORK_WARNING = 0x00000010,
        FRAMEWORK_INFO = 0x00000020,
        FRAMEWORK_STOPPED = 0x00000040,
        FRAMEWORK_STOPPED_UPDATE = 0x00000080,
        FRAMEWORK_WAIT_TIMEDOUT = 0x00000200
    };

    /// An invalid (false) event.
    FrameworkEvent();
    FrameworkEvent(Type evtType, Bundle const& bundle, std::string const& message,
                   std::exception_ptr exception = nullptr);

    explicit operator bool() const;

    Bundle GetBundle() const;
    std::string GetMessage() const;
    std::exception_ptr GetThrowable() const;
    Type GetType() const;

  private:
    struct Data;
    std::shared_ptr<Data const> d;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, FrameworkEvent::Type eventType);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, FrameworkEvent const& evt);

}  // namespace cppmicroservices
