// Hostile requests with the right token against the running hosted connector: bodies over the
// limit, bodies that are not what a call needs, names of services and functions that try to
// leave the services folder, and Host headers that do not name this machine (DNS rebinding).
#include <gtest/gtest.h>

#include "AttackClient.hpp"
#include "AttackTarget.hpp"

namespace korvan::test {
namespace {

class InputAttack : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        TargetOptions options;
        options.fHostName = "Korvan-Box.example";
        sTarget = new AttackTarget(options);
        sToken = sTarget->token();
    }
    static void TearDownTestSuite() {
        delete sTarget;
        sTarget = nullptr;
    }

    static Reply send(const std::string& text) { return exchange(sTarget->port(), text); }

    static AttackTarget* sTarget;
    static std::string sToken;
};
AttackTarget* InputAttack::sTarget = nullptr;
std::string InputAttack::sToken;

TEST_F(InputAttack, BodyOverTheLimitIsRefusedAndTheConnectionCloses) {
    struct Case {
        const char* fName;
        std::size_t fSize;
        bool fAnnounced;  // Content-Length tells the size (else chunked)
    };
    for (const Case& c : {Case{"announced", 64 * 1024, true}, Case{"just over", 4097, true},
                          Case{"chunked", 64 * 1024, false}}) {
        SCOPED_TRACE(c.fName);
        std::string body = R"({"args":[")" + std::string(c.fSize, 'x') + R"("]})";
        std::string text =
            "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\n"
            "Authorization: Bearer " +
            sToken + "\r\n";
        if (c.fAnnounced) {
            text += "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
        } else {
            char size[32];
            std::snprintf(size, sizeof size, "%zx", body.size());
            text += "Transfer-Encoding: chunked\r\n\r\n" + std::string(size) + "\r\n" + body +
                    "\r\n0\r\n\r\n";
        }
        Connection connection;
        ASSERT_TRUE(connection.connect(sTarget->port()) && connection.handshake())
            << connection.error();
        // The server may answer before it has read everything; a write cut short is fine.
        connection.send(text);
        const auto response = connection.readResponse();
        ASSERT_TRUE(response) << connection.error();
        EXPECT_EQ(response->result_int(), 413u);
        EXPECT_EQ(identifierOf(response->body()), "KORVAN:connector:BodyTooLarge");
        EXPECT_FALSE(response->keep_alive());
        EXPECT_TRUE(connection.closedWithin(5s)) << "the connection stayed open after 413";
    }
    // A body at the limit is still read and answered.
    const std::string fits = R"({"args":[1,2]})" + std::string(4096 - 14, ' ');
    const auto reply =
        send(requestText("POST", "/v1/services/demo/plus", "localhost", sToken, fits));
    EXPECT_EQ(reply.fStatus, 200u) << reply.fBody;
}

struct InputCase {
    const char* fName;
    const char* fMethod;
    std::string fTarget;
    std::string fBody;
    unsigned fStatus;
    const char* fIdentifier;
};

