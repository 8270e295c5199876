// fl::filesystem queries.
#include <fl/filesystem.hpp>

#include <filesystem>
#include <system_error>

#include <fl/i18n.hpp>

namespace fl::filesystem {

bool exists(std::string_view path) {
    if (path.empty()) {
        return false;
    }
    std::error_code ec;
    return std::filesystem::exists(std::filesystem::path(path), ec) && !ec;
}

bool exists(std::u16string_view path) {
    return exists(i18n::to_string(path));
}

}  // namespace fl::filesystem
