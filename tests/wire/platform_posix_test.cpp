// The platform layer by itself, where the rest of the library never brings it: descriptors that are none, standard
// streams that are closed, signals of failing writes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "end_child_posix.h"
#include "platform/platform.h"
#include "socket_faults.h"
#include "temporary_file.h"

namespace {

thread_local bool streamsCannotBeMade = false;

}  // namespace

extern "C" {

// Names that the linker's wrapping prescribes.
// NOLINTBEGIN(bugprone-reserved-identifier)
FILE* __real_fdopen(int descriptor, const char* mode);
FILE* __wrap_fdopen(int descriptor, const char* mode);

FILE* __wrap_fdopen(int descriptor, const char* mode) {
    if (streamsCannotBeMade) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_fdopen(descriptor, mode);
}
// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"

namespace wire_test {

namespace {

namespace platform = stapi::platform;

// A number that no descriptor has; high, so that nothing that is opened meanwhile takes it.
int closedDescriptor() {
    constexpr int kHighNumber = 700;
    const int descriptor = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, kHighNumber);
    close(descriptor);
    return descriptor;
}

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

// Whether an action is true in a child process.
template <typename Action>
bool holdsInAChild(const Action& action) {
    constexpr unsigned kLimitInSeconds = 30;
    const pid_t child = fork();
    if (child == 0) {
        alarm(kLimitInSeconds);
        test_support::endChild(action() ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void closeStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        close(stream);
    }
}

TEST(PlatformPosix, ADescriptorThatIsNoneIsABadOneForEveryCall) {
    const int32_t none = closedDescriptor();
    EXPECT_EQ(platform::setNonBlocking(none, true).error, EBADF);
    EXPECT_EQ(platform::pendingSocketError(none).value, -1);
    EXPECT_EQ(platform::pendingSocketError(none).error, EBADF);
    EXPECT_EQ(platform::waitReadable(none).value, -1);
    EXPECT_EQ(platform::waitReadable(none).error, EBADF);
    const platform::ConnectWait wait = platform::waitForConnect(none);
    EXPECT_EQ(wait.ready, -1);
    EXPECT_EQ(wait.error, EBADF);
    EXPECT_FALSE(wait.mayHaveFailed);
}

TEST(PlatformPosix, AnInterruptedStartOfAConnectIsOneThatGoesOn) {
    const SocketFault fault(SocketCall::connect, 1, EINTR);
    const platform::SocketResult started = platform::startConnect(closedDescriptor(), {});
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(started.value, -1);
    EXPECT_EQ(started.error, platform::kErrorWouldBlock);
}

// The time is over before the first look at the socket, and behind an interruption.
TEST(PlatformPosix, AConnectWithoutAnyTimeLeftIsLookedAtAndEnds) {
    const int32_t before = platform::connectTimeout();
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    const char filler[4096] = {};
    while (send(ends[0], filler, sizeof filler, MSG_DONTWAIT) > 0) {
    }
    platform::setConnectTimeoutForTest(0);
    EXPECT_EQ(platform::waitForConnect(ends[0]).ready, 0);
    {
        const SocketFault fault(SocketCall::wait, 1, EINTR);
        EXPECT_EQ(platform::waitForConnect(ends[0]).ready, 0);
        EXPECT_TRUE(fault.hasStruck());
    }
    platform::setConnectTimeoutForTest(before);
    close(ends[0]);
    close(ends[1]);
}

TEST(PlatformPosix, AnErrorIsDescribedIntoNoMoreThanItsArea) {
    char text[] = "xyz";
    platform::describeSocketError(EPERM, text, 0);
    EXPECT_STREQ(text, "xyz");
    platform::describeSocketError(EPERM, text, 1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(text[1], 'y');
}

TEST(PlatformPosix, NothingIsOpenedAsAStandardStream) {
    const test_support::TemporaryFile file;
    EXPECT_TRUE(holdsInAChild([&file] {
        closeStandardStreams();
        int32_t error = 0;
        std::FILE* const stream = platform::openForAppending(file.path().c_str(), &error);
        const bool isHigh = stream != nullptr && fileno(stream) > STDERR_FILENO;
        return isHigh && !isOpen(STDIN_FILENO) && std::fclose(stream) == 0;
    }));
    EXPECT_TRUE(holdsInAChild([] {
        closeStandardStreams();
        platform::HostAddress address = {};
        address.family = AF_INET;
        address.type = SOCK_STREAM;
        const platform::SocketResult made = platform::createSocket(address);
        return made.value > STDERR_FILENO && !isOpen(STDIN_FILENO) && platform::closeSocket(made.value).value == 0;
    }));
}

TEST(PlatformPosix, AStreamThatCannotBeMadeLeavesNoDescriptorOpen) {
    const test_support::TemporaryFile file;
    const int next = dup(STDERR_FILENO);
    close(next);
    int32_t error = 0;
    streamsCannotBeMade = true;
    EXPECT_EQ(platform::openForAppending(file.path().c_str(), &error), nullptr);
    streamsCannotBeMade = false;
    EXPECT_EQ(error, ENOMEM);
    EXPECT_FALSE(isOpen(next));
}

// Writes into a pipe that nobody reads, in the library's way.
bool writeFails() {
    int ends[2] = {-1, -1};
    bool fails = false;
    if (pipe(ends) == 0) {
        close(ends[0]);
        platform::StreamWriteHold hold(stderr);
        fails = write(ends[1], "x", 1) < 0 && errno == EPIPE;
        hold.noteFailure();
    }
    return fails;
}

bool isPending(int signal) {
    sigset_t waiting;
    sigemptyset(&waiting);
    sigpending(&waiting);
    return sigismember(&waiting, signal) == 1;
}

TEST(PlatformPosix, TheSignalOfAFailedWriteIsTakenBack) {
    EXPECT_TRUE(holdsInAChild([] {
        signal(SIGPIPE, SIG_DFL);
        return writeFails() && !isPending(SIGPIPE);
    }));
}

TEST(PlatformPosix, ASignalThatTheCallerHasBlockedIsLeftToTheCaller) {
    EXPECT_TRUE(holdsInAChild([] {
        signal(SIGPIPE, SIG_DFL);
        sigset_t pipes;
        sigemptyset(&pipes);
        sigaddset(&pipes, SIGPIPE);
        sigprocmask(SIG_BLOCK, &pipes, nullptr);
        return writeFails() && isPending(SIGPIPE);
    }));
}

}  // namespace

}  // namespace wire_test
