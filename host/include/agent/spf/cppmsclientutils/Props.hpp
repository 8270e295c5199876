// Property keys by which hosted services are described in the service registry and selected
// by the clients that track them (see TrackedServiceInfo).
#pragma once

#include <string>

#include "korvan/host/Export.hpp"

namespace agent::spf::cppmsclientutils {

/// The key of the client-ID property: "spf.clientid". A hosted service carries the ID its
/// clients select it by (e.g. "restfcnconnectorservice") under this key, as a std::string.
KORVAN_HOST_EXPORT std::string clientIdProp();

struct Props {
    /// clientIdProp(), built once per library that uses it.
    static inline const std::string CLIENT_ID = clientIdProp();
    /// The interface generation a hosted service implements (int); clients require an exact match.
    static inline const std::string MAJOR_VERSION = "spf.version.major";
    /// The revision within that generation (int); clients require at least theirs.
    static inline const std::string MINOR_VERSION = "spf.version.minor";
};

}  // namespace agent::spf::cppmsclientutils