TEST_F(InputAttack, MalformedBodiesAndNamesAreAnsweredWithoutRunningAnything) {
    const std::string call = "/v1/services/demo/plus";
    const std::vector<InputCase> cases = {
        // Bodies.
        {"not JSON", "POST", call, "{", 400, "KORVAN:connector:InvalidJson"},
        {"trailing garbage", "POST", call, R"({"args":[1,2]} x)", 400,
         "KORVAN:connector:InvalidJson"},
        {"deep nesting", "POST", call, std::string(2000, '[') + std::string(2000, ']'), 400,
         "KORVAN:connector:InvalidJson"},
        {"empty body", "POST", call, "", 400, "KORVAN:connector:InvalidJson"},
        {"array body", "POST", call, "[1,2]", 400, "KORVAN:connector:InvalidRequest"},
        {"args not an array", "POST", call, R"({"args":5})", 400,
         "KORVAN:connector:InvalidRequest"},
        {"nargout text", "POST", call, R"({"args":[1,2],"nargout":"1"})", 400,
         "KORVAN:connector:InvalidRequest"},
        {"nargout negative", "POST", call, R"({"args":[1,2],"nargout":-1})", 400,
         "KORVAN:connector:InvalidRequest"},
        {"nargout huge", "POST", call, R"({"args":[1,2],"nargout":1e300})", 400,
         "KORVAN:connector:InvalidRequest"},
        {"key that is no field name", "POST", call, R"({"args":[{"a b":1},2]})", 400,
         "KORVAN:connector:InvalidArguments"},
        {"cell size past its data", "POST", call,
         R"({"args":[{"zxtype":"cell","zxsize":[1000000,1000000],"zxdata":[]},2]})", 400,
         "KORVAN:connector:InvalidArguments"},
        {"unknown type tag", "POST", call, R"({"args":[{"zxtype":"evil","zxdata":1},2]})", 400,
         "KORVAN:connector:InvalidArguments"},
        // Names.
        {"unknown service", "POST", "/v1/services/nope/plus", "{}", 404,
         "KORVAN:connector:UnknownService"},
        {"unknown function", "POST", "/v1/services/demo/minus", "{}", 404,
         "KORVAN:connector:UnknownFunction"},
        {"dot-dot service", "POST", "/v1/services/../evil", "{}", 404,
         "KORVAN:connector:UnknownService"},
        {"dot-dot out of the tree", "POST", "/v1/services/demo/../../outside/evil", "{}", 404,
         "KORVAN:connector:NotFound"},
        {"dot-dot function", "POST", "/v1/services/demo/..", "{}", 404,
         "KORVAN:connector:UnknownFunction"},
        {"encoded dot-dot", "POST", "/v1/services/%2e%2e/evil", "{}", 404,
         "KORVAN:connector:UnknownService"},
        {"encoded slashes", "POST", "/v1/services/demo/..%2F..%2F..%2Foutside%2Fevil", "{}", 404,
         "KORVAN:connector:UnknownFunction"},
        {"encoded slash in service", "POST", "/v1/services/..%2Foutside/evil", "{}", 404,
         "KORVAN:connector:UnknownService"},
        {"NUL after name", "POST", "/v1/services/demo/plus%00.k", "{}", 404,
         "KORVAN:connector:UnknownFunction"},
        {"NUL in service", "POST", "/v1/services/demo%00/plus", "{}", 404,
         "KORVAN:connector:UnknownService"},
        {"file name with extension", "POST", "/v1/services/demo/plus.k", "{}", 404,
         "KORVAN:connector:UnknownFunction"},
        {"loose file in services folder", "POST", "/v1/services/evil/evil", "{}", 404,
         "KORVAN:connector:UnknownService"},
        {"empty service name", "POST", "/v1/services//outside/evil", "{}", 404,
         "KORVAN:connector:NotFound"},
        {"backslashes", "POST", "/v1/services/demo/..\\..\\outside\\evil", "{}", 404,
         "KORVAN:connector:UnknownFunction"},
        {"long service name", "GET", "/v1/services/" + std::string(4000, 'a'), "", 404,
         "KORVAN:connector:UnknownService"},
        {"long function name", "POST", "/v1/services/demo/" + std::string(4000, 'b'), "{}", 404,
         "KORVAN:connector:UnknownFunction"},
        {"name past the header limit", "GET", "/v1/services/" + std::string(20000, 'c'), "", 431,
         "KORVAN:connector:HeaderTooLarge"},
        {"no API prefix", "GET", "/services", "", 404, "KORVAN:connector:NotFound"},
        {"prefix look-alike", "GET", "/v1x/services", "", 404, "KORVAN:connector:NotFound"},
        {"wrong method", "DELETE", call, "", 405, "KORVAN:connector:MethodNotAllowed"},
        {"control call", "POST", call, R"({"args":[2,3]})", 200, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fName);
        const auto reply = send(requestText(c.fMethod, c.fTarget, "localhost", sToken, c.fBody));
        ASSERT_TRUE(reply.fAnswered) << reply.fError;
        EXPECT_EQ(reply.fStatus, c.fStatus) << reply.fBody.substr(0, 300);
        EXPECT_EQ(reply.fIdentifier, c.fIdentifier) << reply.fBody.substr(0, 300);
        EXPECT_EQ(reply.fBody.find("pwned"), std::string::npos);
    }
    // Only the demo service is served; nothing beside it became one.
    const auto list = send(requestText("GET", "/v1/services", "localhost", sToken));
    EXPECT_EQ(boost::json::parse(list.fBody),
              boost::json::parse(R"({"services":[{"name":"demo","functions":["plus"]}]})"));
}

