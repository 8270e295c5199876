// State that every session of one running server shares (internal). Owned by HttpsServer, by
// each session and by each call in flight through a shared pointer, so a session or a call
// finishing after stop() still finds it.
#pragma once

#include <malloc.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include "korvan/services/connector/AccessLog.hpp"
#include "korvan/services/connector/RequestHandler.hpp"

namespace korvan::services::connector::detail {

/// "<8 random hex digits>-".
inline std::string randomIdPrefix() {
    char text[16];
    std::snprintf(text, sizeof text, "%08x-", static_cast<unsigned>(std::random_device{}()));
    return text;
}

struct ServerShared {
    ServerShared(RequestContext context, AccessLog& log, std::size_t bodyLimit,
                 std::chrono::milliseconds ioTimeout, bool checkHost,
                 std::vector<std::string> hostNames, std::size_t maxConnections,
                 std::size_t maxPerAddress, boost::asio::io_context& io)
        : fContext(std::move(context)),
          fLog(log),
          fBodyLimit(bodyLimit),
          fIoTimeout(ioTimeout),
          fCheckHost(checkHost),
          fHostNames(std::move(hostNames)),
          fMaxConnections(maxConnections),
          fMaxPerAddress(maxPerAddress),
          fIo(&io) {}

    /// A new request's identifier, "<8 hex digits of this server>-<serial>": unique among the
    /// server's requests, and a server started later (another run, a flip) has other digits.
    /// Any thread.
    std::string nextRequestId() {
        std::string id = fIdPrefix;
        id += std::to_string(fRequestSerial.fetch_add(1, std::memory_order_relaxed) + 1);
        return id;
    }

    // Constant after construction.
    const RequestContext fContext;
    AccessLog& fLog;
    const std::size_t fBodyLimit;
    const std::chrono::milliseconds fIoTimeout;
    const bool fCheckHost;                      // local mode: only hostAllowed() Host values
    const std::vector<std::string> fHostNames;  // the configured HostName, if any
    const std::string fIdPrefix = randomIdPrefix();
    std::atomic<std::uint64_t> fRequestSerial{0};

    /// Counts a new connection from `address`; false when it would pass a cap (it is then
    /// closed unread). Any thread.
    bool admit(const std::string& address) {
        std::lock_guard lock(fConnectionsLock);
        if (fOpen >= fMaxConnections) return false;
        if (fMaxPerAddress > 0) {
            auto& count = fPerAddress[address];
            if (count >= fMaxPerAddress) return false;
            ++count;
        }
        ++fOpen;
        return true;
    }
    /// A connection admitted from `address` has ended. When it was the last, the memory the
    /// connections used goes back to the system (glibc keeps freed memory otherwise). Any thread.
    void release(const std::string& address) {
        bool last;
        {
            std::lock_guard lock(fConnectionsLock);
            if (fMaxPerAddress > 0) {
                auto it = fPerAddress.find(address);
                if (it != fPerAddress.end() && --it->second == 0) fPerAddress.erase(it);
            }
            last = --fOpen == 0;
        }
        if (last) malloc_trim(0);
    }
    std::size_t openConnections() {
        std::lock_guard lock(fConnectionsLock);
        return fOpen;
    }

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
    const std::size_t fMaxConnections;
    const std::size_t fMaxPerAddress;  // 0: no limit per address
    std::mutex fConnectionsLock;
    std::size_t fOpen = 0;                                     // guarded by fConnectionsLock
    std::unordered_map<std::string, std::size_t> fPerAddress;  // guarded by fConnectionsLock
    std::mutex fIoLock;
    boost::asio::io_context* fIo;  // guarded by fIoLock; null once the server has stopped
};

}  // namespace korvan::services::connector::detail
