#include "korvan/host/Version.hpp"

namespace korvan {
const char* hostVersion() {
    return KORVAN_VERSION;
}
const char* hostResourceDir() {
    return KORVAN_RESOURCE_DIR;
}
}  // namespace korvan
