// A server-side TLS stream over a TCP socket in which OpenSSL reads and writes the socket
// itself (internal). It meets Beast's AsyncStream requirements, so http::async_read and
// http::async_write use it as they would an ssl_stream.
//
// Why not Asio's ssl::stream: that one keeps two 17 KiB buffers of its own and a BIO pair with
// two more for every connection, busy or not, about 68 KiB per connection. Here the TLS
// records go straight between the socket and OpenSSL's own record buffers, which the server's
// context releases while a connection is idle (SSL_MODE_RELEASE_BUFFERS), so an open
// connection costs its SSL object and little else. The socket is non-blocking; an operation
// tries OpenSSL and, when OpenSSL needs the socket to be readable or writable, waits for that
// with the socket's async_wait and tries again.
//
// Time-outs: expires_after() starts a deadline for the operations that follow; when it passes,
// the operation waiting on the socket ends with beast::error::timeout (as with
// beast::tcp_stream). Every operation is started on the stream's executor (the connection's
// strand), one at a time: a read and a write never overlap. The socket's writes never raise
// SIGPIPE (send with MSG_NOSIGNAL).
//
// Owns: the socket, the SSL object (freed with the stream) and the deadline timer.
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <boost/asio/buffer.hpp>
#include <boost/asio/compose.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/error.hpp>

namespace korvan::services::connector::detail {

class TlsStream {
  public:
    using executor_type = boost::asio::ip::tcp::socket::executor_type;

    /// Takes an accepted socket; the handshake is still to come (async_handshake).
    TlsStream(boost::asio::ip::tcp::socket&& socket, boost::asio::ssl::context& context);
    ~TlsStream();
    TlsStream(const TlsStream&) = delete;
    TlsStream& operator=(const TlsStream&) = delete;

    executor_type get_executor() noexcept { return fSocket.get_executor(); }
    boost::asio::ip::tcp::socket& socket() noexcept { return fSocket; }

    /// The operations started from now on end with beast::error::timeout once `timeout` has
    /// passed. A new call replaces the deadline.
    void expires_after(std::chrono::steady_clock::duration timeout);

    // Every operation completes with (error, bytes moved); the handshake and the shutdown
    // move none.
    template <class Handler>
    auto async_handshake(Handler&& handler) {
        return start(Step::Handshake, boost::asio::mutable_buffer{},
                     std::forward<Handler>(handler));
    }
    /// Sends close_notify and completes; the peer's own close_notify is not waited for.
    template <class Handler>
    auto async_shutdown(Handler&& handler) {
        return start(Step::Shutdown, boost::asio::mutable_buffer{}, std::forward<Handler>(handler));
    }
    template <class MutableBufferSequence, class Handler>
    auto async_read_some(const MutableBufferSequence& buffers, Handler&& handler) {
        return start(Step::Read, firstBuffer(buffers), std::forward<Handler>(handler));
    }
    /// Writes the sequence as one TLS record when it has several buffers (Beast writes a
    /// response's header and body as separate buffers), up to kCoalesceLimit bytes.
    template <class ConstBufferSequence, class Handler>
    auto async_write_some(const ConstBufferSequence& buffers, Handler&& handler) {
        return start(Step::Write, gather(buffers), std::forward<Handler>(handler));
    }

    static constexpr std::size_t kCoalesceLimit = 16 * 1024;

  private:
    enum class Step { Handshake, Read, Write, Shutdown };
    enum class Outcome { Done, WantRead, WantWrite, Failed };

    // One try of `step` on OpenSSL. Done: `bytes` moved; Failed: `ec` says why.
    Outcome attempt(Step step, boost::asio::mutable_buffer buffer, std::size_t& bytes,
                    boost::beast::error_code& ec);

    template <class MutableBufferSequence>
    static boost::asio::mutable_buffer firstBuffer(const MutableBufferSequence& buffers) {
        for (auto it = boost::asio::buffer_sequence_begin(buffers);
             it != boost::asio::buffer_sequence_end(buffers); ++it)
            if (boost::asio::mutable_buffer b(*it); b.size() > 0) return b;
        return {};
    }

    template <class ConstBufferSequence>
    boost::asio::mutable_buffer gather(const ConstBufferSequence& buffers) {
        std::size_t count = 0;
        boost::asio::const_buffer only;
        for (auto it = boost::asio::buffer_sequence_begin(buffers);
             it != boost::asio::buffer_sequence_end(buffers); ++it)
            if (boost::asio::const_buffer b(*it); b.size() > 0) {
                only = b;
                ++count;
            }
        // OpenSSL only reads what it writes; the cast keeps one buffer type for all steps.
        if (count <= 1) return {const_cast<void*>(only.data()), only.size()};
        fGathered.resize(std::min(boost::asio::buffer_size(buffers), kCoalesceLimit));
        const std::size_t n = boost::asio::buffer_copy(boost::asio::buffer(fGathered), buffers);
        return {fGathered.data(), n};
    }

    // The composed operation: tries the step, waits on the socket while OpenSSL wants it,
    // completes with (error, bytes). A step that finishes at once completes through a post,
    // never inside the call that started it.
    struct Operation {
        TlsStream& fStream;
        Step fStep;
        boost::asio::mutable_buffer fBuffer;
        enum class State { Starting, Waiting, Finishing } fState = State::Starting;
        boost::beast::error_code fResult{};
        std::size_t fBytes = 0;

        template <class Self>
        void operator()(Self& self, boost::beast::error_code ec = {}) {
            if (fState == State::Finishing) return self.complete(fResult, fBytes);
            if (fState == State::Waiting && ec) {
                if (fStream.fTimedOut) ec = boost::beast::error::timeout;
                return self.complete(ec, 0);
            }
            std::size_t bytes = 0;
            const Outcome outcome = fStream.attempt(fStep, fBuffer, bytes, ec);
            if (outcome == Outcome::WantRead || outcome == Outcome::WantWrite) {
                if (fStream.fTimedOut) return finish(self, boost::beast::error::timeout, 0);
                fState = State::Waiting;
                return fStream.fSocket.async_wait(outcome == Outcome::WantRead
                                                      ? boost::asio::socket_base::wait_read
                                                      : boost::asio::socket_base::wait_write,
                                                  std::move(self));
            }
            finish(self, ec, bytes);
        }

        template <class Self>
        void finish(Self& self, boost::beast::error_code ec, std::size_t bytes) {
            if (fState == State::Waiting) return self.complete(ec, bytes);
            fState = State::Finishing;
            fResult = ec;
            fBytes = bytes;
            boost::asio::post(std::move(self));
        }
    };

    template <class Handler>
    auto start(Step step, boost::asio::mutable_buffer buffer, Handler&& handler) {
        return boost::asio::async_compose<Handler, void(boost::beast::error_code, std::size_t)>(
            Operation{*this, step, buffer}, handler, fSocket);
    }

    boost::asio::ip::tcp::socket fSocket;
    SSL* fSsl = nullptr;
    boost::asio::steady_timer fDeadline;
    bool fTimedOut = false;             // the deadline passed; cleared by expires_after()
    std::uint64_t fDeadlineSerial = 0;  // which expires_after() the pending deadline is
    std::vector<char> fGathered;        // a write's buffers in one piece, kept for the next write
};

}  // namespace korvan::services::connector::detail
