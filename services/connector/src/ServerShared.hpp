// State that every session of one running server shares (internal). Owned by HttpsServer and
// by each session through a shared pointer, so a session finishing after stop() still finds it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include <boost/asio/thread_pool.hpp>

#include "korvan/services/connector/AccessLog.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace korvan::services::connector::detail {

struct ServerShared {
    ServerShared(RequestContext context, AccessLog& log, std::size_t bodyLimit,
                 std::chrono::milliseconds ioTimeout, bool checkHost,
                 std::vector<std::string> hostNames, boost::asio::thread_pool& callPool)
        : fContext(std::move(context)),
          fLog(log),
          fBodyLimit(bodyLimit),
          fIoTimeout(ioTimeout),
          fCheckHost(checkHost),
          fHostNames(std::move(hostNames)),
          fCallPool(callPool) {}

    // Constant after construction.
    const RequestContext fContext;
    AccessLog& fLog;
    const std::size_t fBodyLimit;
    const std::chrono::milliseconds fIoTimeout;
    const bool fCheckHost;                      // local mode: only hostAllowed() Host values
    const std::vector<std::string> fHostNames;  // the configured HostName, if any
    boost::asio::thread_pool& fCallPool;        // runs calls that wait for the interpreter

    // Requests read and not yet answered; stop() waits for zero. Guarded by fInFlightLock.
    std::mutex fInFlightLock;
    std::condition_variable fInFlightDone;
    int fInFlight = 0;

    void beginRequest() {
        std::lock_guard lock(fInFlightLock);
        ++fInFlight;
    }
    void endRequest() {
        std::lock_guard lock(fInFlightLock);
        if (--fInFlight == 0) fInFlightDone.notify_all();
    }
};

}  // namespace korvan::services::connector::detail