TEST_F(InputAttack, RequestsThatAreNotHttpGetABadRequestAndTheConnectionCloses) {
    // clang-format off
    const std::vector<std::pair<const char*, std::string>> cases = {
        {"raw NUL in the target", std::string("GET /v1/services/de") + '\0' + "mo HTTP/1.1\r\nHost: localhost\r\n\r\n"},
        {"space in the target", "GET /v1/services/de mo/plus HTTP/1.1\r\nHost: localhost\r\n\r\n"},
        {"bad version", "GET /v1/health HTTP/9.Z\r\nHost: localhost\r\n\r\n"},
        {"header without colon", "GET /v1/health HTTP/1.1\r\nHost localhost\r\n\r\n"},
        {"bad content length", "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\n" "Content-Length: -5\r\n\r\n"},
        {"two content lengths", "POST /v1/services/demo/plus HTTP/1.1\r\nHost: localhost\r\n" "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}"},
    };
    // clang-format on
    for (const auto& [name, text] : cases) {
        SCOPED_TRACE(name);
        Connection connection;
        ASSERT_TRUE(connection.connect(sTarget->port()) && connection.handshake())
            << connection.error();
        ASSERT_TRUE(connection.send(text)) << connection.error();
        const auto response = connection.readResponse();
        ASSERT_TRUE(response) << connection.error();
        EXPECT_EQ(response->result_int(), 400u) << response->body();
        EXPECT_EQ(identifierOf(response->body()), "KORVAN:connector:BadRequest");
        EXPECT_TRUE(connection.closedWithin(5s));
    }
}

TEST_F(InputAttack, LocalModeAnswersOnlyRequestsAddressedToThisMachine) {
    const std::string port = std::to_string(sTarget->port());
    struct Case {
        std::string fHost;  // "-": no Host header at all
        bool fAllowed;
    };
    // clang-format off
    const std::vector<Case> cases = {
        {"localhost", true},
        {"localhost:" + port, true},
        {"LocalHost:" + port, true},
        {"127.0.0.1", true},
        {"127.0.0.1:" + port, true},
        {"[::1]", true},
        {"[::1]:" + port, true},
        {"korvan-box.example", true},  // the configured HostName, any case
        {"Korvan-Box.example:" + port, true},
        {"evil.example", false},
        {"evil.example:" + port, false},
        {"localhost.evil.example:" + port, false},
        {"127.0.0.1.evil.example", false},
        {"evil.localhost", false},
        {"korvan-box.example.evil", false},
        {"localhost:" + port + "@evil.example", false},
        {"localhost:", false},
        {"localhost:abc", false},
        {"[::2]:" + port, false},
        {"0.0.0.0:" + port, false},
        {"", false},
        {"-", false},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE("Host: " + c.fHost);
        const std::string host = c.fHost == "-" ? "" : c.fHost;
        std::string text;
        if (c.fHost.empty()) {
            text = "GET /v1/services HTTP/1.1\r\nHost: \r\nAuthorization: Bearer " + sToken +
                   "\r\nConnection: close\r\n\r\n";
        } else {
            text = requestText("GET", "/v1/services", host, sToken);
        }
        const auto reply = send(text);
        ASSERT_TRUE(reply.fAnswered) << reply.fError;
        if (c.fAllowed) {
            EXPECT_EQ(reply.fStatus, 200u) << reply.fBody;
        } else {
            EXPECT_EQ(reply.fStatus, 421u) << reply.fBody;
            EXPECT_EQ(reply.fIdentifier, "KORVAN:connector:HostNotAllowed");
            EXPECT_EQ(reply.fBody.find("demo"), std::string::npos);
        }
    }
    // Refused before anything else: also the health check and a call with the right token.
    for (const auto& target : {"/v1/health", "/v1/services/demo/plus"}) {
        SCOPED_TRACE(target);
        const bool post = std::string(target).find("plus") != std::string::npos;
        const auto reply = send(requestText(post ? "POST" : "GET", target, "rebound.example",
                                            sToken, post ? R"({"args":[1,2]})" : ""));
        EXPECT_EQ(reply.fStatus, 421u) << reply.fBody;
    }
}

}  // namespace
}  // namespace korvan::test
