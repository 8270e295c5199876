// The connector module's diagnostic channel, " KV::Conn ".
//
// Every line the module writes goes through KVCONN_LOG at the host's debug level; the streamed
// expression is evaluated only when the channel is enabled (or captured by a test).
// Threads: any thread may log.
#pragma once

#include "foundation/log/Log.hpp"

namespace rest::kv::connector {

/// The module's one channel. A function-local static, so that it exists before the first
/// line is written whatever the order of static initialisation.
inline const foundation::log::Channel& logChannel() {
    static const foundation::log::Channel channel{" KV::Conn "};
    return channel;
}

}  // namespace rest::kv::connector

/// Logs `expr` (anything streamable) on the module's channel at debug level.
#define KVCONN_LOG(expr) FOUNDATION_LOG(::rest::kv::connector::logChannel(), expr)
