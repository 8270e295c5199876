#include "ServiceHostRestartHour.hpp"

#include <exception>
#include <stdexcept>
#include <utility>

#include "foundation/log/Log.hpp"

namespace korvan::services::servicehost::detail {

namespace {
const foundation::log::Channel kLog{"korvan::servicehost"};

bool isHour(std::int32_t hour) {
    return hour >= 0 && hour <= 23;
}
}  // namespace

RestartHourService::RestartHourService(std::shared_ptr<settings::SettingsStore> settings)
    : fSettings(std::move(settings)) {
    if (!fSettings) throw std::invalid_argument("The service host needs a settings store.");
}

std::int32_t RestartHourService::getPreferredRestartHour() {
    const std::int32_t hour = fSettings->current().fRestartHour;
    return isHour(hour) ? hour : -1;
}

bool RestartHourService::setPreferredRestartHour(std::int32_t hour) {
    if (!isHour(hour)) {
        FOUNDATION_LOG(kLog, "Refused preferred restart hour " << hour);
        return false;
    }
    return store(hour);
}

bool RestartHourService::clearPreferredRestartHour() {
    return store(-1);
}

bool RestartHourService::store(std::int32_t hour) {
    try {
        fSettings->update([hour](settings::ConnectorSettings& s) { s.fRestartHour = hour; });
    } catch (const std::exception& e) {
        FOUNDATION_LOG_AT(kLog, foundation::log::Level::Warning,
                          "The preferred restart hour could not be stored: " << e.what());
        return false;
    }
    FOUNDATION_LOG(kLog, "Preferred restart hour stored: " << hour);
    return true;
}

}  // namespace korvan::services::servicehost::detail
