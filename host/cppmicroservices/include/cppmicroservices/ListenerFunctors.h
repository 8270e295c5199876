// The callable types of service, bundle and framework listeners.
#pragma once

#include <functional>

namespace cppmicroservices {

class ServiceEvent;
class BundleEvent;
class FrameworkEvent;

using ServiceListener = std::function<void(ServiceEvent const&)>;
using BundleListener = std::function<void(BundleEvent const&)>;
using FrameworkListener = std::function<void(FrameworkEvent const&)>;

}  // namespace cppmicroservices
