// State that every session of one running server shares (internal). Owned by HttpsServer and
// by each session through a shared pointer, so a session finishing after stop() still finds it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

#include <boost/asio/thread_pool.hpp>

#include "korvan/services/connector/AccessLog.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace korvan::services::connector::detail {

struct ServerShared {
    ServerShared(RequestContext context, AccessLog& log, std::size_t bodyLimit,
                 std::chrono::milliseconds ioTimeout, boost::asio::thread_pool& callPool)
        : fContext(std::move(context)),
          fLog(log),
          fBodyLimit(bodyLimit),
          fIoTimeout(ioTimeout),
          fCallPool(callPool) {}

    // Constant after construction.
    const RequestContext fContext;
    AccessLog& fLog;
    const std::size_t fBodyLimit;
    const std::chrono::milliseconds fIoTimeout;
    boost::asio::thread_pool& fCallPool;  // runs calls that wait for the interpreter

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
