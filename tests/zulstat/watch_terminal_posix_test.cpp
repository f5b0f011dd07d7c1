// What a watch that draws on a terminal does with it: when it is stopped, ended, held up, or in the background.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "terminal_session_posix.h"
#include "zulstat_program.h"

namespace {

using zulstat_test::CatalogueGateway;
using zulstat_test::kSmallCatalogue;
using zulstat_test::TerminalSession;
using zulstat_test::Texts;

const std::string kTaken = "\x1B[?1049h";
const std::string kLeft = "\x1B[?25h\x1B[?1049l";
const std::string kPicture = "q quit";

class WatchOnATerminal : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!zulstat_test::machineHasPseudoTerminals()) {
            GTEST_SKIP() << "this machine has no pseudo-terminals";
        }
    }
    Texts watch(const Texts& more = {}) const {
        Texts words{
            zulstat_test::zulstatProgram(), "--port", std::to_string(gateway_.gateway().port()), "watch", "-i", "0.1"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    // Waits until the gateway has been asked so often.
    void awaitQueries(int count) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (queries() < count && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        ASSERT_GE(queries(), count);
    }
    // Of a process whose parent asks for its outcome.
    static void awaitEnd(pid_t process) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (::kill(process, 0) == 0 && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        ASSERT_NE(::kill(process, 0), 0) << "the process does not end";
    }
    int queries() const {
        const std::string told = gateway_.gateway().standardError();
        int count = 0;
        for (size_t place = told.find(" invoke "); place != std::string::npos;
             place = told.find(" invoke ", place + 1)) {
            ++count;
        }
        return count;
    }

  private:
    CatalogueGateway gateway_{kSmallCatalogue, {"--verbose"}};
};

TEST_F(WatchOnATerminal, LeavesItWhenStoppedAndTakesItAgain) {
    TerminalSession session("set -m; \"$@\"; echo stopped with $?; read line; fg; echo ended with $?", watch());
    session.readUntil(kTaken);
    session.readUntil(kPicture);
    EXPECT_FALSE(session.isInLineMode());
    session.type("\x1A");
    EXPECT_NE(session.readUntil("stopped with 148").find(kLeft), std::string::npos);
    EXPECT_TRUE(session.isInLineMode());
    session.type("\n");
    session.readUntil(kTaken);
    session.readUntil(kPicture);
    EXPECT_FALSE(session.isInLineMode());
    session.type("/beta");
    session.readUntil("filter: beta_");
    session.type("\nq");
    EXPECT_NE(session.readUntil("ended with 0").find(kLeft), std::string::npos);
    EXPECT_TRUE(session.isInLineMode());
}

TEST_F(WatchOnATerminal, LeavesItWhenToldToQuit) {
    TerminalSession session("set -m; ulimit -c 0; \"$@\"; echo ended with $?", watch());
    session.readUntil(kPicture);
    session.type("\x1C");
    EXPECT_NE(session.readUntil("ended with 131").find(kLeft), std::string::npos);
    EXPECT_TRUE(session.isInLineMode());
}

TEST_F(WatchOnATerminal, LeavesItWhenTerminatedWhileItsOutputIsHeld) {
    TerminalSession session("sh -c 'echo process $$.; exec \"$@\"' sh \"$@\"; echo ended with $?", watch());
    session.readUntil("process ");
    const auto process = static_cast<pid_t>(std::stol(session.readUntil(".")));
    session.readUntil(kPicture);
    session.type("\x13");
    ::kill(process, SIGTERM);
    awaitEnd(process);
    // For the shell, should the process have ended before its output was held.
    session.type("\x11");
    EXPECT_NE(session.readUntil("ended with 143").find(kLeft), std::string::npos);
    EXPECT_TRUE(session.isInLineMode());
}

// A key makes it draw, so that it is held up in the middle of a picture.
TEST_F(WatchOnATerminal, LeavesItWhenInterruptedFromElsewhereWhileAPictureIsHeld) {
    TerminalSession session("sh -c 'echo process $$.; exec \"$@\"' sh \"$@\"; echo ended with $?", watch());
    session.readUntil("process ");
    const auto process = static_cast<pid_t>(std::stol(session.readUntil(".")));
    session.readUntil(kPicture);
    session.type("\x13ppp");
    ::kill(process, SIGINT);
    awaitEnd(process);
    session.type("\x11");
    EXPECT_NE(session.readUntil("ended with 130").find(kLeft), std::string::npos);
    EXPECT_TRUE(session.isInLineMode());
}

TEST_F(WatchOnATerminal, LeavesItAloneInTheBackground) {
    TerminalSession session("set -m; \"$@\" & read line; echo to the foreground; fg; echo ended with $?", watch());
    awaitQueries(5);
    EXPECT_TRUE(session.isInLineMode());
    session.type("\n");
    EXPECT_EQ(session.readUntil("to the foreground").find('\x1B'), std::string::npos);
    session.readUntil(kTaken);
    session.readUntil(kPicture);
    session.type("q");
    session.readUntil("ended with 0");
    EXPECT_TRUE(session.isInLineMode());
}

TEST_F(WatchOnATerminal, EndsInTheBackgroundWhenTerminatedAfterAStop) {
    TerminalSession session("set -m; \"$@\"; bg; kill %1; wait %1; echo ended with $?", watch());
    session.readUntil(kPicture);
    session.type("\x1A");
    session.readUntil("ended with 143");
    EXPECT_TRUE(session.isInLineMode());
}

TEST_F(WatchOnATerminal, FiltersByCharactersOutsideAscii) {
    TerminalSession session("\"$@\"; echo ended with $?", watch());
    session.readUntil(kPicture);
    session.type("/\xC3\xA9\xE2\x82\xAC");
    session.readUntil("filter: \xC3\xA9\xE2\x82\xAC_");
    session.type("\x7F");
    session.readUntil("filter: \xC3\xA9_");
    session.type("\x1B");
    session.readUntil("-3 of 3");
    session.type("q");
    session.readUntil("ended with 0");
}

TEST_F(WatchOnATerminal, RefusesATraceThatWouldWriteOverThePicture) {
    TerminalSession session("\"$@\"; echo ended with $?", watch({"--trace-level", "4"}));
    const std::string shown = session.readUntil("ended with 2");
    EXPECT_NE(shown.find("--trace-level would write over the picture. Give --trace-file FILE too"), std::string::npos)
        << shown;
    EXPECT_EQ(shown.find(kTaken), std::string::npos);
}

}  // namespace
