// IllegalStateException: thrown by every BundleContext operation on a context that is no
// longer (or not yet) valid, with the text "The bundle context is no longer valid".
// Code that must also build against an installed framework catches std::runtime_error.
#pragma once

#include <cppmicroservices/GlobalConfig.h>

#include <stdexcept>
#include <string>

namespace cppmicroservices {

class US_Framework_EXPORT IllegalStateException final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~IllegalStateException() override;
};

}  // namespace cppmicroservices
