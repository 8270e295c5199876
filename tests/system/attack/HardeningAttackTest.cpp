// Attacks that must cost the connector nothing before authentication and must never let one
// request be read as two: bodies of refused requests, header blocks of empty lines, bodies
// framed in ways a proxy could read differently, fields smuggled in a chunked trailer, and
// duplicate keys in a call's body. The connector takes bodies of up to 2 MiB here, so that a
// refusal can only come from its header.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "AttackClient.hpp"
#include "AttackTarget.hpp"

namespace korvan::test {
namespace {

// Resident size of this process (which runs the connector), in KiB.
long residentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return -1;
}

class HardeningAttack : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        TargetOptions options;
        options.fBodyLimit = 2 * 1024 * 1024;
        sTarget = new AttackTarget(options);
        sToken = sTarget->token();
    }
    static void TearDownTestSuite() {
        delete sTarget;
        sTarget = nullptr;
    }

    static AttackTarget* sTarget;
    static std::string sToken;
};
AttackTarget* HardeningAttack::sTarget = nullptr;
std::string HardeningAttack::sToken;

TEST_F(HardeningAttack, RefusedRequestsAreAnsweredBeforeTheirBodyIsSent) {
    struct Case {
        const char* fName;
        std::string fHead;  // announces 1 MiB that never comes
        unsigned fStatus;
    };
    const std::string length = "Content-Length: 1048576\r\n\r\n";
    // clang-format off
    const std::vector<Case> cases = {
        {"wrong token", "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\n" "Authorization: Bearer wrong\r\n" + length, 401},
        {"no token", "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\n" + length, 401},
        {"foreign Host", "POST /v1/services/demo/plus HTTP/1.1\r\nHost: evil.example\r\nAuthorization: Bearer " + sToken + "\r\n" + length, 421},
        {"unknown route", "POST /v1/services/nothere/plus HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " + sToken + "\r\n" + length, 404},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fName);
        Connection connection;
        ASSERT_TRUE(connection.connect(sTarget->port()) && connection.handshake())
            << connection.error();
        ASSERT_TRUE(connection.send(c.fHead)) << connection.error();
        const auto response = connection.readResponse();
        ASSERT_TRUE(response) << "no answer before the body: " << connection.error();
        EXPECT_EQ(response->result_int(), c.fStatus) << response->body();
        EXPECT_FALSE(response->keep_alive());
    }
}

// A client that announces "Expect: 100-continue" (curl does for bodies over 1 MiB) is told to go
// on once its header passed every check, and refused without the invitation otherwise; before,
// it waited a second for an invitation that never came.
TEST_F(HardeningAttack, ExpectContinueIsAnsweredFromTheHeader) {
    const std::string body = R"({"args":[1,2],"nargout":1})";
    auto head = [&](const std::string& token) {
        return "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " +
               token +
               "\r\nContent-Type: application/json\r\nExpect: 100-continue\r\n"
               "Content-Length: " +
               std::to_string(body.size()) + "\r\n\r\n";
    };
    Connection connection;
    ASSERT_TRUE(connection.connect(sTarget->port()) && connection.handshake())
        << connection.error();
    ASSERT_TRUE(connection.send(head(sToken))) << connection.error();
    auto response = connection.readResponse();
    ASSERT_TRUE(response) << "no 100 Continue: " << connection.error();
    EXPECT_EQ(response->result_int(), 100u);
    ASSERT_TRUE(connection.send(body)) << connection.error();
    response = connection.readResponse();
    ASSERT_TRUE(response) << connection.error();
    EXPECT_EQ(response->result_int(), 200u);
    EXPECT_EQ(response->body(), R"({"results":[3]})");

    Connection refused;
    ASSERT_TRUE(refused.connect(sTarget->port()) && refused.handshake()) << refused.error();
    ASSERT_TRUE(refused.send(head("wrong"))) << refused.error();
    response = refused.readResponse();
    ASSERT_TRUE(response) << refused.error();
    EXPECT_EQ(response->result_int(), 401u);
}

TEST_F(HardeningAttack, EmptyHeaderLinesCountAgainstTheHeaderLimit) {
    for (const std::size_t lines : {std::size_t(4 * 1024), std::size_t(10) * 1024 * 1024}) {
        SCOPED_TRACE(lines);
        std::string text = "GET /v1/services HTTP/1.1\r\nHost: localhost\r\n";
        text.reserve(text.size() + lines * 4);
        for (std::size_t i = 0; i < lines; ++i) text += "a:\r\n";
        const long before = residentKiB();
        Connection connection;
        ASSERT_TRUE(connection.connect(sTarget->port()) && connection.handshake())
            << connection.error();
        connection.send(text);  // the server may stop reading: a write cut short is fine
        const auto response = connection.readResponse();
        ASSERT_TRUE(response) << connection.error();
        EXPECT_EQ(response->result_int(), 431u) << response->body();
        EXPECT_EQ(identifierOf(response->body()), "KORVAN:connector:HeaderTooLarge");
        EXPECT_LT(residentKiB() - before, 16 * 1024) << "the header block was kept";
    }
}

