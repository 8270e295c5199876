// Fuzzes the settings file loader: the input is the text of <folder>/rest/connector.json.
//
// Each run reads the text twice: with the JSON reader alone (fromJson) and through the
// store, which loads the file from a throw-away folder written for the run. Checks:
//  - the reader either returns settings or throws std::runtime_error;
//  - the store agrees: accepted text gives those settings and no load problem; refused text
//    gives the defaults, a load problem, and the broken file moved out of the way;
//  - accepted settings written back (toJson) read back equal, and write the same text again.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

#include "SettingsJson.hpp"
#include "korvan/services/settings/SettingsStore.hpp"

namespace {

namespace fs = std::filesystem;
using korvan::services::settings::ConnectorSettings;
using korvan::services::settings::SettingsStore;
namespace detail = korvan::services::settings::detail;

[[noreturn]] void fail(const char* what, const std::string& text) {
    std::fprintf(stderr, "settings fuzzer: %s\ninput: %s\n", what, text.c_str());
    std::abort();
}

/// A folder of this process under the temporary folder, removed at exit.
const fs::path& folder() {
    static const fs::path path = [] {
        std::string pattern = (fs::temp_directory_path() / "korvan-fuzz-settings.XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::perror("mkdtemp");
            std::abort();
        }
        std::atexit([] {
            std::error_code ec;
            fs::remove_all(folder(), ec);
        });
        return fs::path(pattern);
    }();
    return path;
}

std::optional<ConnectorSettings> read(const std::string& text) {
    try {
        return detail::fromJson(text);
    } catch (const std::runtime_error& e) {
        if (std::string(e.what()).empty()) fail("error without a reason", text);
        return std::nullopt;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto settings = read(text);

    if (settings) {
        const std::string written = detail::toJson(*settings);
        const auto back = read(written);
        if (!back || !(*back == *settings)) fail("written settings read back differently", text);
        if (detail::toJson(*back) != written) fail("writing is not stable", text);
    }

    const fs::path rest = folder() / "rest";
    std::error_code ec;
    fs::remove_all(rest, ec);
    fs::create_directories(rest);
    {
        std::ofstream out(rest / "connector.json", std::ios::binary);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        if (!out) fail("cannot write the settings file", text);
    }
    const SettingsStore store(folder());
    if (settings) {
        if (!store.loadProblem().empty()) fail("store refused what the reader accepted", text);
        if (!(store.current() == *settings)) fail("store loaded other settings", text);
    } else {
        if (store.loadProblem().empty()) fail("store accepted what the reader refused", text);
        if (!(store.current() == ConnectorSettings{})) fail("refused file gave no defaults", text);
        if (fs::exists(store.file())) fail("refused file left in place", text);
    }
    return 0;
}
