// How the function workers of one function service run: how many, how long a call may take,
// how much memory each may use, how many calls may wait for a free worker.
//
// Three layers, each overriding the one before, read at every start of the connector:
//   1. built-in defaults (defaultWorkerSettings: workers = cores, 30 s, a quarter of the
//      machine's memory up to 8 GiB, 128 waiting calls)
//   2. the connector's global file, <settings folder>/rest/workers.json
//   3. the service's own file, <service folder>/workers.json
// Each file is a JSON object with any of the keys below; a file that is absent changes
// nothing. Anything else (not JSON, an unknown key, a value out of range) is an error that
// names the file and the key, and the connector does not start.
//
//   {"workers": 2, "callTimeoutSeconds": 30, "memoryLimitMiB": 2048, "queueLength": 128}
//
// Threads: plain values and pure functions.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>

#include "foundation/json/Value.hpp"
#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector {

/// The name of both settings files.
inline constexpr const char* kWorkerSettingsFile = "workers.json";

struct WorkerSettings {
    unsigned fWorkers = 2;                          // 1..64
    std::chrono::milliseconds fCallTimeout{30000};  // 0.01 s .. 24 h
    std::size_t fMemoryLimitMiB = 2048;             // 256 .. 1 TiB
    std::size_t fQueueLength = 128;                 // 0 .. 100000; 0: no call waits

    bool operator==(const WorkerSettings&) const = default;
};

/// The built-in defaults for this machine.
KORVAN_CONNECTOR_SERVICE_EXPORT WorkerSettings defaultWorkerSettings();

/// `base` with what `file` sets; `base` unchanged when the file does not exist. Throws
/// std::runtime_error naming the file (and the key) when it cannot be read or is not valid.
KORVAN_CONNECTOR_SERVICE_EXPORT WorkerSettings readWorkerSettings(const std::filesystem::path& file,
                                                                  WorkerSettings base);

/// The settings in the form of the files, as GET /v1/services shows them.
KORVAN_CONNECTOR_SERVICE_EXPORT foundation::json::Value toJson(const WorkerSettings& settings);

}  // namespace korvan::services::connector
