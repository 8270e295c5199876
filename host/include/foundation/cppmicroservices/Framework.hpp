// The host's service framework: one per process, shared by the host, the modules and the
// services it loads. Every component registers and tracks services through its bundle
// context, getFramework().GetBundleContext().
//
// Inside namespace foundation, write ::cppmicroservices for the registry's own namespace.
#pragma once

#include <cppmicroservices/Framework.h>

#include "korvan/host/Export.hpp"

namespace foundation::cppmicroservices {

/// The host's framework, created and started on the first call (thread-safe); later calls
/// return a handle on the same framework. It is never stopped: objects destroyed at process
/// exit may still unregister services or close trackers on it.
KORVAN_HOST_EXPORT ::cppmicroservices::Framework getFramework();

}  // namespace foundation::cppmicroservices
