// UpdateFlipClientHolder: process-wide holder of the service host's update-flip client
// (IVshupdateflipClient), which keeps the connector's preferred restart hour.
//
// Kept in the host's unique-singleton registry; created on first use (any thread, race-free).
// The constructor opens a match-all tracker and waits up to 500 ms for a client; what that wait
// returns (possibly nothing) is kept for the life of the process: the holder never looks again.
// Both members are constant after construction, so readers need no lock.
#pragma once

#include <memory>

#include "agent/spf/cppmsclientutils/ServiceTracker.hpp"
#include "korvanconnector/vshupdateflip/IVshupdateflipClient.hpp"

namespace rest::kv::connector {

class UpdateFlipClientHolder {
  public:
    using Client = korvanconnector::vshupdateflip::IVshupdateflipClient;

    static UpdateFlipClientHolder& instance();

    UpdateFlipClientHolder();
    ~UpdateFlipClientHolder();
    UpdateFlipClientHolder(const UpdateFlipClientHolder&) = delete;
    UpdateFlipClientHolder& operator=(const UpdateFlipClientHolder&) = delete;

    /// The client found at construction, or empty.
    std::shared_ptr<Client> getClient() const { return fClient; }

  private:
    std::shared_ptr<agent::spf::cppmsclientutils::ServiceTracker<Client>> fTracker;
    std::shared_ptr<Client> fClient;
};

}  // namespace rest::kv::connector
