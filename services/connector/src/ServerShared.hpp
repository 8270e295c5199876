// State that every session of one running server shares (internal). Owned by HttpsServer, by
// each session and by each call in flight through a shared pointer, so a session or a call
// finishing after stop() still finds it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include "korvan/services/connector/AccessLog.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace korvan::services::connector::detail {

struct ServerShared {
    ServerShared(RequestContext context, AccessLog& log, std::size_t bodyLimit,
                 std::chrono::milliseconds ioTimeout, bool checkHost,
                 std::vector<std::string> hostNames, boost::asio::io_context& io)
        : fContext(std::move(context)),
          fLog(log),
          fBodyLimit(bodyLimit),
          fIoTimeout(ioTimeout),
          fCheckHost(checkHost),
          fHostNames(std::move(hostNames)),
          fIo(&io) {}

    // Constant after construction.
    const RequestContext fContext;
    AccessLog& fLog;
    const std::size_t fBodyLimit;
    const std::chrono::milliseconds fIoTimeout;
    const bool fCheckHost;                      // local mode: only hostAllowed() Host values
    const std::vector<std::string> fHostNames;  // the configured HostName, if any

    // Requests read and not yet answered; stop() waits for zero. Guarded by fInFlightLock.
    std::mutex fInFlightLock;
    std::condition_variable fInFlightDone;
    int fInFlight = 0;

    void beginRequest() {
        std::lock_guard lock(fInFlightLock);
        ++fInFlight;
    }
    /// Also flushes the access log when no request is left in flight.
    void endRequest() {
        bool idle;
        {
            std::lock_guard lock(fInFlightLock);
            idle = --fInFlight == 0;
            if (idle) fInFlightDone.notify_all();
        }
        if (idle) fLog.flush();
    }

    /// Hands `handler` to the I/O threads from a thread of no server (the interpreter thread
    /// settling a call). Returns false, dropping the handler, once the server has stopped: its
    /// io_context may be gone by then.
    template <class Handler>
    bool postToIo(Handler&& handler) {
        std::lock_guard lock(fIoLock);
        if (!fIo) return false;
        boost::asio::post(*fIo, std::forward<Handler>(handler));
        return true;
    }
    /// Called by HttpsServer::stop() before its io_context goes away.
    void closeIo() {
        std::lock_guard lock(fIoLock);
        fIo = nullptr;
    }

  private:
    std::mutex fIoLock;
    boost::asio::io_context* fIo;  // guarded by fIoLock; null once the server has stopped
};

}  // namespace korvan::services::connector::detail
