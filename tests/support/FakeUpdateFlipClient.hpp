// FakeUpdateFlipClient: the service host's update-flip service as the module tests register it
// under korvanconnector::vshupdateflip::IVshupdateflipClient. It keeps a preferred restart hour
// (negative: none), can be told to refuse setting or clearing it, and records every call with
// its argument and calling thread.
//
// Threads: any thread; fMutex guards all state.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "korvanconnector/vshupdateflip/IVshupdateflipClient.hpp"

namespace korvan::test {

struct FlipCall {
    std::string fName;       // "getPreferredRestartHour", "setPreferredRestartHour", ...
    std::int32_t fHour = 0;  // the argument of setPreferredRestartHour
    std::thread::id fThread;
};

class FakeUpdateFlipClient final : public korvanconnector::vshupdateflip::IVshupdateflipClient {
  public:
    /// No hour, no refusals, no calls.
    void reset();
    void setHour(std::int32_t hour);
    std::int32_t hour() const;
    void refuseSet(bool refuse);
    void refuseClear(bool refuse);

    std::vector<FlipCall> calls() const;
    std::vector<std::string> callNames() const;
    void clearCalls();

    std::int32_t getPreferredRestartHour() override;
    bool setPreferredRestartHour(std::int32_t hour) override;
    bool clearPreferredRestartHour() override;

  private:
    mutable std::mutex fMutex;
    // Guarded by fMutex.
    std::int32_t fHour = -1;
    bool fRefuseSet = false;
    bool fRefuseClear = false;
    std::vector<FlipCall> fCalls;
};

}  // namespace korvan::test
