// IVshupdateflipClient: the service host's update-flip service, as the connector module sees
// it. It keeps the preferred hour of the day at which the service host may restart (flip) the
// connector service to apply an update; the hour is kept persistently by the service host.
//
// Threads: called on the host interpreter thread; implementations must be thread-safe.
#pragma once

#include <cstdint>

namespace korvanconnector::vshupdateflip {

class IVshupdateflipClient {
  public:
    virtual ~IVshupdateflipClient() = default;

    /// The preferred restart hour, 0 to 23, or a negative value when none is set.
    virtual std::int32_t getPreferredRestartHour() = 0;
    /// Sets the hour (0 to 23). Returns false when the service refuses it (out of range, or
    /// the setting cannot be stored); nothing changes then.
    virtual bool setPreferredRestartHour(std::int32_t hour) = 0;
    /// Returns to "no preferred hour". Returns false when the service refuses.
    virtual bool clearPreferredRestartHour() = 0;
};

}  // namespace korvanconnector::vshupdateflip
