#include "korvan/services/connector/LogFiles.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace korvan::services::connector {

int openLogFile(const std::filesystem::path& path) noexcept {
    return ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
}

void checkFolderIsPrivate(const std::filesystem::path& folder, std::string_view what) {
    struct stat st {};
    if (::stat(folder.c_str(), &st) != 0) return;  // made later, for the owner only
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
    if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        throw std::runtime_error("The " + std::string(what) + " " + folder.string() +
                                 " can be written by other users (mode " + mode +
                                 "), who could replace its files. Make it private (chmod 700 " +
                                 folder.string() + ") or choose another folder.");
    if (st.st_uid != ::geteuid())
        throw std::runtime_error("The " + std::string(what) + " " + folder.string() +
                                 " belongs to another user. Choose a folder of your own.");
}

std::string escapedForLog(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char ch : text) {
        const auto byte = static_cast<unsigned char>(ch);
        const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= '0' && byte <= '9') ||
                           std::string_view("-._~/%:@=,+").find(ch) != std::string_view::npos;
        if (plain) {
            out += ch;
        } else {
            char escape[4];
            std::snprintf(escape, sizeof escape, "%%%02X", byte);
            out += escape;
        }
    }
    return out;
}

}  // namespace korvan::services::connector
