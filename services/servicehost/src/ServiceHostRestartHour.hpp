// The update-flip service as the registry hands it out: keeps the preferred restart hour in
// the settings store (ConnectorSettings::fRestartHour, -1 for none).
//
// A value outside 0..23 is refused; a write that fails (the store throws) is logged and
// refused, and the store then still holds the earlier value. A stored value outside 0..23 (a
// hand-edited file) reads as "none".
//
// Owns nothing; shares the settings store, so a client that keeps this object after the
// service host is gone still works. Threads: any thread; the store serialises writes.
#pragma once

#include <cstdint>
#include <memory>

#include "korvan/services/settings/SettingsStore.hpp"
#include "korvanconnector/vshupdateflip/IVshupdateflipClient.hpp"

namespace korvan::services::servicehost::detail {

class RestartHourService final : public korvanconnector::vshupdateflip::IVshupdateflipClient {
  public:
    explicit RestartHourService(std::shared_ptr<settings::SettingsStore> settings);

    std::int32_t getPreferredRestartHour() override;
    bool setPreferredRestartHour(std::int32_t hour) override;
    bool clearPreferredRestartHour() override;

  private:
    bool store(std::int32_t hour);

    const std::shared_ptr<settings::SettingsStore> fSettings;  // constant after construction
};

}  // namespace korvan::services::servicehost::detail
