// ServiceException: a failure of the service layer (for example "No service is being tracked"
// from ServiceTracker::GetServiceReference).
#pragma once

#include <cppmicroservices/GlobalConfig.h>

#include <ostream>
#include <stdexcept>
#include <string>

namespace cppmicroservices {

class US_Framework_EXPORT ServiceException : public std::runtime_error {
  public:
    enum Type {
        UNSPECIFIED = 0,
        UNREGISTERED = 1,
        FACTORY_ERROR = 2,
        FACTORY_EXCEPTION = 3,
        REMOTE = 5,
        FACTORY_RECURSION = 6
    };

    ServiceException(std::string const& msg, Type const& type = UNSPECIFIED);
    ServiceException(ServiceException const& other);
    ServiceException& operator=(ServiceException const& other);
    ~ServiceException() override;

    Type GetType() const;

  private:
    Type fType;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, ServiceException const& exc);

}  // namespace cppmicroservices
