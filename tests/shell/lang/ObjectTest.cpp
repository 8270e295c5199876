// Objects through the class-object system: properties, methods in both forms, enumeration
// members by full name, access refusals, the property table display, datetimes and durations.
#include <gtest/gtest.h>

#include "LangTestSupport.hpp"
#include "TestClasses.hpp"
#include "kcos/kcos.hpp"
#include "korvan/host/UserCode.hpp"

namespace korvan::test {

using namespace korvan::lang;
namespace {

class Objects : public ::testing::Test {
  protected:
    void SetUp() override {
        korvan::test::registerTestClasses();
        korvan::host::UserCode privileged(kcos::COSClient::privilegedClient());
        fWidget = privileged.construct("kcostest.Widget");
        fInterpreter.setVariable("w", fWidget);
    }
    korvan::test::Widget* widget() { return korvan::test::widgetOf(fWidget.get()); }
    std::string run(const std::string& source) {
        fOut.str("");
        fErr.str("");
        auto r = fInterpreter.run(source);
        EXPECT_EQ(r.fStatus, Interpreter::Status::Ok) << fErr.str();
        return fOut.str();
    }
    std::string errorOf(const std::string& source) {
        return fInterpreter.run(source).fError.fIdentifier;
    }

    kx::ArrayPtr fWidget;
    std::ostringstream fOut, fErr;
    Interpreter fInterpreter{fOut, fErr};
};

TEST_F(Objects, DisplaysClassNameAndPropertiesInClassOrder) {
    EXPECT_EQ(run("w"),
              "w =\n"
              "  kcostest.Widget with properties:\n\n"
              "      Port: 9920\n"
              "      Name: \"first\"\n"
              "      Mode: beta\n"
              "    Expiry: []\n");
}

TEST_F(Objects, ReadsAndAssignsProperties) {
    EXPECT_EQ(run("w.Port = 8080;\np = w.Port"), "p = 8080\n");
    EXPECT_EQ(widget()->fPort, 8080);
    EXPECT_EQ(widget()->fPortSets, 1);
    EXPECT_EQ(run("w.Name = \"second\"; w.Name"), "ans = \"second\"\n");
    EXPECT_EQ(widget()->fName, "second");
    // A copy is a handle on the same object.
    EXPECT_EQ(run("v = w; v.Port = 1; w.Port"), "ans = 1\n");
}

TEST_F(Objects, CallsMethodsInBothForms) {
    run("w.start()\nstart(w)\nw.start;");
    EXPECT_EQ(widget()->fStarts, 3);
}

TEST_F(Objects, EnumerationMembersByFullName) {
    EXPECT_EQ(run("m = kcostest.Mode.gamma"), "m = gamma\n");
    EXPECT_EQ(run("w.Mode == kcostest.Mode.beta, w.Mode != kcostest.Mode.beta"),
              "ans = true\nans = false\n");
    EXPECT_EQ(run("class(kcostest.Mode.alpha), string(kcostest.Mode.alpha)"),
              "ans = 'kcostest.Mode'\nans = \"alpha\"\n");
}

TEST_F(Objects, RefusalsCarryTheClassSystemsIdentifiers) {
    EXPECT_EQ(errorOf("w.Secret"), "KORVAN:class:PropertyGetAccess");
    EXPECT_EQ(errorOf("w.Secret = 3;"), "KORVAN:class:PropertySetAccess");
    EXPECT_EQ(errorOf("w.Mode = kcostest.Mode.alpha;"), "KORVAN:class:PropertySetAccess");
    EXPECT_EQ(errorOf("w.nothing()"), "KORVAN:class:NoSuchMethod");
    EXPECT_EQ(errorOf("kcostest.Widget()"), "KORVAN:class:ConstructorAccess");
    EXPECT_EQ(errorOf("kcostest.Mode.delta"), "KORVAN:class:NoSuchEnumMember");
    EXPECT_EQ(errorOf("delete(w)"), "KORVAN:class:DeleteAccess");
    EXPECT_EQ(errorOf("x = 5; x.Port"), "KORVAN:lang:UnsupportedOperand");
    EXPECT_EQ(run("try\n w.Secret\ncatch e\n disp(e.identifier)\nend"),
              "KORVAN:class:PropertyGetAccess\n");
}

TEST_F(Objects, DeleteOfAnOpenHandleClass) {
    EXPECT_EQ(run("o = kcostest.Open(); delete(o); disp('deleted')"), "deleted\n");
}

TEST_F(Objects, DatetimesAndDurations) {
    EXPECT_EQ(run("d = datetime('2026-01-05', 'InputFormat', 'uuuu-MM-dd')"), "d = 2026-01-05\n");
    EXPECT_EQ(run("d.Year, string(d), d.string()"),
              "ans = 2026\nans = \"2026-01-05\"\nans = \"2026-01-05\"\n");
    EXPECT_EQ(run("t = days(3)"), "t = 3 days\n");
    EXPECT_EQ(run("class(days(1))"), "ans = 'duration'\n");
}

}  // namespace
}  // namespace korvan::test
