// When a scheduled update flip happens: the next occurrence of the preferred restart hour in
// the local time of the process (TZ).
//
// The hour is a window: from hh:00:00 to the end of hh:59:59 a restart is welcome, so a time
// inside the window is its own next occurrence. Otherwise it is hh:00:00 later today, or
// tomorrow when today's hh:00 has passed. Daylight-saving changes are followed through the C
// library's local time (mktime): the day after a change may be 23 or 25 hours away, and an hour
// that a change skips resolves to whatever local time mktime makes of it, always later than
// `now`.
//
// A pure function of its arguments and the process's time zone; any thread.
#pragma once

#include <chrono>

#include "korvan/services/servicehost/Export.hpp"

namespace korvan::services::servicehost {

/// The next occurrence of `hour` (0..23) at or after `now`. Throws std::invalid_argument for an
/// hour outside 0..23 and std::runtime_error when the local time cannot be computed.
KORVAN_SERVICEHOST_EXPORT std::chrono::system_clock::time_point nextRestartTime(
    std::chrono::system_clock::time_point now, int hour);

}  // namespace korvan::services::servicehost
