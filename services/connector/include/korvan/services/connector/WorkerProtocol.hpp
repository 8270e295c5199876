// What crosses between the connector and its function workers.
//
// Calls go through the pool's call queue, one Unix SOCK_SEQPACKET socket that every worker of a
// service reads: a worker takes the next request when it is free, so calls run on whichever
// worker frees up first and a worker that is free never waits behind a busy one. Each message
// is one whole request frame; a frame larger than kInlineCall travels in a memory file (memfd)
// passed with a one-byte message, because a datagram must fit the socket's buffer.
// Answers go back on the worker's own Unix stream socket, as frames.
//
//   frame    u32 length (little-endian) of the payload, then the payload
//   request  u64 call number, u64 deadline (steady-clock nanoseconds), u32 nargout,
//            u32 function-name length, the name, the arguments as a JSON array text
//   answer   u64 call number, u32 HTTP status, the answer body as JSON text
//
// A worker first sends a ready answer (call number 0, status 0) once it can take calls, then
// answers each request it takes with the same call number; a request taken after its
// deadline (its caller already has a 503) is answered with status kSkipped and not run. Texts
// are passed as they are: the connector writes an answer's body into the HTTP response
// without parsing it again.
//
// Threads: pure functions; the blocking helpers are the worker's, which has one thread;
// sendCall is the connector's and never blocks.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "korvan/services/connector/Export.hpp"

namespace korvan::services::connector::worker {

/// Frames larger than this are a broken peer: the reader gives up on the channel.
inline constexpr std::uint32_t kMaxFrame = 1024u * 1024u * 1024u;
inline constexpr std::size_t kFrameHeader = 4;

/// Request frames up to this size are sent inline on the call queue.
inline constexpr std::size_t kInlineCall = 32 * 1024;
/// The status of the answer to a call taken after its deadline and not run.
inline constexpr std::uint32_t kSkipped = 0;

struct CallRequest {
    std::uint64_t fCall = 0;
    std::uint64_t fDeadline = 0;  // steady-clock nanoseconds since its epoch; 0: none
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
KORVAN_CONNECTOR_SERVICE_EXPORT std::string encode(const CallRequest& request);
KORVAN_CONNECTOR_SERVICE_EXPORT std::string encode(const CallAnswer& answer);

/// The payload length a frame header announces.
std::uint32_t frameLength(const char* header) noexcept;

/// The payload of a request or answer frame (header removed); nullopt when malformed.
KORVAN_CONNECTOR_SERVICE_EXPORT std::optional<CallRequest> decodeRequest(std::string_view payload);
std::optional<CallAnswer> decodeAnswer(std::string_view payload);

enum class SendResult { Sent, Full, Failed };
/// Puts one request frame (header included) on the call queue without blocking: Full when the
/// queue's buffer has no room now, Failed when the queue is gone or no memory file could be made.
KORVAN_CONNECTOR_SERVICE_EXPORT SendResult sendCall(int queue, std::string_view frame);
/// Blocking: takes the next request off the call queue and gives its payload; nullopt when
/// the connector closed the queue or sent something malformed.
KORVAN_CONNECTOR_SERVICE_EXPORT std::optional<std::string> receiveCall(int queue);

/// Blocking: reads one frame's payload from `fd`; nullopt at the end of the stream or on a
/// malformed frame. Retries reads interrupted by signals.
std::optional<std::string> readFrame(int fd);
/// Blocking: writes all of `bytes`; false when the peer has gone.
KORVAN_CONNECTOR_SERVICE_EXPORT bool writeAll(int fd, std::string_view bytes);

}  // namespace korvan::services::connector::worker
