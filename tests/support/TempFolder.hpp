// A fresh folder under the system's temporary folder, removed with its contents at the end.
#pragma once

#include <atomic>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace korvan::test {

class TempFolder {
  public:
    TempFolder() {
        static std::atomic<int> counter{0};
        fPath =
            std::filesystem::temp_directory_path() /
            ("korvan-connector-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
        std::filesystem::remove_all(fPath);
        std::filesystem::create_directories(fPath);
    }
    ~TempFolder() {
        std::error_code ec;
        std::filesystem::remove_all(fPath, ec);
    }
    const std::filesystem::path& path() const { return fPath; }

  private:
    std::filesystem::path fPath;
};

}  // namespace korvan::test
