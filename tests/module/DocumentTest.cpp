// The property document read after a reset (and a start): bounds of the numbers, kinds of the
// members, trailing content, and the two expiry dates as host datetime values.
#include "ModuleFixture.hpp"

namespace korvan::test {
namespace {

/// A property document with every key in order, each with a valid raw JSON value unless
/// replaced (`with`) or left out (`without`); `tail` is appended after the object.
std::string document(const std::vector<std::pair<std::string, std::string>>& with = {},
                     const std::vector<std::string>& without = {}, const std::string& tail = "") {
    std::vector<std::pair<std::string, std::string>> members = {
        {"Port", "9920"},
        {"LogLocation", "\"/tmp\""},
        {"HostName", "\"localhost\""},
        {"ClientAccessMode", "0"},
        {"ServiceNames", "\"alpha beta\""},
        {"RESTPersonalAccessToken", "\"tok\""},
        {"TokenExpirationDate", "\"21-Nov-2026\""},
        {"Certificate", "\"/etc/cert.pem\""},
        {"CertificateExpirationDate", "\"05-Mar-2027\""},
        {"BaseUrl", "\"https://localhost:9920/korvan\""},
        {"Status", "0"},
    };
    std::string text = "{";
    bool first = true;
    for (auto [key, raw] : members) {
        if (std::find(without.begin(), without.end(), key) != without.end()) continue;
        for (const auto& [k, v] : with) {
            if (k == key) raw = v;
        }
        text += (first ? "\"" : ",\"") + key + "\":" + raw;
        first = false;
    }
    for (const auto& [k, v] : with) {
        bool known = false;
        for (const auto& m : members) known = known || m.first == k;
        if (!known) text += ",\"" + k + "\":" + v;
    }
    return text + "}" + tail;
}

struct DocumentCase {
    const char* what;
    std::string text;
    std::string error;  // "" when accepted, else a part of the error's text
};

using DocumentTest = ModuleTest;

TEST_F(DocumentTest, ResetRefreshesFromTheDocumentAndReportsItsFaultsUnchanged) {
    const std::string valid = document();
    // clang-format off
    const std::vector<DocumentCase> cases = {
        {"valid", valid, ""},
        {"extra members are ignored", document({{"Extra", "[1,2]"}, {"More", "{\"a\":1}"}}), ""},
        {"port just below the bound", document({{"Port", "65535.9"}}), ""},
        {"port at the bound", document({{"Port", "65536"}}), "positive overflow"},
        {"port just above -1", document({{"Port", "-0.9"}}), ""},
        {"port -1", document({{"Port", "-1"}}), "negative overflow"},
        {"port outside the setter's range", document({{"Port", "80"}}), ""},
        {"unknown access mode", document({{"ClientAccessMode", "7"}}), ""},
        {"largest access mode", document({{"ClientAccessMode", "2147483647.5"}}), ""},
        {"access mode too large", document({{"ClientAccessMode", "2147483648"}}), "positive overflow"},
        {"access mode too small", document({{"ClientAccessMode", "-2147483649"}}), "negative overflow"},
        {"smallest status", document({{"Status", "-2147483648.5"}}), ""},
        {"status too large", document({{"Status", "4294967296"}}), "positive overflow"},
        {"port as text", document({{"Port", "\"9920\""}}), "invalid conversion: string to double"},
        {"log location as number", document({{"LogLocation", "5"}}), "invalid conversion: double to string"},
        {"service names as list", document({{"ServiceNames", "[\"a\"]"}}), "invalid conversion: array to string"},
        {"status missing", document({}, {"Status"}), "invalid conversion: undefined to double"},
        {"base url missing", document({}, {"BaseUrl"}), "invalid conversion: undefined to string"},
        {"second object after the first", document({}, {}, " {}"), "Parse incomplete"},
        {"one stray character", document({}, {}, "x"), "Parse incomplete"},
        {"not JSON", "Port=9920", "JSON ParserException (E"},
        {"cut short", valid.substr(0, valid.size() / 2), "JSON ParserException (E"},
    };
    // clang-format on
    Value c = user::connector();
    for (const auto& k : cases) {
        SCOPED_TRACE(k.what);
        client.reset();
        client.scriptDocument(k.text);
        clearLog();
        const CaughtError caught = catchError([&] { user::method(c, "reset"); });
        if (k.error.empty()) {
            EXPECT_EQ(caught.fId, "");
        } else {
            EXPECT_EQ(caught.fId.rfind("std: ", 0), 0u) << caught.fId;
            EXPECT_NE(caught.fText.find(k.error), std::string::npos) << caught.fText;
        }
        EXPECT_EQ(client.trace(),
                  (std::vector<std::string>{"getStatus", "resetConnector", "getPropertiesJson"}));
        EXPECT_TRUE(containsInOrder(logLines(), {"Inside Restconnector::getAllProperties()"}));
    }
}

TEST_F(DocumentTest, TrailingContentIsReportedWhereTheParserStopped) {
    const std::string object = document();
    client.scriptDocument(object + "  {}");
    Value c = user::connector();
    const CaughtError caught = catchError([&] { user::method(c, "reset"); });
    // Columns count from 1; the parser stops after the value and its white space.
    EXPECT_EQ(caught.fText, "JSON ParserException (E0000): Parse incomplete (Line 1, Column " +
                                std::to_string(object.size() + 3) + ")");
}

TEST_F(DocumentTest, ADocumentFaultAfterAStartIsNotAStartFailure) {
    client.scriptDocument(document({}, {"Status"}));
    Value c = user::connector();
    const CaughtError caught = catchError([&] { user::method(c, "start"); });
    EXPECT_EQ(caught.fText, "invalid conversion: undefined to double");
    EXPECT_EQ(client.trace(), (std::vector<std::string>{"getStatus", "getClientAccessMode",
                                                        "startConnector", "getPropertiesJson"}));
    EXPECT_FALSE(containsInOrder(logLines(), {"invoke_startConnector() threw an exception"}));
}

TEST_F(DocumentTest, TokenExpiryIsADatetimeEvenWhenEmpty) {
    Value c = user::connector();
    Value date = user::get(c, "TokenExpirationDate");
    EXPECT_EQ(client.trace(), std::vector<std::string>{"getTokenExpirationDate"});
    ASSERT_EQ(className(date), "datetime");
    EXPECT_EQ(scalar(user::get(date, "Year")), 2026);
    EXPECT_EQ(scalar(user::get(date, "Month")), 11);
    EXPECT_EQ(scalar(user::get(date, "Day")), 21);
    EXPECT_EQ(text(user::get(date, "Format")), "dd-MMM-uuuu");

    client.edit([](ClientState& s) { s.fTokenExpirationDate.clear(); });
    Value empty = user::get(c, "TokenExpirationDate");
    ASSERT_EQ(className(empty), "datetime");
    EXPECT_EQ(dims(empty), (std::vector<std::size_t>{1, 1}));
    EXPECT_TRUE(kxIsLogicalScalarTrue(user::call("isnat", {empty}).at(0).get()));

    client.edit([](ClientState& s) { s.fTokenExpirationDate = "2026-11-21"; });
    EXPECT_EQ(errorIdOf([&] { user::get(c, "TokenExpirationDate"); }),
              "KORVAN:datetime:ParseFailed");
}

TEST_F(DocumentTest, CertificateExpiryIsAnEmptyDatetimeWhenEmpty) {
    Value c = user::connector();
    Value date = user::get(c, "CertificateExpirationDate");
    EXPECT_EQ(client.trace(), std::vector<std::string>{"getCertificateExpirationDate"});
    ASSERT_EQ(className(date), "datetime");
    EXPECT_EQ(scalar(user::get(date, "Year")), 2027);
    EXPECT_EQ(scalar(user::get(date, "Month")), 3);
    EXPECT_EQ(scalar(user::get(date, "Day")), 5);

    client.edit([](ClientState& s) { s.fCertificateExpirationDate.clear(); });
    Value empty = user::get(c, "CertificateExpirationDate");
    EXPECT_EQ(className(empty), "datetime");
    EXPECT_EQ(dims(empty), (std::vector<std::size_t>{0, 0}));
}

}  // namespace
}  // namespace korvan::test
