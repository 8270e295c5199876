// Readable type names, used for interface ids and error texts.
#pragma once

#include <cppmicroservices/GlobalConfig.h>

#include <string>
#include <typeinfo>

namespace cppmicroservices::detail {

/// The demangled name of a type ("std::string", "ns::IFoo"), without a leading "::".
US_Framework_EXPORT std::string demangledName(std::type_info const& type);

}  // namespace cppmicroservices::detail
