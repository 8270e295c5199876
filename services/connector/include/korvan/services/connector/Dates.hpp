// Expiry dates as the connector reports them: "dd-MMM-yyyy" in UTC with English month
// abbreviations, e.g. "21-Nov-2026", whatever the process locale.
//
// Threads: any thread; no shared state.
#pragma once

#include <chrono>
#include <string>

#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

/// The UTC calendar date of `when` as "dd-MMM-yyyy".
KORVAN_CONNECTOR_SERVICE_EXPORT std::string formatExpiryDate(
    std::chrono::system_clock::time_point when);

}  // namespace korvan::services::connector
