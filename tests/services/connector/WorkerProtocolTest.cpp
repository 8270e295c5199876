// The call queue's transport: request frames of every size reach a worker whole (inline or in
// a memory file), a full queue says so instead of blocking, and what is not a frame is refused.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "korvan/services/connector/WorkerProtocol.hpp"

namespace korvan::test {

using namespace korvan::services::connector;
using namespace korvan::services::connector::worker;
namespace {

struct Queue {
    Queue() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fEnds), 0); }
    ~Queue() {
        for (int fd : fEnds)
            if (fd >= 0) ::close(fd);
    }
    int fEnds[2] = {-1, -1};
};

CallRequest request(std::size_t argsBytes) {
    CallRequest r;
    r.fCall = 0x0102030405060708ull;
    r.fDeadline = 0x1112131415161718ull;
    r.fNargout = 3;
    r.fFunction = "plus";
    r.fArgs = "[\"" + std::string(argsBytes, 'x') + "\"]";
    return r;
}

TEST(CallQueue, RequestsOfEverySizeArriveWhole) {
    // Around the inline limit, and far beyond it (a memory file).
    for (std::size_t size :
         {std::size_t{0}, kInlineCall - 64, kInlineCall, kInlineCall + 1, std::size_t{8} << 20}) {
        SCOPED_TRACE(size);
        Queue q;
        const CallRequest sent = request(size);
        ASSERT_EQ(sendCall(q.fEnds[0], encode(sent)), SendResult::Sent);
        const auto payload = receiveCall(q.fEnds[1]);
        ASSERT_TRUE(payload);
        const auto got = decodeRequest(*payload);
        ASSERT_TRUE(got);
        EXPECT_EQ(got->fCall, sent.fCall);
        EXPECT_EQ(got->fDeadline, sent.fDeadline);
        EXPECT_EQ(got->fNargout, sent.fNargout);
        EXPECT_EQ(got->fFunction, sent.fFunction);
        EXPECT_EQ(got->fArgs, sent.fArgs);
    }
}

TEST(CallQueue, AFullQueueSaysSoAndAClosedOneEndsTheReader) {
    Queue q;
    const std::string frame = encode(request(kInlineCall - 64));
    int sent = 0;
    SendResult last = SendResult::Sent;
    while (sent < 10000 && (last = sendCall(q.fEnds[0], frame)) == SendResult::Sent) ++sent;
    EXPECT_EQ(last, SendResult::Full);
    EXPECT_GT(sent, 0);
    for (int i = 0; i < sent; ++i) ASSERT_TRUE(receiveCall(q.fEnds[1]));
    ::close(q.fEnds[0]);
    q.fEnds[0] = -1;
    EXPECT_FALSE(receiveCall(q.fEnds[1]));  // the connector is done with its workers
}

TEST(CallQueue, WhatIsNotAWholeFrameIsRefused) {
    const std::string good = encode(request(10));
    for (const std::string& bad :
         {std::string("abc"), good.substr(0, good.size() - 1), good + "x"}) {
        Queue q;
        ASSERT_EQ(::send(q.fEnds[0], bad.data(), bad.size(), 0), static_cast<ssize_t>(bad.size()));
        EXPECT_FALSE(receiveCall(q.fEnds[1])) << bad.size();
    }
}

}  // namespace
}  // namespace korvan::test
