#include "DocsPage.hpp"

#include <fstream>
#include <iterator>

namespace korvan::services::connector::detail {
namespace {

namespace http = boost::beast::http;

struct Known {
    std::string_view fName;
    const char* fType;
};
constexpr Known kFiles[] = {
    {"index.html", "text/html; charset=utf-8"},
    {"docs.js", "text/javascript; charset=utf-8"},
    {"docs.css", "text/css; charset=utf-8"},
    {"swagger-ui-bundle.js", "text/javascript; charset=utf-8"},
    {"swagger-ui.css", "text/css; charset=utf-8"},
};

}  // namespace

std::optional<PageFile> readPageFile(const std::filesystem::path& folder, std::string_view name) {
    if (folder.empty()) return std::nullopt;
    for (const auto& known : kFiles) {
        if (known.fName != name) continue;
        std::ifstream in(folder / std::string(known.fName), std::ios::binary);
        if (!in) return std::nullopt;
        PageFile file;
        file.fBody.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        file.fContentType = known.fType;
        return file;
    }
    return std::nullopt;
}

Response pageResponse(const PageFile& file, unsigned version, bool keepAlive) {
    Response response(http::status::ok, version);
    response.set(http::field::content_type, file.fContentType);
    response.set("Content-Security-Policy",
                 "default-src 'none'; script-src 'self'; style-src 'self' 'unsafe-inline'; "
                 "img-src 'self' data:; connect-src 'self'; frame-ancestors 'none'; "
                 "base-uri 'none'; form-action 'none'");
    response.set("X-Content-Type-Options", "nosniff");
    response.set(http::field::cache_control, "no-store");
    response.set("Referrer-Policy", "no-referrer");
    response.body() = file.fBody;
    response.keep_alive(keepAlive);
    response.prepare_payload();
    return response;
}

}  // namespace korvan::services::connector::detail
