// The connector's persistent settings: one JSON file, <settings folder>/rest/connector.json,
// shared by the hosted connector service (port, log location, host name, access mode, token,
// certificate paths) and the service host (preferred restart hour).
//
// The settings folder is $KORVAN_PREFDIR, or ~/.korvan when it is not set. The file is written
// atomically (temporary file in the same folder, fsync, rename, fsync of the folder) and is
// readable by its owner only, because it holds the access token. A file that cannot be read
// as settings is moved aside (its name gets ".corrupt-<UTC time>"), the defaults are used and
// loadProblem() says what happened, so the caller can tell the person.
//
// Owns: the in-memory copy of the settings, which is always what the file last held.
// Threads: any thread; fLock guards fCurrent and serialises writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>

#include "korvan/services/settings/Export.hpp"

namespace korvan::services::settings {

struct ConnectorSettings {
    std::uint16_t fPort = 9920;
    /// Folder of the connector's logs, UTF-8; empty means the default folder (logFolder()).
    std::string fLogLocation;
    /// Host name in the base URL; empty means localhost.
    std::string fHostName;
    /// 0 local, 1 remote.
    std::int32_t fAccessMode = 0;
    /// The personal access token; empty until one is issued.
    std::string fToken;
    /// The token's expiry in seconds since the Unix epoch (UTC); 0 with no token.
    std::int64_t fTokenExpiry = 0;
    /// The private key and certificate files; empty until a certificate is generated or given.
    std::string fPrivateKey;
    std::string fCertificate;
    /// Preferred restart hour 0..23, or -1 when none is set.
    std::int32_t fRestartHour = -1;

    bool operator==(const ConnectorSettings&) const = default;
};

class KORVAN_SETTINGS_EXPORT SettingsStore {
  public:
    /// $KORVAN_PREFDIR, else $HOME/.korvan. Throws std::runtime_error when neither is set.
    static std::filesystem::path defaultFolder();

    /// Reads <folder>/rest/connector.json. A missing file gives the defaults without a
    /// problem; a corrupt one is moved aside and gives the defaults with loadProblem() set.
    explicit SettingsStore(std::filesystem::path folder);

    const std::filesystem::path& folder() const { return fFolder; }
    /// <folder>/rest/connector.json
    std::filesystem::path file() const;
    /// <folder>/rest/logs: where the logs go when fLogLocation is empty.
    std::filesystem::path defaultLogFolder() const;
    /// <folder>/rest/certificate: where a generated key and certificate are written.
    std::filesystem::path certificateFolder() const;
    /// <folder>/rest/services: one sub-folder per function service.
    std::filesystem::path servicesFolder() const;

    /// Empty when the file was read (or absent); otherwise what was wrong and where the
    /// broken file was moved, in one sentence for a person.
    const std::string& loadProblem() const { return fLoadProblem; }

    ConnectorSettings current() const;
    /// Applies `change` to a copy of the current settings and writes it atomically. Throws
    /// std::runtime_error naming the file and the reason when the write fails (no space,
    /// read-only folder); the file and current() are then unchanged.
    void update(const std::function<void(ConnectorSettings&)>& change);

  private:
    const std::filesystem::path fFolder;
    std::string fLoadProblem;  // set once by the constructor
    mutable std::mutex fLock;
    ConnectorSettings fCurrent;  // guarded by fLock
};

}  // namespace korvan::services::settings
