// The log channel of the connector client bundle.
#pragma once

#include <foundation/log/Log.hpp>

namespace korvan::services::client {

inline const foundation::log::Channel kClientLog{"korvan::client"};

}  // namespace korvan::services::client
