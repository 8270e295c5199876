// One TLS connection of the connector (internal). The shape of Beast's asynchronous TLS
// server: every step runs on the connection's strand, the session keeps itself alive through
// shared_from_this in each pending handler, each doX starts an operation with a time-out and
// its onX continues; any error ends in one place (fail). A function call is started with the
// invoker and nothing waits for it: its outcome comes back to the strand through the server
// (ServerShared::postToIo), and until then the call timer holds the session. A session exists
// only for a connection the server admitted (ServerShared::admit) and releases it on its end.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>

#include "ServerShared.hpp"
#include "TlsStream.hpp"

namespace korvan::services::connector::detail {

class Session : public std::enable_shared_from_this<Session> {
  public:
    Session(boost::asio::ip::tcp::socket&& socket, boost::asio::ssl::context& tls,
            std::shared_ptr<ServerShared> shared, std::string address);
    /// Gives the connection's place back (ServerShared::admit).
    ~Session();
    void run();

  private:
    void onRun();
    void onHandshake(boost::beast::error_code ec, std::size_t);
    void doRead();
    void onHeader(boost::beast::error_code ec, std::size_t bytes);
    void onRead(boost::beast::error_code ec, std::size_t bytes);
    /// Reads the body of a request whose header passed every check.
    void readBody();
    void beginRequest(bool badRequest);
    void refuse(http::status status, const char* identifier, std::string message);
    void refuseBodyTooLarge();
    void startCall(FunctionCall call);
    void awaitCall(std::shared_ptr<PendingCall> pending);
    void onCallDone(CallOutcome outcome);
    void doWrite(Response response);
    void onWrite(boost::beast::error_code ec, std::size_t bytes);
    void doClose();
    void doLinger();
    void onLinger(boost::beast::error_code ec, std::size_t bytes);
    void onShutdown(boost::beast::error_code ec, std::size_t);
    void fail(boost::beast::error_code ec);

    // All members are used on the session's strand only.
    TlsStream fStream;
    const std::shared_ptr<ServerShared> fShared;
    // Bounded, so that a header block can never hold more than this however it arrives; a
    // body passes through it into the request.
    boost::beast::flat_buffer fBuffer{kBufferLimit};
    std::optional<http::request_parser<http::string_body>> fParser;
    Request fRequest;  // the request being answered
    // Runs while a call is out: its wait holds the session, and on expiry the call expires.
    boost::asio::steady_timer fCallTimer;
    std::uint64_t fCallSerial = 0;  // which call the timer's wait belongs to; bumped at its end
    Response fResponse;
    // "100 Continue", for a client that waits for it before sending its body.
    http::response<http::empty_body> fContinue{http::status::continue_, 11};
    const std::string fAddress;  // the client's address, admitted by ServerShared::admit
    AccessLogEntry fEntry;       // the request being answered
    std::chrono::steady_clock::time_point fStarted;
    bool fInRequest = false;
    bool fCalling = false;  // the request being answered went to a function (a call)
    // Set when an answer is written before the request was read to its end (body too large,
    // not HTTP): the connection then closes by lingering.
    bool fLinger = false;
    std::vector<char> fDiscard;  // what lingering reads and drops
    std::size_t fDiscarded = 0;
    std::size_t fHeaderFields = 0;  // fields of the header; more after the body: a trailer

    static constexpr std::uint32_t kHeaderLimit = 8 * 1024;
    static constexpr std::size_t kBufferLimit = 16 * 1024;
    static constexpr std::chrono::seconds kLingerTime{2};
    static constexpr std::size_t kLingerBytes = 4 * 1024 * 1024;
};

}  // namespace korvan::services::connector::detail
