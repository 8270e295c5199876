// Names of the properties and configuration keys that the framework defines.
#pragma once

#include <cppmicroservices/GlobalConfig.h>

#include <string>

namespace cppmicroservices::Constants {

/// Interface ids a service is registered under (std::vector<std::string>), set by the framework.
US_Framework_EXPORT extern std::string const OBJECTCLASS;  // "objectclass"
/// Process-wide unique, never reused id of a registration (long), set by the framework.
US_Framework_EXPORT extern std::string const SERVICE_ID;  // "service.id"
/// Ranking of a service (must be int); higher wins, a missing ranking counts as 0.
US_Framework_EXPORT extern std::string const SERVICE_RANKING;      // "service.ranking"
US_Framework_EXPORT extern std::string const SERVICE_SCOPE;        // "service.scope"
US_Framework_EXPORT extern std::string const SCOPE_SINGLETON;      // "singleton"
US_Framework_EXPORT extern std::string const SCOPE_BUNDLE;         // "bundle"
US_Framework_EXPORT extern std::string const SCOPE_PROTOTYPE;      // "prototype"
US_Framework_EXPORT extern std::string const SERVICE_PID;          // "service.pid"
US_Framework_EXPORT extern std::string const SERVICE_VENDOR;       // "service.vendor"
US_Framework_EXPORT extern std::string const SERVICE_DESCRIPTION;  // "service.description"
US_Framework_EXPORT extern std::string const FRAMEWORK_THREADING_SUPPORT;
US_Framework_EXPORT extern std::string const FRAMEWORK_STORAGE;

}  // namespace cppmicroservices::Constants
