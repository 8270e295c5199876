// Interpreter::callFunctionFile: a function file called from outside a script, as function
// services do: outputs by nlhs, a fresh scope, errors as raised, the file read as it is now.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "foundation/core/except/IException.hpp"
#include "korvan/lang/Interpreter.hpp"

namespace korvan::test {

using namespace korvan::lang;
namespace {

namespace fs = std::filesystem;

kx::ArrayPtr num(double v) {
    return kx::ArrayPtr(kxCreateDoubleScalar(v));
}

class CallFunctionFile : public ::testing::Test {
  protected:
    void SetUp() override {
        fDir = fs::temp_directory_path() /
               ("korvan-callfile-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(fDir);
    }
    void TearDown() override { fs::remove_all(fDir); }

    fs::path write(const std::string& name, const std::string& text) {
        fs::path file = fDir / name;
        std::ofstream(file) << text;
        return file;
    }
    // The identifier of the host or script error the call raises ("" when none).
    std::string errorOf(const fs::path& file, std::vector<kx::ArrayPtr> args, int nlhs) {
        try {
            fIn.callFunctionFile(file, args, nlhs);
        } catch (const std::exception& e) {
            return describeError(e).fIdentifier;
        }
        return "";
    }

    fs::path fDir;
    std::ostringstream fOut, fErr;
    Interpreter fIn{fOut, fErr};
};

TEST_F(CallFunctionFile, ReturnsAsManyOutputsAsAskedFor) {
    auto file = write("twice.k", "function [a, b] = twice(x)\n  a = 2 * x;\n  b = x + 1;\nend\n");
    auto two = fIn.callFunctionFile(file, {num(4)}, 2);
    ASSERT_EQ(two.size(), 2u);
    EXPECT_EQ(kxGetScalar(two[0].get()), 8);
    EXPECT_EQ(kxGetScalar(two[1].get()), 5);
    auto one = fIn.callFunctionFile(file, {num(4)}, 1);
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(kxGetScalar(one[0].get()), 8);
    // nlhs 0 still gives the first output.
    auto none = fIn.callFunctionFile(file, {num(4)}, 0);
    ASSERT_EQ(none.size(), 1u);
    EXPECT_EQ(kxGetScalar(none[0].get()), 8);
    EXPECT_EQ(errorOf(file, {num(4)}, 3), "KORVAN:lang:TooManyOutputs");
    EXPECT_EQ(errorOf(file, {num(1), num(2)}, 1), "KORVAN:lang:TooManyInputs");
}

TEST_F(CallFunctionFile, OutputsThatAreMissingOrNotSet) {
    auto noOutputs = write("quiet.k", "function quiet(x)\n  y = x;\nend\n");
    EXPECT_TRUE(fIn.callFunctionFile(noOutputs, {num(1)}, 0).empty());
    EXPECT_EQ(errorOf(noOutputs, {num(1)}, 1), "KORVAN:lang:TooManyOutputs");

    auto maybe = write("maybe.k", "function y = maybe(x)\n  if x > 0\n    y = 1;\n  end\nend\n");
    EXPECT_EQ(fIn.callFunctionFile(maybe, {num(1)}, 1).size(), 1u);
    EXPECT_TRUE(fIn.callFunctionFile(maybe, {num(-1)}, 0).empty());
    EXPECT_EQ(errorOf(maybe, {num(-1)}, 1), "KORVAN:lang:OutputNotSet");
}

TEST_F(CallFunctionFile, RunsInAFreshScopeAndLeavesTheWorkspaceAlone) {
    ASSERT_EQ(fIn.run("x = 5; y = 7;").fStatus, Interpreter::Status::Ok);
    auto reads = write("readsx.k", "function r = readsx()\n  r = x;\nend\n");
    EXPECT_EQ(errorOf(reads, {}, 1), "KORVAN:lang:UndefinedVariable");
    auto sets = write("setsy.k", "function r = setsy()\n  y = 100;\n  z = 1;\n  r = y;\nend\n");
    EXPECT_EQ(kxGetScalar(fIn.callFunctionFile(sets, {}, 1).at(0).get()), 100);
    EXPECT_EQ(kxGetScalar(fIn.variable("y").get()), 7);
    EXPECT_FALSE(fIn.variable("z"));
    // After a failed call the interpreter still runs statements in the workspace.
    auto r = fIn.run("w = x + y");
    EXPECT_EQ(r.fStatus, Interpreter::Status::Ok) << fErr.str();
    EXPECT_EQ(kxGetScalar(fIn.variable("w").get()), 12);
}

TEST_F(CallFunctionFile, LocalFunctionsOfTheFileAreCallable) {
    auto file = write("outer.k",
                      "function y = outer(x)\n  y = helper(x) + 1;\nend\n"
                      "function z = helper(x)\n  z = x * 10;\nend\n");
    EXPECT_EQ(kxGetScalar(fIn.callFunctionFile(file, {num(3)}, 1).at(0).get()), 31);
}

TEST_F(CallFunctionFile, ErrorsComeBackAsRaised) {
    auto raises =
        write("raises.k", "function y = raises(x)\n  error('my:service:bad', 'bad %d', x);\nend\n");
    try {
        fIn.callFunctionFile(raises, {num(3)}, 1);
        FAIL() << "no error";
    } catch (const ScriptError& e) {
        EXPECT_EQ(e.identifier(), "my:service:bad");
        EXPECT_STREQ(e.what(), "bad 3");
    }
    // A host error keeps its type and identifier.
    auto host = write("host.k", "function y = host()\n  y = [1 2] + [1 2 3];\nend\n");
    try {
        fIn.callFunctionFile(host, {}, 1);
        FAIL() << "no error";
    } catch (const foundation::core::except::IMsgIDException& e) {
        EXPECT_EQ(e.GetID(), "KORVAN:lang:SizeMismatch");
    }
    EXPECT_EQ(errorOf(write("named.k", "function y = other()\n  y = 1;\nend\n"), {}, 1),
              "KORVAN:lang:FunctionFile");
    EXPECT_EQ(errorOf(fDir / "absent.k", {}, 1), "KORVAN:lang:FileNotFound");
    EXPECT_EQ(errorOf(write("broken.k", "function y = broken(\n"), {}, 1).rfind("KORVAN:lang:", 0),
              0u);
}

TEST_F(CallFunctionFile, ReadsTheFileAsItIsAtTheCall) {
    auto file = write("version.k", "function v = version()\n  v = 1;\nend\n");
    EXPECT_EQ(kxGetScalar(fIn.callFunctionFile(file, {}, 1).at(0).get()), 1);
    write("version.k", "function v = version()\n  v = 2;\nend\n");
    // A later modification time, whatever the file system's time resolution.
    fs::last_write_time(file, fs::last_write_time(file) + std::chrono::seconds(2));
    EXPECT_EQ(kxGetScalar(fIn.callFunctionFile(file, {}, 1).at(0).get()), 2);
}

}  // namespace
}  // namespace korvan::test
