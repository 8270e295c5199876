// The HTTPS server's settings file, <settings folder>/rest/server.json, read at each start:
//
//   {"maxConnections": 512, "maxConnectionsPerAddress": 64, "maxBodyMiB": 64}
//
//   maxConnections            open connections at most (1..100000); beyond it a new connection
//                             is closed at once, unread
//   maxConnectionsPerAddress  in remote mode, open connections from one client address at most
//                             (0..100000; 0: no cap of its own)
//   maxBodyMiB                largest request body of an authorised request, in MiB (1..4096);
//                             beyond it 413
//
// Every key is optional; an unknown key or a value out of range fails the start with a message
// naming the file and the key. Threads: no state; any thread.
#pragma once

#include <filesystem>

#include "korvan/services/connector/ConnectorService.hpp"
#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

inline constexpr const char* kServerSettingsFile = "server.json";

/// `base` with what `file` sets; `base` itself when the file does not exist. Throws
/// std::runtime_error naming the file and the key when the file is not valid.
KORVAN_CONNECTOR_SERVICE_EXPORT Config readServerSettings(const std::filesystem::path& file,
                                                          Config base);

}  // namespace korvan::services::connector
