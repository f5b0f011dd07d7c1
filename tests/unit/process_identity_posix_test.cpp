// The ids of the calling process and thread, which are kept between calls: a forked child has ids of its own, whatever
// call has made it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <thread>

#include "end_child_posix.h"
#include "platform/platform.h"

namespace {

bool pagesCannotBeWiped = false;

}  // namespace

extern "C" {

// Names that the linker's wrapping prescribes.
// NOLINTBEGIN(bugprone-reserved-identifier)
int __real_madvise(void* address, size_t size, int advice);
int __wrap_madvise(void* address, size_t size, int advice);

int __wrap_madvise(void* address, size_t size, int advice) {
    if (pagesCannotBeWiped) {
        errno = EINVAL;
        return -1;
    }
    return __real_madvise(address, size, advice);
}
// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"

namespace {

bool knowsItself() {
    const auto process = static_cast<uint32_t>(getpid());
    const auto thread = static_cast<uint32_t>(syscall(SYS_gettid));
    // Asked first, so that nothing may be known yet.
    const bool isCaller = stapi::platform::isCallingThread(process, thread);
    const stapi::platform::ThreadIdentity self = stapi::platform::callingThread();
    return isCaller && stapi::platform::isCallingThread(process, thread) &&
           !stapi::platform::isCallingThread(process, thread + 1) &&
           !stapi::platform::isCallingThread(process + 1, thread) && self.process == process && self.thread == thread &&
           stapi::platform::currentProcessId() == process && stapi::platform::currentThreadId() == thread;
}

// Whether a child that was just made knows its own ids; the child ends here.
bool childKnowsItself(pid_t child) {
    if (child == 0) {
        // Tests run in the first thread of a process, which has the process's id.
        const auto parent = static_cast<uint32_t>(getppid());
        const bool takesItselfForItsParent = stapi::platform::isCallingThread(parent, parent);
        test_support::endChild(knowsItself() && !takesItselfForItsParent ? 0 : 1);
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
        test_support::endChild(knowsItself() && childKnowsItself(fork()) && knowsItself() ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// An old system does not know how to wipe a page at a fork: then nothing is kept, and errno stays what it was.
TEST(ProcessIdentity, IsLearntAnewByEachCallWhereThePageStaysAtForks) {
    const pid_t child = fork();
    if (child == 0) {
        pagesCannotBeWiped = true;
        errno = 0;
        const bool isRight = knowsItself() && errno == 0 && knowsItself() && childKnowsItself(fork()) && knowsItself();
        test_support::endChild(isRight ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

}  // namespace
