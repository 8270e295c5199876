#include "korvan/services/connector/WorkerProtocol.hpp"

#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace korvan::services::connector::worker {
namespace {

void put32(std::string& out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xff));
}
void put64(std::string& out, std::uint64_t v) {
    for (int i = 0; i < 8; ++i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xff));
}

// Reads fixed-size fields off the front of a payload.
struct Cursor {
    std::string_view fRest;
    bool fOk = true;

    std::uint64_t take(std::size_t bytes) {
        if (fRest.size() < bytes) {
            fOk = false;
            return 0;
        }
        std::uint64_t v = 0;
        for (std::size_t i = 0; i < bytes; ++i)
            v |= static_cast<std::uint64_t>(static_cast<unsigned char>(fRest[i])) << (8 * i);
        fRest.remove_prefix(bytes);
        return v;
    }
    std::string_view text(std::size_t bytes) {
        if (fRest.size() < bytes) {
            fOk = false;
            return {};
        }
        std::string_view t = fRest.substr(0, bytes);
        fRest.remove_prefix(bytes);
        return t;
    }
};

std::string framed(std::string payload) {
    std::string frame;
    frame.reserve(kFrameHeader + payload.size());
    put32(frame, static_cast<std::uint32_t>(payload.size()));
    frame += payload;
    return frame;
}

}  // namespace

std::string encode(const CallRequest& r) {
    std::string p;
    p.reserve(24 + r.fFunction.size() + r.fArgs.size());
    put64(p, r.fCall);
    put64(p, r.fDeadline);
    put32(p, r.fNargout);
    put32(p, static_cast<std::uint32_t>(r.fFunction.size()));
    p += r.fFunction;
    p += r.fArgs;
    return framed(std::move(p));
}

std::string encode(const CallAnswer& a) {
    std::string frame;
    const std::size_t payload = 12 + a.fBody.size();
    frame.reserve(kFrameHeader + payload);
    put32(frame, static_cast<std::uint32_t>(payload));
    put64(frame, a.fCall);
    put32(frame, a.fStatus);
    frame += a.fBody;
    return frame;
}

std::uint32_t frameLength(const char* header) noexcept {
    std::uint32_t v = 0;
    for (int i = 0; i < 4; ++i)
        v |= static_cast<std::uint32_t>(static_cast<unsigned char>(header[i])) << (8 * i);
    return v;
}

std::optional<CallRequest> decodeRequest(std::string_view payload) {
    Cursor c{payload};
    CallRequest r;
    r.fCall = c.take(8);
    r.fDeadline = c.take(8);
    r.fNargout = static_cast<std::uint32_t>(c.take(4));
    const auto nameLength = static_cast<std::size_t>(c.take(4));
    r.fFunction = std::string(c.text(nameLength));
    if (!c.fOk) return std::nullopt;
    r.fArgs = std::string(c.fRest);
    return r;
}

std::optional<CallAnswer> decodeAnswer(std::string_view payload) {
    Cursor c{payload};
    CallAnswer a;
    a.fCall = c.take(8);
    a.fStatus = static_cast<std::uint32_t>(c.take(4));
    if (!c.fOk) return std::nullopt;
    a.fBody = std::string(c.fRest);
    return a;
}

namespace {

bool readAll(int fd, char* at, std::size_t bytes) {
    while (bytes > 0) {
        const ssize_t n = ::read(fd, at, bytes);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        at += n;
        bytes -= static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

std::optional<std::string> readFrame(int fd) {
    char header[kFrameHeader];
    if (!readAll(fd, header, sizeof header)) return std::nullopt;
    const std::uint32_t length = frameLength(header);
    if (length > kMaxFrame) return std::nullopt;
    std::string payload(length, '\0');
    if (!readAll(fd, payload.data(), length)) return std::nullopt;
    return payload;
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

namespace {

bool writeFile(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

// The payload of a whole frame; nullopt when its header does not match its size.
std::optional<std::string> payloadOf(std::string_view frame) {
    if (frame.size() < kFrameHeader || frameLength(frame.data()) != frame.size() - kFrameHeader)
        return std::nullopt;
    return std::string(frame.substr(kFrameHeader));
}

}  // namespace

SendResult sendCall(int queue, std::string_view frame) {
    const auto sent = [](ssize_t n) {
        if (n >= 0) return SendResult::Sent;
        return errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS ? SendResult::Full
                                                                           : SendResult::Failed;
    };
    if (frame.size() <= kInlineCall) {
        ssize_t n;
        do n = ::send(queue, frame.data(), frame.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        while (n < 0 && errno == EINTR);
        return sent(n);
    }
    const int file = ::memfd_create("korvan-call", MFD_CLOEXEC);
    if (file < 0) return SendResult::Failed;
    if (!writeFile(file, frame)) {
        ::close(file);
        return SendResult::Failed;
    }
    char marker = 'f';
    iovec iov{&marker, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    cmsghdr* cmsg = CMSG_FIRSTHDR(&msg);
    cmsg->cmsg_level = SOL_SOCKET;
    cmsg->cmsg_type = SCM_RIGHTS;
    cmsg->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(cmsg), &file, sizeof(int));
    ssize_t n;
    do n = ::sendmsg(queue, &msg, MSG_DONTWAIT | MSG_NOSIGNAL);
    while (n < 0 && errno == EINTR);
    const SendResult result = sent(n);
    ::close(file);  // the message holds its own reference
    return result;
}

std::optional<std::string> receiveCall(int queue) {
    static thread_local std::string buffer(kInlineCall, '\0');
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    iovec iov{buffer.data(), buffer.size()};
    msghdr msg{};
    ssize_t n;
    do {
        msg = msghdr{};
        msg.msg_iov = &iov;
        msg.msg_iovlen = 1;
        msg.msg_control = control;
        msg.msg_controllen = sizeof control;
        n = ::recvmsg(queue, &msg, MSG_CMSG_CLOEXEC);
    } while (n < 0 && errno == EINTR);
    if (n <= 0 || (msg.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0) return std::nullopt;
    const cmsghdr* cmsg = CMSG_FIRSTHDR(&msg);
    if (!cmsg) return payloadOf(std::string_view(buffer.data(), static_cast<std::size_t>(n)));
    if (cmsg->cmsg_level != SOL_SOCKET || cmsg->cmsg_type != SCM_RIGHTS) return std::nullopt;
    int file;
    std::memcpy(&file, CMSG_DATA(cmsg), sizeof file);
    struct stat st {};
    std::optional<std::string> payload;
    if (::fstat(file, &st) == 0 && st.st_size >= 0 &&
        static_cast<std::uint64_t>(st.st_size) <= kMaxFrame + kFrameHeader) {
        std::string frame(static_cast<std::size_t>(st.st_size), '\0');
        std::size_t at = 0;
        while (at < frame.size()) {
            const ssize_t r =
                ::pread(file, frame.data() + at, frame.size() - at, static_cast<off_t>(at));
            if (r < 0 && errno == EINTR) continue;
            if (r <= 0) break;
            at += static_cast<std::size_t>(r);
        }
        if (at == frame.size()) payload = payloadOf(frame);
    }
    ::close(file);
    return payload;
}

}  // namespace korvan::services::connector::worker
