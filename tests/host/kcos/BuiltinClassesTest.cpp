// The built-in classes datetime, duration, uint32 and double, as user code sees them.
#include <gtest/gtest.h>

#include <cmath>

#include "TestClasses.hpp"
#include "korvan/host/UserCode.hpp"
#include "kx/kxUtf.hpp"

namespace {

using korvan::host::UserCode;
using korvan::test::errorIdOf;

kx::ArrayPtr text(const char* t) {
    return kx::ArrayPtr(kxCreateStringScalarFromUtf8(t));
}

std::string textOf(const kx::ArrayPtr& value) {
    const auto& element = kxGetStringElement(value.get(), 0);
    return element ? kx::utf16ToUtf8(*element) : "<missing>";
}

class BuiltinClassesTest : public ::testing::Test {
  protected:
    // datetime(t, "InputFormat", "dd-MMM-uuuu", "Format", "dd-MMM-uuuu", "Locale", "en_US")
    kx::ArrayPtr moduleDate(const char* t) {
        auto value = text(t), inName = text("InputFormat"), fmtName = text("Format"),
             locName = text("Locale");
        auto pattern = text("dd-MMM-uuuu"), locale = text("en_US");
        return user.construct("datetime", {value.get(), inName.get(), pattern.get(), fmtName.get(),
                                           pattern.get(), locName.get(), locale.get()});
    }
    UserCode user;
};

TEST_F(BuiltinClassesTest, DatetimeReadsAndWritesTheModulesPattern) {
    auto d = moduleDate("15-Mar-2025");
    EXPECT_EQ(kxGetClassName(d.get()), "datetime");
    EXPECT_EQ(textOf(user.call("string", {d.get()})[0]), "15-Mar-2025");
    EXPECT_EQ(kxGetCharTextUtf8(user.callMethod(d.get(), "char")[0].get()), "15-Mar-2025");
    EXPECT_EQ(kxGetScalar(user.getProperty(d.get(), "Year").get()), 2025);
    EXPECT_EQ(kxGetScalar(user.getProperty(d.get(), "Month").get()), 3);
    EXPECT_EQ(kxGetScalar(user.getProperty(d.get(), "Day").get()), 15);
    EXPECT_EQ(textOf(user.getProperty(d.get(), "Format")), "dd-MMM-uuuu");
    EXPECT_EQ(errorIdOf([&] { user.setProperty(d.get(), "Format", text("uuuu").get()); }),
              "KORVAN:class:PropertySetAccess");
    // Month names are read in any letter case and written in the pattern's form.
    EXPECT_EQ(textOf(user.call("string", {moduleDate("01-DEC-1999").get()})[0]), "01-Dec-1999");
    EXPECT_EQ(textOf(user.call("string", {moduleDate("29-feb-2024").get()})[0]), "29-Feb-2024");
}

TEST_F(BuiltinClassesTest, UnreadableTextIsAnErrorWithAnIdentifier) {
    for (const char* bad : {"31-Feb-2025", "29-Feb-2023", "15-Mar-25", "15/03/2025", "15-Mrz-2025",
                            "15-Mar-2025 10:00", "x", "32-Jan-2025"}) {
        EXPECT_EQ(errorIdOf([&] { moduleDate(bad); }), "KORVAN:datetime:ParseFailed") << bad;
    }
}

TEST_F(BuiltinClassesTest, EmptyTextIsNotATimeAndEmptyIsAnEmptyArray) {
    auto nat = moduleDate("");
    EXPECT_TRUE(kxIsLogicalScalarTrue(user.call("isnat", {nat.get()})[0].get()));
    EXPECT_EQ(textOf(user.call("string", {nat.get()})[0]), "NaT");
    EXPECT_TRUE(std::isnan(kxGetScalar(user.getProperty(nat.get(), "Year").get())));
    EXPECT_FALSE(
        kxIsLogicalScalarTrue(user.call("isnat", {moduleDate("01-Jan-2000").get()})[0].get()));

    auto empty = user.call("datetime.empty")[0];
    EXPECT_EQ(kxGetClassName(empty.get()), "datetime");
    EXPECT_EQ(kxGetM(empty.get()), 0u);
    EXPECT_EQ(kxGetN(empty.get()), 0u);
    EXPECT_EQ(kxGetNumberOfElements(user.call("string", {empty.get()})[0].get()), 0u);
}

TEST_F(BuiltinClassesTest, DatetimeOptionsAreChecked) {
    auto t = text("2025-03-15");
    auto d = user.construct("datetime", {t.get()});
    EXPECT_EQ(textOf(user.call("string", {d.get()})[0]), "15-Mar-2025 00:00:00");
    EXPECT_EQ(errorIdOf([&] {
                  user.construct("datetime", {t.get(), text("Zone").get(), text("UTC").get()});
              }),
              "KORVAN:datetime:UnknownOption");
    EXPECT_EQ(errorIdOf([&] {
                  user.construct("datetime", {t.get(), text("Locale").get(), text("de_DE").get()});
              }),
              "KORVAN:datetime:UnsupportedLocale");
    EXPECT_EQ(errorIdOf([&] {
                  user.construct("datetime", {t.get(), text("Format").get()});
              }),
              "KORVAN:datetime:OptionsNotPaired");
    EXPECT_EQ(errorIdOf([&] {
                  user.construct("datetime", {t.get(), text("Format").get(), text("qqq").get()});
              }),
              "KORVAN:datetime:UnsupportedFormat");
    kx::ArrayPtr number(kxCreateDoubleScalar(3));
    EXPECT_EQ(errorIdOf([&] { user.construct("datetime", {number.get()}); }),
              "KORVAN:datetime:TextExpected");
}

TEST_F(BuiltinClassesTest, DaysMakesDurationsOfTheSameShape) {
    kx::ArrayPtr pair(kxCreateDoubleMatrix(1, 2));
    kxGetDoubles(pair.get())[0] = 1.5;
    kxGetDoubles(pair.get())[1] = 7;
    auto durations = user.call("days", {pair.get()})[0];
    EXPECT_EQ(kxGetClassName(durations.get()), "duration");
    EXPECT_EQ(kxGetM(durations.get()), 1u);
    EXPECT_EQ(kxGetN(durations.get()), 2u);
    auto back = user.call("days", {durations.get()})[0];
    ASSERT_EQ(kxGetNumberOfElements(back.get()), 2u);
    EXPECT_EQ(kxGetDoubles(back.get())[0], 1.5);
    EXPECT_EQ(kxGetDoubles(back.get())[1], 7);

    kx::ArrayPtr one(kxCreateDoubleScalar(1));
    auto day = user.call("days", {one.get()})[0];
    EXPECT_EQ(textOf(user.call("string", {day.get()})[0]), "1 day");
    EXPECT_EQ(textOf(user.call("string", {durations.get()})[0]), "1.5 days");
    EXPECT_EQ(errorIdOf([&] { user.call("days", {text("7").get()}); }),
              "KORVAN:datetime:NumericExpected");
    EXPECT_EQ(errorIdOf([&] { user.call("days", {}); }), "KORVAN:host:NotEnoughInputs");
}

TEST_F(BuiltinClassesTest, Uint32ConversionRoundsAndSaturates) {
    const std::pair<double, double> cases[] = {
        {-5, 0}, {4.5, 5}, {4.4, 4}, {1e12, 4294967295.0}, {NAN, 0}, {4294967295.0, 4294967295.0}};
    for (auto [in, expected] : cases) {
        kx::ArrayPtr value(kxCreateDoubleScalar(in));
        auto out = user.call("uint32", {value.get()})[0];
        EXPECT_EQ(kxGetClassID(out.get()), kxClassID::UInt32);
        EXPECT_EQ(kxGetScalar(out.get()), expected) << in;
        auto viaClass = user.construct("uint32", {value.get()});
        EXPECT_EQ(kxGetScalar(viaClass.get()), expected) << in;
    }
    EXPECT_EQ(errorIdOf([&] { user.call("uint32", {text("5").get()}); }),
              "KORVAN:class:ConversionNotPossible");
    EXPECT_EQ(kxGetScalar(user.call("double", {text("2.5").get()})[0].get()), 2.5);
}

}  // namespace
