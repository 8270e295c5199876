// The files of the page to try functions, GET /v1/docs: a fixed list of names (no path from
// the request ever reaches the file system), each read from the docs folder at each request
// and answered with its type and headers that keep the page to itself (a content security
// policy allowing its own scripts, styles and the connector's API only; no sniffing; not
// framed).
//
// Threads: any.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "korvan/services/connector/RequestHandler.hpp"

namespace korvan::services::connector::detail {

struct PageFile {
    std::string fBody;
    const char* fContentType = "";
};

/// The page file `name` from `folder`; nullopt for a name not on the list, an empty folder or
/// a file that cannot be read.
std::optional<PageFile> readPageFile(const std::filesystem::path& folder, std::string_view name);

Response pageResponse(const PageFile& file, unsigned version, bool keepAlive);

}  // namespace korvan::services::connector::detail
