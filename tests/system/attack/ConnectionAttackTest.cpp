// Attacks on the connections of the running hosted connector: requests that never finish
// (slow headers, slow bodies, a silent TLS handshake), a crowd of idle connections while a
// real client calls, plain HTTP on the TLS port, and the old TLS versions. The connector runs
// with a 1 s network time-out, so every stalled connection must be ended by the server well
// within the client's own 8 s bound.
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "AttackClient.hpp"
#include "AttackTarget.hpp"

namespace korvan::test {
namespace {

constexpr auto kServerMustCloseWithin = 8s;

class ConnectionAttack : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        sTarget = new AttackTarget();
        sToken = sTarget->token();
    }
    static void TearDownTestSuite() {
        delete sTarget;
        sTarget = nullptr;
    }

    static void expectACallStillWorks() {
        const auto reply = exchange(
            sTarget->port(),
            requestText("POST", "/v1/services/demo/plus", "localhost", sToken, R"({"args":[2,3]})"),
            TlsOptions{sTarget->certificate()});
        ASSERT_TRUE(reply.fAnswered) << reply.fError;
        EXPECT_EQ(reply.fStatus, 200u) << reply.fBody;
        EXPECT_EQ(boost::json::parse(reply.fBody), boost::json::parse(R"({"results":[5]})"));
    }

    static AttackTarget* sTarget;
    static std::string sToken;
};
AttackTarget* ConnectionAttack::sTarget = nullptr;
std::string ConnectionAttack::sToken;

TEST_F(ConnectionAttack, StalledRequestsAreEndedByTheServersTimeOut) {
    const std::string body = R"({"args":[2,3]})";
    const std::string head =
        "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\n"
        "Authorization: Bearer " +
        sToken + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    struct Case {
        const char* fName;
        bool fTls;
        std::string fSent;  // then nothing more
    };
    const std::vector<Case> cases = {
        {"silent TCP connection (no handshake)", false, ""},
        {"half a TLS client hello", false, std::string("\x16\x03\x01\x02\x00\x01", 6)},
        {"no request after the handshake", true, ""},
        {"half a request line", true, "POST /v1/serv"},
        {"headers without their end", true, head.substr(0, head.size() - 2)},
        {"half the body", true, head + body.substr(0, 5)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fName);
        Connection connection;
        ASSERT_TRUE(connection.connect(sTarget->port())) << connection.error();
        if (c.fTls) {
            ASSERT_TRUE(connection.handshake()) << connection.error();
        }
        if (!c.fSent.empty()) {
            ASSERT_TRUE(connection.send(c.fSent)) << connection.error();
        }
        std::string received;
        EXPECT_TRUE(connection.closedWithin(kServerMustCloseWithin, &received))
            << "still open: " << connection.error();
        EXPECT_EQ(received.rfind("HTTP/", 0), std::string::npos) << received;
    }
}

TEST_F(ConnectionAttack, TricklingOneByteAtATimeDoesNotExtendTheTimeOut) {
    // Each byte alone arrives well within the time-out; the whole request would take 12 s.
    const std::string text = requestText("GET", "/v1/health");
    struct Case {
        const char* fName;
        std::string fPrefix;  // sent at once before the trickle
        std::string fTrickle;
    };
    const std::string head =
        "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\n"
        "Authorization: Bearer " +
        sToken + "\r\nContent-Length: 40\r\n\r\n";
    for (const Case& c : {Case{"slow headers", "", text.substr(0, 40)},
                          Case{"slow body", head, std::string(40, ' ')}}) {
        SCOPED_TRACE(c.fName);
        Connection connection;
        ASSERT_TRUE(connection.connect(sTarget->port()) && connection.handshake())
            << connection.error();
        if (!c.fPrefix.empty()) {
            ASSERT_TRUE(connection.send(c.fPrefix));
        }
        std::size_t sent = 0;
        for (; sent < c.fTrickle.size(); ++sent) {
            if (!connection.send(c.fTrickle.substr(sent, 1))) break;
            std::this_thread::sleep_for(300ms);
        }
        // Either a write already failed because the server had closed, or it closes now.
        const bool closed =
            sent < c.fTrickle.size() || connection.closedWithin(kServerMustCloseWithin);
        EXPECT_TRUE(closed);
        EXPECT_LT(sent, c.fTrickle.size()) << "the server read the whole trickled request";
    }
    expectACallStillWorks();
}

