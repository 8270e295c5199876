#include "Session.hpp"

#include <iterator>
#include <optional>
#include <variant>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/json.hpp>

namespace korvan::services::connector::detail {

namespace beast = boost::beast;
namespace net = boost::asio;

Session::Session(net::ip::tcp::socket&& socket, net::ssl::context& tls,
                 std::shared_ptr<ServerShared> shared, std::string address)
    : fStream(std::move(socket), tls),
      fShared(std::move(shared)),
      fCallTimer(fStream.get_executor()),
      fAddress(std::move(address)) {}

Session::~Session() {
    fShared->release(fAddress);
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
    // No body limit yet: it applies only once the header has passed every check (below).
    fParser->body_limit(boost::none);
    fParser->header_limit(kHeaderLimit);
    fStream.expires_after(fShared->fIoTimeout);
    // The header first: a request it refuses is answered before any of its body is read.
    http::async_read_header(fStream, fBuffer, *fParser,
                            beast::bind_front_handler(&Session::onHeader, shared_from_this()));
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

bool sameText(std::string_view a, std::string_view b) {
    return beast::iequals(a, b);
}

// Why a header that parsed cannot be answered safely, or nothing. A body framed in any way
// but plain chunked or one Content-Length could be read differently by a proxy in front of
// us, and the rest of it taken for a second request.
std::optional<std::string> framingProblem(const Request& header) {
    if (header.count(http::field::host) > 1) return "more than one Host header";
    if (header.count(http::field::content_length) > 1) return "more than one Content-Length header";
    const auto te = header.count(http::field::transfer_encoding);
    if (te > 1) return "more than one Transfer-Encoding header";
    if (te == 1 && !sameText(header[http::field::transfer_encoding], "chunked"))
        return "a Transfer-Encoding other than \"chunked\"";
    return std::nullopt;
}

// "<identifier>: <message>" of an error answer's body, or the body's first bytes when it is
// not one.
std::string problemOf(const std::string& body) {
    boost::system::error_code ec;
    boost::json::value parsed = boost::json::parse(body, ec);
    if (!ec && parsed.is_object()) {
        const boost::json::object& object = parsed.as_object();
        const boost::json::value* error = object.if_contains("error");
        if (error && error->is_object()) {
            const boost::json::value* id = error->as_object().if_contains("identifier");
            const boost::json::value* message = error->as_object().if_contains("message");
            if (id && id->is_string() && message && message->is_string())
                return std::string(id->as_string()) + ": " + std::string(message->as_string());
        }
    }
    return body.substr(0, 200);
}

std::size_t fieldCount(const Request& request) {
    return static_cast<std::size_t>(std::distance(request.begin(), request.end()));
}

}  // namespace

void Session::beginRequest(bool badRequest) {
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
                       {},
                       fShared->nextRequestId(),
                       {}};
    fCalling = false;
}

void Session::refuse(http::status status, const char* identifier, std::string message) {
    // The request was not read to its end: the connection closes by lingering.
    fLinger = true;
    doWrite(jsonResponse(status, errorBody(identifier, message), 11, false));
}

void Session::refuseBodyTooLarge() {
    refuse(http::status::payload_too_large, errorid::kBodyTooLarge,
           "The request body is larger than " + std::to_string(fShared->fBodyLimit) + " bytes");
}

void Session::onHeader(beast::error_code ec, std::size_t) {
    if (ec == http::error::end_of_stream) return doClose();
    // A header block larger than the buffer may hold is too large however it came.
    const bool tooLarge = ec == http::error::header_limit || ec == http::error::buffer_overflow;
    const bool badRequest = ec && (tooLarge || answerableParseError(ec));
    if (ec && !badRequest) return fail(ec);
    beginRequest(badRequest);
    if (tooLarge)
        return refuse(http::status::request_header_fields_too_large, errorid::kHeaderTooLarge,
                      "The request line and headers are too large");
    if (badRequest)
        return refuse(http::status::bad_request, errorid::kBadRequest,
                      "The request is not valid HTTP: " + ec.message());
    const auto& header = fParser->get();
    if (auto problem = framingProblem(header))
        return refuse(http::status::bad_request, errorid::kBadRequest,
                      "The request is not valid HTTP: " + *problem);
    if (fShared->fCheckHost && !hostAllowed(header[http::field::host], fShared->fHostNames))
        return doWrite(hostNotAllowed(header));
    if (auto answer = answerFromHeader(header, fShared->fContext)) {
        if (!fParser->is_done()) {
            // Its body is never read, so the connection cannot carry another request.
            answer->keep_alive(false);
            fLinger = true;
        }
        return doWrite(std::move(*answer));
    }
    fHeaderFields = fieldCount(header);
    const auto length = fParser->content_length();
    if (length && *length > fShared->fBodyLimit) return refuseBodyTooLarge();
    fParser->body_limit(fShared->fBodyLimit);
    // A client that announced "Expect: 100-continue" (curl does for bodies over 1 MiB) waits
    // for this before it sends the body, or gives up waiting after a second.
    if (beast::iequals(header[http::field::expect], "100-continue") && !fParser->is_done()) {
        fContinue.version(header.version());
        fStream.expires_after(fShared->fIoTimeout);
        return http::async_write(fStream, fContinue,
                                 [self = shared_from_this()](beast::error_code ec, std::size_t) {
                                     if (ec) return self->fail(ec);
                                     self->readBody();
                                 });
    }
    readBody();
}

void Session::readBody() {
    fStream.expires_after(fShared->fIoTimeout);
    http::async_read(fStream, fBuffer, *fParser,
                     beast::bind_front_handler(&Session::onRead, shared_from_this()));
}

void Session::onRead(beast::error_code ec, std::size_t) {
    if (ec == http::error::body_limit) return refuseBodyTooLarge();
    if (ec && answerableParseError(ec))
        return refuse(http::status::bad_request, errorid::kBadRequest,
                      "The request is not valid HTTP: " + ec.message());
    if (ec) return fail(ec);
    // The parser adds the fields of a chunked body's trailer to the header: they must never
    // take part in routing or authorisation, so a request carrying any is refused.
    if (fieldCount(fParser->get()) != fHeaderFields)
        return refuse(http::status::bad_request, errorid::kBadRequest,
                      "The request is not valid HTTP: trailer fields are not accepted");
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
    fCalling = true;
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
    // Every answer names its request, so a caller can quote it and the operator find it.
    if (fInRequest) fResponse.set(kRequestIdField, fEntry.fRequestId);
    fStream.expires_after(fShared->fIoTimeout);
    http::async_write(fStream, fResponse,
                      beast::bind_front_handler(&Session::onWrite, shared_from_this()));
}

void Session::onWrite(beast::error_code ec, std::size_t) {
    fEntry.fStatus = fResponse.result_int();
    if (fEntry.fStatus >= 500 || (fCalling && fEntry.fStatus >= 400))
        fEntry.fProblem = problemOf(fResponse.body());
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
