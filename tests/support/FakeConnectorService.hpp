// FakeConnectorService: the connector service as the service host publishes it, an
// agent::spf::core::Invokable carrying the client ID "restfcnconnectorservice". The module
// never calls it; it only watches it come and go, so the double just counts invocations.
//
// Threads: any thread (the counter is atomic).
#pragma once

#include <atomic>
#include <string>

#include "agent/spf/core/Invokable.hpp"

namespace korvan::test {

class FakeConnectorService final : public agent::spf::core::Invokable {
  public:
    std::string invoke(const std::string&, const std::string&) override {
        ++fInvocations;
        return "{}";
    }
    int invocations() const { return fInvocations.load(); }

  private:
    std::atomic<int> fInvocations{0};
};

}  // namespace korvan::test
