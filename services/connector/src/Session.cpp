#include "Session.hpp"

#include <variant>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

namespace korvan::services::connector::detail {

namespace beast = boost::beast;
namespace net = boost::asio;

Session::Session(net::ip::tcp::socket&& socket, net::ssl::context& tls,
                 std::shared_ptr<ServerShared> shared)
    : fStream(std::move(socket), tls),
      fShared(std::move(shared)),
      fCallTimer(fStream.get_executor()) {
    beast::error_code ec;
    const auto peer = fStream.socket().remote_endpoint(ec);
    fAddress = ec ? std::string("-") : peer.address().to_string();
}

void Session::run() {
    net::dispatch(fStream.get_executor(),
                  beast::bind_front_handler(&Session::onRun, shared_from_this()));
}

void Session::onRun() {
    fStream.expires_after(fShared->fIoTimeout);
    fStream.async_handshake(beast::bind_front_handler(&Session::onHandshake, shared_from_this()));
}

void Session::onHandshake(beast::error_code ec, std::size_t) {
    if (ec) return fail(ec);
    doRead();
}

void Session::doRead() {
    fParser.emplace();
    fParser->body_limit(fShared->fBodyLimit);
    fStream.expires_after(fShared->fIoTimeout);
    http::async_read(fStream, fBuffer, *fParser,
                     beast::bind_front_handler(&Session::onRead, shared_from_this()));
}

namespace {

// A request the parser refused as not HTTP (bad method, target, header, chunk) or as too big
// in its header: answered once, then the connection closes. Time-outs, resets and a peer that
// left in the middle are no request to answer.
bool answerableParseError(beast::error_code ec) {
    return ec.category() == beast::error_code(http::error::bad_target).category() &&
           ec != http::error::partial_message && ec != http::error::end_of_stream &&
           ec != http::error::need_more && ec != http::error::body_limit;
}

}  // namespace

void Session::onRead(beast::error_code ec, std::size_t) {
    if (ec == http::error::end_of_stream) return doClose();
    const bool badRequest = ec && answerableParseError(ec);
    if (ec && ec != http::error::body_limit && !badRequest) return fail(ec);

    const auto& header = fParser->get();
    fInRequest = true;
    fShared->beginRequest();
    fStarted = std::chrono::steady_clock::now();
    const std::string method(header.method_string());
    fEntry =
        AccessLogEntry{std::chrono::system_clock::now(),
                       fAddress,
                       method.empty() ? std::string("-") : method,
                       badRequest ? std::string("-") : std::string(targetPath(header.target())),
                       0,
                       {}};
    if (badRequest) {
        fLinger = true;
        if (ec == http::error::header_limit)
            return doWrite(jsonResponse(
                http::status::request_header_fields_too_large,
                errorBody(errorid::kHeaderTooLarge, "The request line and headers are too large"),
                11, false));
        return doWrite(jsonResponse(
            http::status::bad_request,
            errorBody(errorid::kBadRequest, "The request is not valid HTTP: " + ec.message()), 11,
            false));
    }
    if (fShared->fCheckHost && !hostAllowed(header[http::field::host], fShared->fHostNames))
        return doWrite(hostNotAllowed(fParser->get()));
    if (ec == http::error::body_limit) {
        // The rest of the body is never read, so the connection cannot carry another request.
        fLinger = true;
        return doWrite(jsonResponse(
            http::status::payload_too_large,
            errorBody(errorid::kBodyTooLarge, "The request body is larger than " +
                                                  std::to_string(fShared->fBodyLimit) + " bytes"),
            header.version(), false));
    }
    fRequest = fParser->release();
    auto routed = routeRequest(fRequest, fShared->fContext);
    if (auto* call = std::get_if<FunctionCall>(&routed)) return startCall(std::move(*call));
    doWrite(std::move(std::get<Response>(routed)));
}

void Session::startCall(FunctionCall call) {
    // The outcome may come on any thread; it reaches the strand only while the server runs
    // and the session lives.
    std::weak_ptr<Session> weak = shared_from_this();
    auto done = [weak, shared = fShared](CallOutcome outcome) {
        shared->postToIo([weak, outcome = std::move(outcome)]() mutable {
            if (auto self = weak.lock())
                net::dispatch(self->fStream.get_executor(),
                              [self, outcome = std::move(outcome)]() mutable {
                                  self->onCallDone(std::move(outcome));
                              });
        });
    };
    std::shared_ptr<PendingCall> pending;
    try {
        pending = fShared->fContext.fInvoker.start(std::move(call), std::move(done));
    } catch (const std::exception& e) {
        return doWrite(callResponse(fRequest, {500, errorBody(errorid::kFunctionError, e.what())}));
    }
    ++fCallSerial;
    const auto timeout = pending->timeout();
    if (timeout.count() > 0)
        fCallTimer.expires_after(timeout);
    else
        fCallTimer.expires_at(std::chrono::steady_clock::time_point::max());
    awaitCall(std::move(pending));
}

void Session::awaitCall(std::shared_ptr<PendingCall> pending) {
    fCallTimer.async_wait([self = shared_from_this(), serial = fCallSerial,
                           pending = std::move(pending)](beast::error_code ec) mutable {
        // Cancelled by onCallDone, or expired just as the outcome arrived.
        if (ec == net::error::operation_aborted || self->fCallSerial != serial) return;
        pending->expire();
        // The 503 is on its way to onCallDone: keep holding the session until it arrives.
        self->fCallTimer.expires_at(std::chrono::steady_clock::time_point::max());
        self->awaitCall(std::move(pending));
    });
}

void Session::onCallDone(CallOutcome outcome) {
    ++fCallSerial;  // the timer's wait, if it already expired, no longer belongs to a call
    fCallTimer.cancel();
    doWrite(callResponse(fRequest, std::move(outcome)));
}

void Session::doWrite(Response response) {
    fResponse = std::move(response);
    fStream.expires_after(fShared->fIoTimeout);
    http::async_write(fStream, fResponse,
                      beast::bind_front_handler(&Session::onWrite, shared_from_this()));
}

void Session::onWrite(beast::error_code ec, std::size_t) {
    fEntry.fStatus = fResponse.result_int();
    fEntry.fDuration = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - fStarted);
    fShared->fLog.write(fEntry);
    fInRequest = false;
    fShared->endRequest();
    if (ec) return fail(ec);
    if (!fResponse.keep_alive()) return fLinger ? doLinger() : doClose();
    doRead();
}

