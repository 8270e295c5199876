// Log files that another user cannot turn against the person: files opened without following
// a symbolic link, folders that only their owner may write to, and request text escaped before
// it is written.
//
// Why: a log folder others can write to lets them put a link where access.log will be opened,
// and the connector would then append request paths (chosen by whoever sends requests) to any
// file the person can write. Used by the access log, the connector log and functions.log.
// Threads: the functions keep no state; any thread.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

/// Opens `path` for appending, creating it with mode 0600, refusing a symbolic link at its
/// last component (O_NOFOLLOW). The descriptor (close-on-exec), or -1 with errno set.
KORVAN_CONNECTOR_SERVICE_EXPORT int openLogFile(const std::filesystem::path& path) noexcept;

/// Throws std::runtime_error, naming `what` ("log folder", "settings folder"), the folder and
/// its mode, when a user other than its owner may write to it (group or others write bit), or
/// it is not owned by this process's user. A folder that does not exist passes.
KORVAN_CONNECTOR_SERVICE_EXPORT void checkFolderIsPrivate(const std::filesystem::path& folder,
                                                          std::string_view what);

/// `text` with every byte other than letters, digits and - . _ ~ / % : @ = , + written as
/// %XX: a logged request path can carry neither control characters nor shell syntax.
std::string escapedForLog(std::string_view text);

}  // namespace korvan::services::connector
