#include "TlsStream.hpp"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <sys/socket.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <new>

#include <boost/asio/error.hpp>
#include <boost/asio/ssl/error.hpp>

namespace korvan::services::connector::detail {
namespace {

namespace net = boost::asio;

// A BIO on a non-blocking socket descriptor (BIO_get_data) that reads with recv and writes
// with send(MSG_NOSIGNAL): OpenSSL's own socket BIO writes with write(), which raises SIGPIPE
// when the peer has gone.
int socketFd(BIO* bio) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(BIO_get_data(bio)));
}

bool wouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

int bioWrite(BIO* bio, const char* data, int size) {
    BIO_clear_retry_flags(bio);
    const ssize_t n = ::send(socketFd(bio), data, static_cast<std::size_t>(size), MSG_NOSIGNAL);
    if (n < 0 && wouldBlock(errno)) BIO_set_retry_write(bio);
    return static_cast<int>(n);
}

int bioRead(BIO* bio, char* out, int size) {
    BIO_clear_retry_flags(bio);
    const ssize_t n = ::recv(socketFd(bio), out, static_cast<std::size_t>(size), 0);
    if (n < 0 && wouldBlock(errno)) BIO_set_retry_read(bio);
    return static_cast<int>(n);
}

long bioControl(BIO*, int command, long, void*) {
    // OpenSSL flushes after each record it writes; the socket has nothing to flush.
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

int bioCreate(BIO* bio) {
    BIO_set_init(bio, 1);
    return 1;
}

BIO_METHOD* socketMethod() {
    static BIO_METHOD* const method = [] {
        BIO_METHOD* m =
            BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK | BIO_TYPE_DESCRIPTOR,
                         "korvan connector socket");
        if (!m || !BIO_meth_set_write(m, bioWrite) || !BIO_meth_set_read(m, bioRead) ||
            !BIO_meth_set_ctrl(m, bioControl) || !BIO_meth_set_create(m, bioCreate))
            throw std::bad_alloc();
        return m;
    }();
    return method;
}

// The error of a failed OpenSSL step: the peer's close_notify is the end of the stream, a
// connection that ended without one is a truncated stream (as Asio's ssl::stream reports
// them), anything else OpenSSL's own error or the socket's errno.
boost::beast::error_code stepError(int sslError, int savedErrno) {
    if (sslError == SSL_ERROR_ZERO_RETURN) return net::error::eof;
    const unsigned long queued = ERR_peek_last_error();
    if (sslError == SSL_ERROR_SSL && ERR_GET_REASON(queued) == SSL_R_UNEXPECTED_EOF_WHILE_READING)
        return net::ssl::error::stream_truncated;
    if (sslError == SSL_ERROR_SYSCALL && queued == 0)
        return savedErrno != 0
                   ? boost::beast::error_code(savedErrno, boost::system::system_category())
                   : boost::beast::error_code(net::ssl::error::stream_truncated);
    return {static_cast<int>(queued), net::error::get_ssl_category()};
}

}  // namespace

TlsStream::TlsStream(net::ip::tcp::socket&& socket, net::ssl::context& context)
    : fSocket(std::move(socket)), fDeadline(fSocket.get_executor()) {
    fSsl = SSL_new(context.native_handle());
    BIO* bio = BIO_new(socketMethod());
    if (!fSsl || !bio) {
        BIO_free(bio);
        SSL_free(fSsl);
        throw std::bad_alloc();
    }
    BIO_set_data(bio, reinterpret_cast<void*>(static_cast<std::intptr_t>(fSocket.native_handle())));
    SSL_set_bio(fSsl, bio, bio);  // the SSL object owns the BIO
    SSL_set_accept_state(fSsl);
    boost::system::error_code ignored;
    fSocket.non_blocking(true, ignored);
    // OpenSSL sends each record as it is made (a flight's last handshake messages, the session
    // tickets, then the answer): without this, Nagle's algorithm holds a small record back
    // until the peer's delayed acknowledgement, some 40 ms.
    fSocket.set_option(net::ip::tcp::no_delay(true), ignored);
}

TlsStream::~TlsStream() {
    SSL_free(fSsl);
}

void TlsStream::expires_after(std::chrono::steady_clock::duration timeout) {
    fTimedOut = false;
    fDeadline.expires_after(timeout);
    // The wait never outlives the stream unnoticed: destroying the timer aborts it, and an
    // aborted wait touches nothing. A deadline that expired just as it was replaced may still
    // run: its serial is no longer the stream's, and it is ignored.
    fDeadline.async_wait([this, serial = ++fDeadlineSerial](const boost::system::error_code& ec) {
        if (ec || serial != fDeadlineSerial) return;
        fTimedOut = true;
        boost::system::error_code ignored;
        fSocket.cancel(ignored);
    });
}

TlsStream::Outcome TlsStream::attempt(Step step, net::mutable_buffer buffer, std::size_t& bytes,
                                      boost::beast::error_code& ec) {
    bytes = 0;
    if ((step == Step::Read || step == Step::Write) && buffer.size() == 0) return Outcome::Done;
    const int size = static_cast<int>(std::min<std::size_t>(buffer.size(), INT_MAX));
    ERR_clear_error();
    errno = 0;
    int result = 0;
    switch (step) {
        case Step::Handshake:
            result = SSL_do_handshake(fSsl);
            break;
        case Step::Read:
            result = SSL_read(fSsl, buffer.data(), size);
            break;
        case Step::Write:
            result = SSL_write(fSsl, buffer.data(), size);
            break;
        case Step::Shutdown:
            // 0: our close_notify is out and the peer's has not come; that is enough.
            result = SSL_shutdown(fSsl);
            if (result == 0) return Outcome::Done;
            break;
    }
    if (result > 0) {
        if (step == Step::Read || step == Step::Write) bytes = static_cast<std::size_t>(result);
        return Outcome::Done;
    }
    const int savedErrno = errno;
    const int sslError = SSL_get_error(fSsl, result);
    if (sslError == SSL_ERROR_WANT_READ) return Outcome::WantRead;
    if (sslError == SSL_ERROR_WANT_WRITE) return Outcome::WantWrite;
    ec = stepError(sslError, savedErrno);
    ERR_clear_error();
    return Outcome::Failed;
}

}  // namespace korvan::services::connector::detail
