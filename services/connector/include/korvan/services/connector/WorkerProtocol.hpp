// What crosses between the connector and a function worker, over the worker's one Unix stream
// socket: length-prefixed frames, one call at a time.
//
//   frame    u32 length (little-endian) of the payload, then the payload
//   request  u64 call number, u32 nargout, u32 function-name length, the name, the arguments
//            as a JSON array text
//   answer   u64 call number, u32 HTTP status, the answer body as JSON text
//
// A worker first sends a ready answer (call number 0, status 0) once it can take calls, then
// answers each request with the same call number. Texts are passed as they are: the connector
// writes an answer's body into the HTTP response without parsing it again.
//
// Threads: pure functions; the blocking helpers are the worker's, which has one thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace korvan::services::connector::worker {

/// Frames larger than this are a broken peer: the reader gives up on the channel.
inline constexpr std::uint32_t kMaxFrame = 1024u * 1024u * 1024u;
inline constexpr std::size_t kFrameHeader = 4;

struct CallRequest {
    std::uint64_t fCall = 0;
    std::uint32_t fNargout = 1;
    std::string fFunction;
    std::string fArgs;  // JSON array text
};

struct CallAnswer {
    std::uint64_t fCall = 0;
    std::uint32_t fStatus = 0;
    std::string fBody;  // JSON text
};

/// Whole frames, header included.
std::string encode(const CallRequest& request);
std::string encode(const CallAnswer& answer);

/// The payload length a frame header announces.
std::uint32_t frameLength(const char* header) noexcept;

/// The payload of a request or answer frame (header removed); nullopt when malformed.
std::optional<CallRequest> decodeRequest(std::string_view payload);
std::optional<CallAnswer> decodeAnswer(std::string_view payload);

/// Blocking: reads one frame's payload from `fd`; nullopt at the end of the stream or on a
/// malformed frame. Retries reads interrupted by signals.
std::optional<std::string> readFrame(int fd);
/// Blocking: writes all of `bytes`; false when the peer has gone.
bool writeAll(int fd, std::string_view bytes);

}  // namespace korvan::services::connector::worker
