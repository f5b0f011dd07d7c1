// The ids of the calling process and thread, which are kept between calls: a forked child has ids of its own, whatever
// call has made it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <thread>

#include "platform/platform.h"

namespace {

bool knowsItself() {
    const stapi::platform::ThreadIdentity self = stapi::platform::callingThread();
    const auto process = static_cast<uint32_t>(getpid());
    const auto thread = static_cast<uint32_t>(syscall(SYS_gettid));
    return self.process == process && self.thread == thread && stapi::platform::currentProcessId() == process &&
           stapi::platform::currentThreadId() == thread;
}

// Whether a child that was just made knows its own ids; the child ends here.
bool childKnowsItself(pid_t child) {
    if (child == 0) {
        _exit(knowsItself() ? 0 : 1);
    }
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(ProcessIdentity, IsThatOfTheCallerAndStaysSo) {
    EXPECT_TRUE(knowsItself());
    EXPECT_TRUE(knowsItself());
}

TEST(ProcessIdentity, IsAnotherInEachThread) {
    EXPECT_TRUE(knowsItself());
    bool otherKnowsItself = false;
    std::thread([&otherKnowsItself] { otherKnowsItself = knowsItself(); }).join();
    EXPECT_TRUE(otherKnowsItself);
}

TEST(ProcessIdentity, OfAForkedChildIsItsOwn) {
    ASSERT_TRUE(knowsItself());
    EXPECT_TRUE(childKnowsItself(fork()));
    EXPECT_TRUE(knowsItself());
}

// No handler of a fork runs when the system is called directly.
TEST(ProcessIdentity, OfAChildOfTheBareSystemCallIsItsOwn) {
    ASSERT_TRUE(knowsItself());
    EXPECT_TRUE(childKnowsItself(static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0))));
    EXPECT_TRUE(knowsItself());
}

TEST(ProcessIdentity, OfAGrandchildIsItsOwn) {
    ASSERT_TRUE(knowsItself());
    const pid_t child = fork();
    if (child == 0) {
        _exit(knowsItself() && childKnowsItself(fork()) && knowsItself() ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

}  // namespace
