// Attacks on the personal access token against the running hosted connector: missing, wrong,
// expired, in the query string, from before a rotation; the files that hold the token and the
// key readable by their owner only; and the token in no log after a session with failed
// attempts.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <array>

#include "AttackClient.hpp"
#include "AttackTarget.hpp"
#include "foundation/log/Capture.hpp"

namespace korvan::test {
namespace {

const std::string kServices = "/v1/services";
const std::string kCall = "/v1/services/demo/plus";
const std::string kCallBody = R"({"args":[2,3]})";

// Every log channel of the service side, captured for the length of a case.
class LogCapture {
  public:
    std::string text() const {
        std::string all;
        for (const auto* c : {&fServiceHost, &fClient, &fFramework})
            for (const auto& line : c->lines()) all += line + "\n";
        return all;
    }

  private:
    foundation::log::ScopedCapture fServiceHost{"korvan::servicehost"};
    foundation::log::ScopedCapture fClient{"korvan::client"};
    foundation::log::ScopedCapture fFramework{"agent::spf"};
};

struct TokenCase {
    const char* fName;
    std::string fTarget;
    std::string fAuthorization;  // the whole header line, empty: none; "@" is the token
    unsigned fStatus;
    const char* fIdentifier;
};

std::string withToken(std::string text, const std::string& token) {
    const auto at = text.find('@');
    if (at != std::string::npos) text.replace(at, 1, token);
    return text;
}

TEST(TokenAttack, RefusedWithoutTheCurrentToken) {
    LogCapture logs;
    AttackTarget target;
    const std::string token = target.token();
    ASSERT_EQ(token.size(), 64u);
    std::string wrong = token;
    wrong.back() = wrong.back() == '0' ? '1' : '0';

    const std::vector<TokenCase> cases = {
        {"no token", kServices, "", 401, "KORVAN:connector:MissingToken"},
        {"empty bearer", kServices, "Authorization: Bearer ", 401, "KORVAN:connector:MissingToken"},
        {"basic scheme", kServices, "Authorization: Basic @", 401, "KORVAN:connector:MissingToken"},
        {"wrong last byte", kServices, "Authorization: Bearer " + wrong, 401,
         "KORVAN:connector:InvalidToken"},
        {"token prefix", kServices, "Authorization: Bearer " + token.substr(0, 63), 401,
         "KORVAN:connector:InvalidToken"},
        {"token twice", kServices, "Authorization: Bearer @@", 401,
         "KORVAN:connector:InvalidToken"},
        {"query token", kServices + "?token=@", "", 401, "KORVAN:connector:MissingToken"},
        {"query access_token", kServices + "?access_token=@&x=1", "", 401,
         "KORVAN:connector:MissingToken"},
        {"fragment token", kServices + "#@", "", 401, "KORVAN:connector:MissingToken"},
        {"call, no token", kCall, "", 401, "KORVAN:connector:MissingToken"},
        {"call, query token", kCall + "?token=@", "", 401, "KORVAN:connector:MissingToken"},
        {"right token", kServices, "Authorization: Bearer @", 200, ""},
        {"right token, lower-case scheme", kServices, "Authorization: bearer @", 200, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fName);
        const bool post = c.fTarget.rfind(kCall, 0) == 0;
        std::vector<std::string> headers;
        if (!c.fAuthorization.empty()) headers.push_back(withToken(c.fAuthorization, token));
        const auto reply =
            exchange(target.port(), requestText(post ? "POST" : "GET", withToken(c.fTarget, token),
                                                "localhost", {}, post ? kCallBody : "", headers));
        ASSERT_TRUE(reply.fAnswered) << reply.fError;
        EXPECT_EQ(reply.fStatus, c.fStatus) << reply.fBody;
        EXPECT_EQ(reply.fIdentifier, c.fIdentifier) << reply.fBody;
        if (c.fStatus == 401) {
            EXPECT_EQ(reply.fHeaders[http::field::www_authenticate].substr(0, 6), "Bearer");
            EXPECT_EQ(reply.fBody.find(token), std::string::npos);
        }
    }

    // The token appears in no log: neither the access log (which saw it in query strings),
    // nor the connector log, nor any log channel of the process.
    const std::string access = target.accessLog();
    EXPECT_NE(access.find("/v1/services 401"), std::string::npos) << access;
    EXPECT_EQ(access.find(token), std::string::npos) << access;
    EXPECT_EQ(access.find("token="), std::string::npos) << access;
    const std::string connectorLog = target.connectorLog();
    EXPECT_NE(connectorLog.find("started"), std::string::npos) << connectorLog;
    EXPECT_EQ(connectorLog.find(token), std::string::npos) << connectorLog;
    EXPECT_EQ(logs.text().find(token), std::string::npos) << logs.text();
}

TEST(TokenAttack, APreviousRotationsTokenIsRefusedAtOnce) {
    LogCapture logs;
    AttackTarget target;
    const std::string first = target.token();
    const auto call = [&](const std::string& token) {
        return exchange(target.port(), requestText("POST", kCall, "localhost", token, kCallBody));
    };
    ASSERT_EQ(call(first).fStatus, 200u);

    target.hosted().invoke("changeToken", R"({"days":30})");
    const std::string second = target.token();
    ASSERT_NE(second, first);
    target.hosted().invoke("changeToken", R"({"days":2})");
    const std::string third = target.token();

    for (const auto& old : {first, second}) {
        const auto reply = call(old);
        EXPECT_EQ(reply.fStatus, 401u) << reply.fBody;
        EXPECT_EQ(reply.fIdentifier, "KORVAN:connector:InvalidToken");
    }
    const auto current = call(third);
    EXPECT_EQ(current.fStatus, 200u) << current.fBody;
    EXPECT_EQ(boost::json::parse(current.fBody), boost::json::parse(R"({"results":[5]})"));

    // The settings file holds the current token only; no log holds any of them.
    const std::string settings = readText(target.store().file());
    EXPECT_NE(settings.find(third), std::string::npos);
    EXPECT_EQ(settings.find(first), std::string::npos);
    for (const auto& token : {first, second, third}) {
        EXPECT_EQ(target.accessLog().find(token), std::string::npos);
        EXPECT_EQ(target.connectorLog().find(token), std::string::npos);
        EXPECT_EQ(logs.text().find(token), std::string::npos);
    }
}

TEST(TokenAttack, AnExpiredTokenIsRefused) {
    const std::string planted(64, 'a');
    TargetOptions options;
    options.fBefore = [&](korvan::services::settings::SettingsStore& store) {
        store.update([&](korvan::services::settings::ConnectorSettings& s) {
            s.fToken = planted;
            s.fTokenExpiry = std::chrono::duration_cast<std::chrono::seconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count() -
                             60;
        });
    };
    AttackTarget target(options);
    ASSERT_EQ(target.token(), planted);  // kept as saved, not silently renewed

    const auto reply =
        exchange(target.port(), requestText("POST", kCall, "localhost", planted, kCallBody));
    EXPECT_EQ(reply.fStatus, 401u) << reply.fBody;
    EXPECT_EQ(reply.fIdentifier, "KORVAN:connector:TokenExpired");
    EXPECT_NE(reply.fHeaders[http::field::www_authenticate].find("invalid_token"),
              std::string::npos);
}

unsigned modeOf(const fs::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return 0xFFFF;
    return info.st_mode & 0777;
}

TEST(TokenAttack, KeyAndSettingsFilesAreTheOwnersOnly) {
    AttackTarget target;
    target.hosted().invoke("changeToken", R"({"days":5})");  // a write while running
    const fs::path settingsFile = target.store().file();
    const fs::path key = target.prefs() / "rest" / "certificate" / "connector-key.pem";
    ASSERT_TRUE(fs::exists(settingsFile));
    ASSERT_TRUE(fs::exists(key));
    ASSERT_NE(readText(settingsFile).find(target.token()), std::string::npos);

    EXPECT_EQ(modeOf(settingsFile), 0600u) << settingsFile;
    EXPECT_EQ(modeOf(key), 0600u) << key;
    for (const fs::path& folder :
         {settingsFile.parent_path(), key.parent_path(), target.logFolder()})
        EXPECT_EQ(modeOf(folder), 0700u) << folder << " mode " << std::oct << modeOf(folder);
    // The certificate is public; it only needs to exist.
    EXPECT_TRUE(fs::exists(target.certificate()));
}

}  // namespace
}  // namespace korvan::test
