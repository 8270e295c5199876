// The host-language functions through which a person drives the connector's surroundings:
//
//   korvan.internal.rest.showDialog()             the consent dialog for remote access: asks
//                                                 yes/no at a terminal (default no); without a
//                                                 terminal answers from KORVAN_REST_CONSENT
//                                                 ("yes" or anything else) and says so
//   korvan.internal.servicehost.flip()            a whole update flip
//   korvan.internal.servicehost.flip("down"|"up") one half of it
//   korvan.internal.servicehost.notifyUpdate()    the connector client calls its update callbacks
//
// registerConnectorFunctions puts them in the host function table; the service host functions
// act on `host` (they raise an error naming the missing service host when it is null).
//
// Threads: the functions run on the interpreter thread.
#pragma once

#include <memory>

namespace korvan::services::servicehost {
class ServiceHost;
}

namespace korvan::shell {

void registerConnectorFunctions(std::shared_ptr<korvan::services::servicehost::ServiceHost> host);

}  // namespace korvan::shell
