// The host runtime's version and the folder of its resources (message catalogues), as fixed
// when the host was built.
#pragma once

#include "korvan/host/Export.hpp"

namespace korvan {

/// "major.minor.patch" of the build.
KORVAN_HOST_EXPORT const char* hostVersion();
/// The build's resource folder (<build>/share/korvan/resources).
const char* hostResourceDir();

}  // namespace korvan
