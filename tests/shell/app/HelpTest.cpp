// help, properties and methods at the prompt, on the connector a person makes: every member
// the class defines is described, each method with the forms it is called in, and what is not
// a class is refused with an identifier.
#include <gtest/gtest.h>

#include "KorvanProcess.hpp"

namespace korvan::test {
namespace {

struct HelpCase {
    const char* fName;
    std::string fCode;                   // after c = restFunctionConnector();
    std::vector<std::string> fShown;     // each on standard output, in this order
    std::vector<std::string> fNotShown;  // nowhere on standard output
};

class HelpTest : public ::testing::TestWithParam<HelpCase> {};

TEST_P(HelpTest, DescribesTheConnector) {
    const HelpCase& c = GetParam();
    TempFolder prefs;
    ProcessOutcome r =
        runKorvan(korvanOptions({"-e", "c = restFunctionConnector();\n" + c.fCode}, prefs));
    ASSERT_TRUE(r.fExited) << r.fErr;
    EXPECT_EQ(r.fStatus, 0) << r.fErr;
    std::size_t at = 0;
    for (const std::string& text : c.fShown) {
        std::size_t found = r.fOut.find(text, at);
        ASSERT_NE(found, std::string::npos) << "'" << text << "' missing or out of order in:\n"
                                            << r.fOut;
        at = found + text.size();
    }
    for (const std::string& text : c.fNotShown)
        EXPECT_EQ(r.fOut.find(text), std::string::npos) << text << " shown in:\n" << r.fOut;
}

const std::vector<std::string> kProperties = {"Port",
                                              "LogLocation",
                                              "HostName",
                                              "PreferredRestartHour",
                                              "ClientAccessMode",
                                              "ServiceNames",
                                              "RESTPersonalAccessToken",
                                              "TokenExpirationDate",
                                              "Certificate",
                                              "CertificateExpirationDate",
                                              "BaseURL",
                                              "Status"};

std::vector<std::string> listed(const std::string& title, const std::vector<std::string>& names) {
    std::vector<std::string> out{title};
    for (const std::string& n : names) out.push_back("  " + n + "\n");
    return out;
}

INSTANTIATE_TEST_SUITE_P(
    Prompt, HelpTest,
    ::testing::Values(
        HelpCase{"HelpOfAnObject",
                 "help(c)",
                 {"korvan.engine.rest.RESTFunctionConnector: ", "c = restFunctionConnector()",
                  "Properties:", "  Port ", "TCP port", "  RESTPersonalAccessToken ", "Read-only.",
                  "  Status ", "Methods:", "  changeToken(c) ", "  changeToken(c, days) ",
                  "  changeCertificate(c, addresses)",
                  "changeCertificate(c, \"privatekey\", keyFile, \"certificate\", certFile)",
                  "  start(c) ", "  stop(c) ", "  reset(c) "},
                 // Neither the constructor nor the private delete is for the person.
                 {"delete(", "RESTFunctionConnector("}},
        HelpCase{"HelpOfAClassName",
                 "help('korvan.engine.rest.RESTFunctionConnector')",
                 {"Properties:", "  Port ", "Methods:", "  start(c) "},
                 {}},
        HelpCase{"PropertiesListed",
                 "properties(c)",
                 listed("Properties of korvan.engine.rest.RESTFunctionConnector:", kProperties),
                 {}},
        HelpCase{"MethodsListed",
                 "methods(c)",
                 listed("Methods of korvan.engine.rest.RESTFunctionConnector:",
                        {"changeToken", "changeCertificate", "start", "stop", "reset"}),
                 {"delete"}},
        HelpCase{"ListsAsValues",
                 "p = properties(c); m = methods(c);\n"
                 "disp(numel(p)); disp(p(12)); disp(numel(m)); disp(m(1))",
                 {"12\n", "Status\n", "5\n", "changeToken\n"},
                 {}},
        HelpCase{"HelpWithoutArguments", "help", {"help(x) describes", "properties(x)"}, {}}),
    [](const auto& info) { return std::string(info.param.fName); });

TEST(HelpRefusal, WhatIsNotAClassIsRefusedWithAnIdentifier) {
    TempFolder prefs;
    for (const char* code : {"help(3)", "methods('no.such.Class')", "properties([])"}) {
        ProcessOutcome r = runKorvan(korvanOptions({"-e", code}, prefs));
        EXPECT_EQ(r.fStatus, 1) << code;
        EXPECT_NE(r.fErr.find("Error (KORVAN:lang:NoHelp): "), std::string::npos)
            << code << ": " << r.fErr;
    }
}

}  // namespace
}  // namespace korvan::test