TEST_F(HardeningAttack, BodiesFramedAmbiguouslyAreRefusedAndNeverRunAsASecondRequest) {
    // What a smuggled second request would be; its answer must never come.
    const std::string smuggled =
        "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " +
        sToken + "\r\nContent-Length: 14\r\n\r\n{\"args\":[4,5]}";
    const std::string head =
        "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\n"
        "Authorization: Bearer " +
        sToken + "\r\n";
    const std::vector<std::pair<const char*, std::string>> cases = {
        {"gzip", "Transfer-Encoding: gzip\r\n"},
        {"identity", "Transfer-Encoding: identity\r\n"},
        {"deflate", "Transfer-Encoding: deflate\r\n"},
        {"xchunked", "Transfer-Encoding: xchunked\r\n"},
        {"chunked, identity", "Transfer-Encoding: chunked, identity\r\n"},
        {"two Transfer-Encodings", "Transfer-Encoding: chunked\r\nTransfer-Encoding: gzip\r\n"},
        {"two Hosts", "Host: localhost\r\nContent-Length: 0\r\n"},
        {"two equal Content-Lengths", "Content-Length: 0\r\nContent-Length: 0\r\n"},
    };
    for (const auto& [name, fields] : cases) {
        SCOPED_TRACE(name);
        Connection connection;
        ASSERT_TRUE(connection.connect(sTarget->port()) && connection.handshake())
            << connection.error();
        connection.send(head + fields + "\r\n" + smuggled);
        const auto response = connection.readResponse();
        ASSERT_TRUE(response) << connection.error();
        EXPECT_EQ(response->result_int(), 400u) << response->body();
        EXPECT_FALSE(response->keep_alive());
        std::string rest;
        EXPECT_TRUE(connection.closedWithin(5s, &rest));
        EXPECT_EQ(rest.find("HTTP/1.1"), std::string::npos) << "a second answer came: " << rest;
    }
}

TEST_F(HardeningAttack, TrailerFieldsNeverAuthoriseOrRoute) {
    const std::string body = R"({"args":[2,3]})";
    const auto chunked = [&](const std::string& fields, const std::string& trailer) {
        char size[16];
        std::snprintf(size, sizeof size, "%zx", body.size());
        return "POST /v1/services/demo/plus HTTP/1.1\r\n" + fields +
               "Transfer-Encoding: chunked\r\nConnection: close\r\n\r\n" + size + "\r\n" + body +
               "\r\n0\r\n" + trailer + "\r\n";
    };
    const std::string host = "Host: localhost\r\n";
    const std::string auth = "Authorization: Bearer " + sToken + "\r\n";
    struct Case {
        const char* fName;
        std::string fText;
        unsigned fStatus;
    };
    const std::vector<Case> cases = {
        {"Host and token in the trailer", chunked("", host + auth), 421},
        {"token in the trailer", chunked(host, auth), 401},
        {"any trailer field", chunked(host + auth, "X-Note: 1\r\n"), 400},
        {"no trailer", chunked(host + auth, ""), 200},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fName);
        const auto reply = exchange(sTarget->port(), c.fText);
        ASSERT_TRUE(reply.fAnswered) << reply.fError;
        EXPECT_EQ(reply.fStatus, c.fStatus) << reply.fBody;
    }
}

TEST_F(HardeningAttack, DuplicateKeysInABodyAreRefusedByName) {
    struct Case {
        const char* fBody;
        const char* fKey;  // named in the refusal; null: accepted
    };
    for (const Case& c : {Case{R"({"args":[1,2],"args":[30,40]})", "args"},
                          Case{R"({"args":[1,2],"nargout":1,"nargout":0})", "nargout"},
                          Case{R"({"args":[{"x":1,"x":2},2]})", "x"},
                          Case{R"({"args":[{"x":1},{"x":2}]})", nullptr}}) {
        SCOPED_TRACE(c.fBody);
        const auto reply = exchange(sTarget->port(), requestText("POST", "/v1/services/demo/plus",
                                                                 "localhost", sToken, c.fBody));
        ASSERT_TRUE(reply.fAnswered) << reply.fError;
        if (!c.fKey) {
            EXPECT_NE(reply.fIdentifier, "KORVAN:connector:InvalidJson") << reply.fBody;
            continue;
        }
        EXPECT_EQ(reply.fStatus, 400u) << reply.fBody;
        EXPECT_EQ(reply.fIdentifier, "KORVAN:connector:InvalidJson");
        EXPECT_NE(reply.fBody.find(std::string("\\\"") + c.fKey + "\\\""), std::string::npos)
            << reply.fBody;
    }
}

TEST(ConnectionCapAttack, ConnectionsBeyondTheCapAreClosedUnreadAndPlacesComeBack) {
    TargetOptions options;
    options.fMaxConnections = 4;
    AttackTarget target(options);
    std::vector<std::unique_ptr<Connection>> held;
    for (int i = 0; i < 4; ++i) {
        held.push_back(std::make_unique<Connection>());
        ASSERT_TRUE(held.back()->connect(target.port()) && held.back()->handshake())
            << held.back()->error();
    }
    {
        Connection extra;
        ASSERT_TRUE(extra.connect(target.port())) << extra.error();
        EXPECT_FALSE(extra.handshake()) << "a connection beyond the cap was served";
    }
    // A connection that ends gives its place back.
    held.clear();
    Reply reply;
    for (int attempt = 0; attempt < 50 && reply.fStatus != 200; ++attempt) {
        std::this_thread::sleep_for(20ms);
        reply = exchange(target.port(), requestText("GET", "/v1/health"));
    }
    EXPECT_EQ(reply.fStatus, 200u) << reply.fError;
}

}  // namespace
}  // namespace korvan::test
