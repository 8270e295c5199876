// Event, token and exception classes of the framework.
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/ListenerToken.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/detail/IllegalStateException.h>

#include <utility>

namespace cppmicroservices {

// ServiceEvent

ServiceEvent::ServiceEvent() : fValid(false), fType(SERVICE_REGISTERED) {}
ServiceEvent::ServiceEvent(Type type, ServiceReferenceBase const& reference)
    : fValid(true), fType(type), fReference(reference) {}
ServiceEvent::ServiceEvent(ServiceEvent const&) = default;
ServiceEvent& ServiceEvent::operator=(ServiceEvent const&) = default;
ServiceEvent::~ServiceEvent() = default;

ServiceEvent::operator bool() const {
    return fValid;
}
ServiceReferenceU ServiceEvent::GetServiceReference() const {
    return fReference;
}
ServiceEvent::Type ServiceEvent::GetType() const {
    return fType;
}

std::ostream& operator<<(std::ostream& os, ServiceEvent::Type const& type) {
    switch (type) {
        case ServiceEvent::SERVICE_REGISTERED:
            return os << "REGISTERED";
        case ServiceEvent::SERVICE_MODIFIED:
            return os << "MODIFIED";
        case ServiceEvent::SERVICE_UNREGISTERING:
            return os << "UNREGISTERING";
        case ServiceEvent::SERVICE_MODIFIED_ENDMATCH:
            return os << "MODIFIED_ENDMATCH";
    }
    return os << "unknown service event type (" << static_cast<std::uint32_t>(type) << ")";
}

std::ostream& operator<<(std::ostream& os, ServiceEvent const& event) {
    if (!event) return os << "NONE";
    return os << event.GetType();
}

// FrameworkEvent

struct FrameworkEvent::Data {
    Type fType;
    Bundle fBundle;
    std::string fMessage;
    std::exception_ptr fException;
};

FrameworkEvent::FrameworkEvent() = default;
FrameworkEvent::FrameworkEvent(Type evtType, Bundle const& bundle, std::string const& message,
                               std::exception_ptr exception)
    : d(std::make_shared<Data const>(Data{evtType, bundle, message, std::move(exception)})) {}

FrameworkEvent::operator bool() const {
    return static_cast<bool>(d);
}
Bundle FrameworkEvent::GetBundle() const {
    return d ? d->fBundle : Bundle();
}
std::string FrameworkEvent::GetMessage() const {
    return d ? d->fMessage : std::string();
}
std::exception_ptr FrameworkEvent::GetThrowable() const {
    return d ? d->fException : nullptr;
}
FrameworkEvent::Type FrameworkEvent::GetType() const {
    return d ? d->fType : FRAMEWORK_ERROR;
}

std::ostream& operator<<(std::ostream& os, FrameworkEvent::Type eventType) {
    switch (eventType) {
        case FrameworkEvent::FRAMEWORK_STARTED:
            return os << "STARTED";
        case FrameworkEvent::FRAMEWORK_ERROR:
            return os << "ERROR";
        case FrameworkEvent::FRAMEWORK_WARNING:
            return os << "WARNING";
        case FrameworkEvent::FRAMEWORK_INFO:
            return os << "INFO";
        case FrameworkEvent::FRAMEWORK_STOPPED:
            return os << "STOPPED";
        case FrameworkEvent::FRAMEWORK_STOPPED_UPDATE:
            return os << "STOPPED_UPDATE";
        case FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT:
            return os << "WAIT_TIMEDOUT";
    }
    return os << "unknown framework event type (" << static_cast<std::uint32_t>(eventType) << ")";
}

std::ostream& operator<<(std::ostream& os, FrameworkEvent const& evt) {
    if (!evt) return os << "NONE";
    return os << "FrameworkEvent: [" << evt.GetType() << "] " << evt.GetMessage();
}

// ListenerToken

ListenerToken::ListenerToken() : fId(0) {}
ListenerToken::ListenerToken(std::int64_t id) : fId(id) {}
ListenerToken::ListenerToken(ListenerToken&& other) noexcept : fId(std::exchange(other.fId, 0)) {}
ListenerToken& ListenerToken::operator=(ListenerToken&& other) noexcept {
    fId = std::exchange(other.fId, 0);
    return *this;
}
ListenerToken::operator bool() const {
    return fId != 0;
}
std::int64_t ListenerToken::Id() const {
    return fId;
}

// Exceptions

ServiceException::ServiceException(std::string const& msg, Type const& type)
    : std::runtime_error(msg), fType(type) {}
ServiceException::ServiceException(ServiceException const&) = default;
ServiceException& ServiceException::operator=(ServiceException const&) = default;
ServiceException::~ServiceException() = default;
ServiceException::Type ServiceException::GetType() const {
    return fType;
}

std::ostream& operator<<(std::ostream& os, ServiceException const& exc) {
    return os << "ServiceException: " << exc.what();
}

IllegalStateException::~IllegalStateException() = default;

}  // namespace cppmicroservices