void Session::doLinger() {
    // The request was not read to its end, so the peer may still be sending. Closing with
    // unread data would reset the connection, and a reset can destroy the answer before the
    // peer has read it. So: end our side, then read and drop what still comes, for a short
    // time and up to a bound, until the peer closes.
    beast::error_code ignored;
    fStream.socket().shutdown(net::ip::tcp::socket::shutdown_send, ignored);
    fStream.expires_after(kLingerTime);
    fDiscard.resize(16 * 1024);
    fStream.socket().async_read_some(
        net::buffer(fDiscard), beast::bind_front_handler(&Session::onLinger, shared_from_this()));
}

void Session::onLinger(beast::error_code ec, std::size_t bytes) {
    fDiscarded += bytes;
    // The peer closed, the time is up, or enough was dropped: the socket closes with the
    // session.
    if (ec || fDiscarded > kLingerBytes) return;
    fStream.socket().async_read_some(
        net::buffer(fDiscard), beast::bind_front_handler(&Session::onLinger, shared_from_this()));
}

void Session::doClose() {
    fStream.expires_after(fShared->fIoTimeout);
    fStream.async_shutdown(beast::bind_front_handler(&Session::onShutdown, shared_from_this()));
}

void Session::onShutdown(beast::error_code, std::size_t) {
    // The peer may close without its own close_notify (a short read): the connection is over
    // either way, and the socket closes with the session.
}

void Session::fail(beast::error_code ec) {
    // Time-outs, resets, refused handshakes and a peer that leaves without close_notify all end
    // the connection here; none of them is the server's error, so nothing else is reported.
    (void)ec;
    if (fInRequest) {
        fInRequest = false;
        fShared->endRequest();
    }
}

}  // namespace korvan::services::connector::detail
