// The interactive prompt under a pseudo-terminal: a person types statements, blocks over
// several lines, Ctrl-C (byte 0x03) at the prompt and during a statement, Ctrl-D (0x04).
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "KorvanProcess.hpp"
#include "SessionHttps.hpp"

namespace korvan::test {
namespace {

class PromptTest : public ::testing::Test {
  protected:
    std::map<std::string, std::string> env() const {
        return {{"KORVAN_PREFDIR", fPrefs.path().string()}, {"TERM", "xterm"}};
    }
    TempFolder fPrefs;
};

TEST_F(PromptTest, RunsStatementsAndBlocksAndLeavesOnCtrlD) {
    Terminal t(env());
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    t.send("x = 1 + 1\r");
    ASSERT_TRUE(t.expect("x = 2")) << t.output();
    ASSERT_TRUE(t.expect(">> ")) << t.output();

    // A block: each line before its end gets the continuation prompt, and nothing runs yet.
    t.send("for i = 1:3\r");
    ASSERT_TRUE(t.expect("..  ")) << t.output();
    t.send("disp(i * x)\r");
    ASSERT_TRUE(t.expect("..  ")) << t.output();
    t.send("end\r");
    ASSERT_TRUE(t.expect("2\r\n4\r\n6\r\n>> ")) << t.output();

    t.send("\x04");
    EXPECT_EQ(t.waitExit(), 0) << t.output();
}

// Leaving the prompt ends a running connector with korvan: the person is told so, with its
// address, and nothing answers there afterwards. A stopped connector leaves without a word.
TEST_F(PromptTest, CtrlDSaysItStopsARunningConnector) {
    std::uint16_t port = korvan::test::freeLoopbackPort();
    Terminal t(env());
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    t.send("c = restFunctionConnector(); c.Port = " + std::to_string(port) + "; start(c)\r");
    ASSERT_TRUE(t.expect(">> ", 30s)) << t.output();
    ASSERT_TRUE(korvan::test::tcpConnects("127.0.0.1", port, 2s)) << t.output();
    t.send("\x04");
    ASSERT_TRUE(t.expect("Stopping the REST function connector at https://localhost:" +
                         std::to_string(port) + "/v1 before korvan ends."))
        << t.output();
    EXPECT_EQ(t.waitExit(30s), 0) << t.output();
    EXPECT_FALSE(korvan::test::tcpConnects("127.0.0.1", port, 1s));

    Terminal stopped(env());
    ASSERT_TRUE(stopped.expect(">> ")) << stopped.output();
    stopped.send("c = restFunctionConnector(); c.Port = " + std::to_string(port) +
                 "; start(c); stop(c)\r");
    ASSERT_TRUE(stopped.expect(">> ", 30s)) << stopped.output();
    stopped.send("\x04");
    EXPECT_EQ(stopped.waitExit(30s), 0) << stopped.output();
    EXPECT_EQ(stopped.output().find("Stopping the REST"), std::string::npos) << stopped.output();
}

TEST_F(PromptTest, WorkPostedWhileWaitingForKeysRunsAndShows) {
    Terminal t(env());
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    // The module registers its update callback from a task it posts when it first sees the
    // connector service (on a tracker thread, so a moment later): the pause serves that task.
    t.send("c = restFunctionConnector(); c.PreferredRestartHour = 3; pause(0.5);\r");
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    // The connector client calls the module's update callback on a thread of its own; the
    // module posts the restart warning to the interpreter, which only the waiting prompt
    // serves once the statement is over.
    t.send("korvan.internal.servicehost.notifyUpdate()\r");
    ASSERT_TRUE(t.expect("notifyUpdate()\r\n>> ")) << t.output();
    ASSERT_TRUE(t.expect("Warning: The service host has an update ready.")) << t.output();
    ASSERT_TRUE(t.expect("3:00")) << t.output();
    // The prompt is drawn again below the warning and still takes statements.
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    t.send("z = 9\r");
    // The typed line's echo, the statement's output, then the next prompt: a Ctrl-D sent
    // before that prompt can be dropped with the rest of the pending input.
    ASSERT_TRUE(t.expect("z = 9\r\n")) << t.output();
    ASSERT_TRUE(t.expect("z = 9\r\n>> ")) << t.output();
    t.send("\x04");
    EXPECT_EQ(t.waitExit(), 0) << t.output();
}

TEST_F(PromptTest, CtrlCInterruptsAStatementAndThePromptComesBack) {
    Terminal t(env());
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    t.send("while true, end\r");
    // The line is taken once libedit has moved to the next line; a Ctrl-C before that would
    // discard it (and the terminal drops the unread rest of the input).
    ASSERT_TRUE(t.expect("while true, end\r\n")) << t.output();
    // A Ctrl-C that lands just before the statement starts is dropped when the run begins;
    // send again until the statement reports the interrupt.
    bool interrupted = false;
    for (int i = 0; i < 20 && !interrupted; ++i) {
        t.send("\x03");
        interrupted = t.expect("Error (KORVAN:lang:Interrupted): ", std::chrono::milliseconds(500));
    }
    ASSERT_TRUE(interrupted) << t.output();
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    t.send("y = 7\r");
    EXPECT_TRUE(t.expect("y = 7\r\n>> ")) << t.output();
    t.send("\x04");
    EXPECT_EQ(t.waitExit(), 0) << t.output();
}

TEST_F(PromptTest, CtrlDTypedWhileAStatementRunsLeavesAfterIt) {
    Terminal t(env());
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    t.send("pause(0.5); disp('done')\r");
    ASSERT_TRUE(t.expect("pause(0.5)")) << t.output();
    t.send("\x04");  // typed ahead, in the terminal's line mode
    EXPECT_EQ(t.waitExit(), 0) << t.output();
    EXPECT_NE(t.output().find("done"), std::string::npos) << t.output();
}

TEST_F(PromptTest, CtrlCAtThePromptDiscardsTheLinesTyped) {
    Terminal t(env());
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    t.send("if true\r");
    ASSERT_TRUE(t.expect("..  ")) << t.output();
    t.send("disp('never')\r");
    ASSERT_TRUE(t.expect("..  ")) << t.output();
    t.send("undefinedName");
    t.send("\x03");
    ASSERT_TRUE(t.expect("\n>> ")) << t.output();
    t.send("q = 5\r");
    ASSERT_TRUE(t.expect("q = 5")) << t.output();
    t.send("exit(4)\r");
    EXPECT_EQ(t.waitExit(), 4) << t.output();
    EXPECT_EQ(t.output().find("never\r\n"), std::string::npos) << t.output();
    EXPECT_EQ(t.output().find("UndefinedVariable"), std::string::npos) << t.output();
}

TEST_F(PromptTest, ErrorsAreShownAndHistoryIsKeptInTheSettingsFolder) {
    {
        Terminal t(env());
        ASSERT_TRUE(t.expect(">> ")) << t.output();
        t.send("error('my:own', 'went wrong')\r");
        ASSERT_TRUE(t.expect("Error (my:own): went wrong")) << t.output();
        ASSERT_TRUE(t.expect(">> ")) << t.output();
        t.send("disp(4242)\r");
        ASSERT_TRUE(t.expect("4242\r\n>> ")) << t.output();
        t.send("\x04");
        ASSERT_EQ(t.waitExit(), 0) << t.output();
    }
    std::ifstream in(fPrefs.path() / "history");
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_NE(text.str().find("disp(4242)"), std::string::npos) << text.str();

    // The next session recalls it: arrow up (ESC [ A) and Enter run it again.
    Terminal t(env());
    ASSERT_TRUE(t.expect(">> ")) << t.output();
    t.send("\x1b[A\r");
    EXPECT_TRUE(t.expect("4242\r\n>> ")) << t.output();
    t.send("\x04");
    EXPECT_EQ(t.waitExit(), 0) << t.output();
}

}  // namespace
}  // namespace korvan::test
