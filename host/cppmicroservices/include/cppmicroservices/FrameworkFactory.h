// FrameworkFactory: creates framework instances. Call on an instance:
// FrameworkFactory().NewFramework().
#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/GlobalConfig.h>

#include <ostream>
#include <string>
#include <unordered_map>

namespace cppmicroservices {

using FrameworkConfiguration = std::unordered_map<std::string, Any>;

class US_Framework_EXPORT FrameworkFactory {
  public:
    /// A new, installed (not yet started) framework. The configuration is readable through
    /// BundleContext::GetProperty; the logger is accepted and unused.
    Framework NewFramework(FrameworkConfiguration const& configuration,
                           std::ostream* logger = nullptr);
    Framework NewFramework();
};

}  // namespace cppmicroservices
