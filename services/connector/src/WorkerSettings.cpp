#include "korvan/services/connector/WorkerSettings.hpp"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "AvailableCores.hpp"
#include "SettingsFile.hpp"

namespace korvan::services::connector {
namespace {

using foundation::json::Value;

constexpr const char* kWhat = "function worker settings";

[[noreturn]] void invalid(const std::filesystem::path& file, const std::string& problem) {
    detail::invalidSettings(file, kWhat, problem);
}

std::size_t wholeNumber(const std::filesystem::path& file, const std::string& key,
                        const Value& value, double low, double high) {
    return detail::wholeSetting(file, kWhat, key, value, low, high);
}

}  // namespace

WorkerSettings defaultWorkerSettings() {
    WorkerSettings s;
    s.fWorkers = std::clamp(detail::availableCores(), 1u, 64u);
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    if (pages > 0 && pageSize > 0) {
        const std::size_t mib =
            static_cast<std::size_t>(pages) / 1024 * static_cast<std::size_t>(pageSize) / 1024;
        s.fMemoryLimitMiB = std::clamp<std::size_t>(mib / 4, 256, 8192);
    }
    return s;
}

WorkerSettings readWorkerSettings(const std::filesystem::path& file, WorkerSettings base) {
    const Value doc = detail::readSettingsObject(file, kWhat);
    if (!doc.isObject()) return base;  // no file
    for (const auto& [key, value] : doc.asObject()) {
        if (key == "workers") {
            base.fWorkers = static_cast<unsigned>(wholeNumber(file, key, value, 1, 64));
        } else if (key == "callTimeoutSeconds") {
            const double d = value.isNumber() ? value.asNumber() : NAN;
            if (!(d >= 0.01 && d <= 86400))
                invalid(file,
                        "\"callTimeoutSeconds\" must be a number of seconds from 0.01 to 86400");
            base.fCallTimeout = std::chrono::milliseconds(std::llround(d * 1000));
        } else if (key == "memoryLimitMiB") {
            base.fMemoryLimitMiB = wholeNumber(file, key, value, 256, 1024 * 1024);
        } else if (key == "queueLength") {
            base.fQueueLength = wholeNumber(file, key, value, 0, 100000);
        } else {
            invalid(file,
                    "unknown key \"" + key +
                        "\" (known: workers, callTimeoutSeconds, memoryLimitMiB, queueLength)");
        }
    }
    return base;
}

Value toJson(const WorkerSettings& s) {
    Value v;
    v.set("workers", Value(s.fWorkers));
    v.set("callTimeoutSeconds", Value(static_cast<double>(s.fCallTimeout.count()) / 1000.0));
    v.set("memoryLimitMiB", Value(s.fMemoryLimitMiB));
    v.set("queueLength", Value(s.fQueueLength));
    return v;
}

}  // namespace korvan::services::connector
