// Invokable: the interface under which the service host publishes a hosted service in the
// service registry. Clients select a hosted service by its client ID and version properties
// (agent::spf::cppmsclientutils::TrackedServiceInfo) and may watch it come and go without ever
// calling it; the connector module does exactly that for "restfcnconnectorservice".
//
// Threads: invoke may be called from any thread; implementations must be thread-safe.
// Errors: invoke throws a std::exception when the operation is unknown or fails.
#pragma once

#include <string>

namespace agent::spf::core {

class Invokable {
  public:
    virtual ~Invokable() = default;

    /// Performs the named operation; arguments and result are JSON texts.
    virtual std::string invoke(const std::string& operation, const std::string& arguments) = 0;
};

}  // namespace agent::spf::core