TEST_F(ConnectionAttack, ManyIdleConnectionsDoNotBlockARealClient) {
    constexpr int kIdle = 200;
    std::vector<std::unique_ptr<Connection>> idle;
    for (int i = 0; i < kIdle; ++i) {
        auto c = std::make_unique<Connection>();
        ASSERT_TRUE(c->connect(sTarget->port())) << "connection " << i << ": " << c->error();
        // A few also finish the handshake and then say nothing.
        if (i % 20 == 0) {
            ASSERT_TRUE(c->handshake()) << c->error();
        }
        idle.push_back(std::move(c));
    }
    // While all of them are open, a real client is served.
    expectACallStillWorks();
    // And the server frees them all by itself.
    int closed = 0;
    for (auto& c : idle) closed += c->closedWithin(kServerMustCloseWithin) ? 1 : 0;
    EXPECT_EQ(closed, kIdle);
    expectACallStillWorks();
}

TEST_F(ConnectionAttack, PlainHttpOnTheTlsPortGetsNoHttpAnswer) {
    for (const auto& text : {requestText("GET", "/v1/health"),
                             requestText("GET", "/v1/services", "localhost", sToken)}) {
        Connection connection;
        ASSERT_TRUE(connection.connect(sTarget->port())) << connection.error();
        ASSERT_TRUE(connection.send(text)) << connection.error();
        std::string received;
        EXPECT_TRUE(connection.closedWithin(kServerMustCloseWithin, &received));
        EXPECT_EQ(received.find("HTTP/"), std::string::npos) << received;
        EXPECT_EQ(received.find("services"), std::string::npos) << received;
    }
    expectACallStillWorks();
}

TEST_F(ConnectionAttack, OnlyTls12AndNewerAreAccepted) {
    struct Case {
        const char* fName;
        int fVersion;
        bool fAccepted;
    };
    for (const Case& c :
         {Case{"TLS 1.0", TLS1_VERSION, false}, Case{"TLS 1.1", TLS1_1_VERSION, false},
          Case{"TLS 1.2", TLS1_2_VERSION, true}, Case{"TLS 1.3", TLS1_3_VERSION, true}}) {
        SCOPED_TRACE(c.fName);
        TlsOptions options{sTarget->certificate(), c.fVersion, c.fVersion};
        Connection connection(options);
        ASSERT_TRUE(connection.connect(sTarget->port())) << connection.error();
        const bool handshake = connection.handshake();
        EXPECT_EQ(handshake, c.fAccepted) << connection.error();
        if (!c.fAccepted) {
            // The server's protocol_version alert, not the client refusing to offer it.
            EXPECT_NE(connection.error().find("alert protocol version"), std::string::npos)
                << connection.error();
            continue;
        }
        ASSERT_TRUE(connection.send(requestText("GET", "/v1/health")));
        const auto response = connection.readResponse();
        ASSERT_TRUE(response) << connection.error();
        EXPECT_EQ(response->result_int(), 200u);
    }
}

// TLS 1.2 offers AEAD suites with forward secrecy only, and the server's order decides: a
// client offering nothing else (CBC with SHA-1 or SHA-2 MACs, a suite without ECDHE) gets no
// handshake, and a client preferring AES-256 still gets the server's first choice.
TEST_F(ConnectionAttack, Tls12OffersOnlyForwardSecretAeadSuitesInTheServersOrder) {
    for (const char* suite :
         {"ECDHE-ECDSA-AES128-SHA", "ECDHE-ECDSA-AES256-SHA", "ECDHE-ECDSA-AES128-SHA256",
          "ECDHE-ECDSA-AES256-SHA384", "AES128-GCM-SHA256", "AES256-SHA"}) {
        SCOPED_TRACE(suite);
        Connection connection(
            TlsOptions{sTarget->certificate(), TLS1_2_VERSION, TLS1_2_VERSION, suite});
        ASSERT_TRUE(connection.connect(sTarget->port())) << connection.error();
        EXPECT_FALSE(connection.handshake()) << "accepted " << connection.cipher();
    }
    Connection preferring(
        TlsOptions{sTarget->certificate(), TLS1_2_VERSION, TLS1_2_VERSION,
                   "ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-ECDSA-AES128-GCM-SHA256"});
    ASSERT_TRUE(preferring.connect(sTarget->port())) << preferring.error();
    ASSERT_TRUE(preferring.handshake()) << preferring.error();
    EXPECT_EQ(preferring.cipher(), "ECDHE-ECDSA-AES128-GCM-SHA256");
}

}  // namespace
}  // namespace korvan::test
