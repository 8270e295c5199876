// File-system queries on host paths (UTF-16 host text or UTF-8).
// Thread-safe; never throws except std::bad_alloc.
#pragma once

#include <string_view>

#include "korvan/host/Export.hpp"

namespace fl::filesystem {

/// True when the path names an existing entry (file, folder or other; symbolic links are
/// followed). An empty path, or one that cannot be examined (no permission), gives false.
KORVAN_HOST_EXPORT bool exists(std::u16string_view path);
KORVAN_HOST_EXPORT bool exists(std::string_view path);

}  // namespace fl::filesystem
