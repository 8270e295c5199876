// Identifiers of requests exchanged between the host's components: a 128-bit value, unique in
// practice (random, version 4 layout). Used as the task identifier of work posted to the
// interpreter thread (xvm::detail::createID makes them).
//
// Threads: values are plain data; newID() may be called from any thread.
#pragma once

#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_hash.hpp>
#include <string>

#include "korvan/host/Export.hpp"

namespace foundation::msg_svc::exchange {

/// 128-bit request identifier; value type, comparable, hashable (boost/uuid/uuid_hash.hpp
/// specialises std::hash).
using IDType = boost::uuids::uuid;

/// A new identifier from a per-thread generator seeded by the operating system.
IDType newID();

/// The nil identifier (all zero bits); never returned by newID().
KORVAN_HOST_EXPORT IDType nilID() noexcept;

/// Canonical text form, e.g. "0f8e...-...". For logs and diagnostics.
std::string toString(const IDType& id);

}  // namespace foundation::msg_svc::exchange
