#include "korvan/services/connector/WorkerProtocol.hpp"

#include <sys/socket.h>
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
    p.reserve(16 + r.fFunction.size() + r.fArgs.size());
    put64(p, r.fCall);
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

}  // namespace korvan::services::connector::worker
