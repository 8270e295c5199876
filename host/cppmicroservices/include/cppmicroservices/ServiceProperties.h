// The properties a service is registered with. The container itself is case-sensitive; the
// registry stores them with case-insensitive keys and rejects keys that differ only in case.
#pragma once

#include <cppmicroservices/Any.h>

#include <string>
#include <unordered_map>

namespace cppmicroservices {

using ServiceProperties = std::unordered_map<std::string, Any>;

}  // namespace cppmicroservices
