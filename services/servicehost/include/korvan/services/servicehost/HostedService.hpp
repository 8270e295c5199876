// A service the service host hosts: published as an agent::spf::core::Invokable, and shut down
// by the service host when it replaces the instance in an update flip or goes away itself.
//
// Threads: invoke() from any thread; shutdown() once, from the service host's thread, after
// the instance has been unregistered. After shutdown() invoke() throws std::runtime_error.
#pragma once

#include <functional>
#include <memory>

#include "agent/spf/core/Invokable.hpp"
#include "korvan/services/servicehost/Export.hpp"

namespace korvan::services::servicehost {

class KORVAN_SERVICEHOST_EXPORT HostedService : public agent::spf::core::Invokable {
  public:
    /// Stops what the instance runs (the HTTPS server of the connector) and frees it.
    virtual void shutdown() = 0;
};

/// Makes a fresh instance; called at start and for the "up" half of each update flip.
using HostedServiceFactory = std::function<std::shared_ptr<HostedService>()>;

}  // namespace korvan::services::servicehost
