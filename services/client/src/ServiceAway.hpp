// What the connector client answers while the hosted connector service is away (an update
// flip, or the service host restarting), so that a person at the prompt does not notice it.
//
// When the last service goes, the client records the answers of every property operation as
// that service gave them (the settings as last persisted), and whether the connector was
// running. While no service is there:
//   - property reads are answered from that record, with the changes made meanwhile, and
//     Status reads notrunning (0);
//   - setters (port, log location, host name, access mode) are kept and handed to the next
//     service as soon as it registers, before anyone else uses it, so that it starts from them;
//   - everything else is the caller's to refuse (startConnector waits for a service first).
// A connector that was running when the service went away is restarted by the module with the
// settings of its last start once the service is back: the client keeps no change then (it
// would not outlive the restart) and tells the person so (wasRunning()).
//
// Threads: none of its own; the client calls it under its fLock.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <boost/json/object.hpp>

#include "agent/spf/core/Invokable.hpp"

namespace korvan::services::client::detail {

class ServiceAway {
  public:
    /// Records what `service` (going away now) answers; a service that cannot answer leaves
    /// the earlier record.
    void record(agent::spf::core::Invokable& service);
    /// Whether there is a record to answer from.
    bool known() const { return !fAnswers.empty(); }
    /// The JSON result `operation` would have given, or nullopt when it is not answered here.
    std::optional<std::string> answer(std::string_view operation) const;
    /// Keeps a setter's arguments for the next service; returns whether the operation is a
    /// setter taken here.
    bool change(std::string_view operation, const boost::json::object& arguments);
    /// Whether `operation` is one of the setters change() keeps.
    static bool isSetter(std::string_view operation);
    /// Whether the connector was running when the service went away (the module restarts it).
    bool wasRunning() const { return fWasRunning; }
    /// The kept setter calls (the last arguments of each setter), and forgets them.
    std::map<std::string, boost::json::object> takeChanges();

  private:
    std::map<std::string, std::string, std::less<>> fAnswers;  // operation -> JSON result
    std::map<std::string, boost::json::object> fChanges;       // setter -> its arguments
    bool fWasRunning = false;
};

}  // namespace korvan::services::client::detail
