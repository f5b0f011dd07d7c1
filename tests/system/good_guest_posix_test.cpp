// What the library does not do to the process that loads it, on systems with forks, signals, cancellation and streams
// under fixed numbers. Whatever may end the process is tried in a child.
#include <atomic>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "forked_posix.h"
#include "system_fixture.h"

namespace system_test {

namespace {

using test_support::GatewaySim;
using test_support::TemporaryFile;

constexpr unsigned kChildLimitInSeconds = 30;

class GoodGuest : public SystemTest {};

// ---- Forks ----------------------------------------------------------------------------------------------------------

// Threads that are inside the library all the time: they open, query, trace and close.
class BusyThreads {
  public:
    explicit BusyThreads(const GatewaySim& sim) {
        for (int number = 0; number < 4; ++number) {
            threads_.emplace_back([this, &sim] {
                while (!stop_) {
                    Connection connection(sim);
                    ResultSetToken* result = nullptr;
                    getResourceGroupIds(connection.token(), &result);
                    dumpState();
                    ++rounds_;
                }
            });
        }
    }
    ~BusyThreads() {
        stop_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    BusyThreads(const BusyThreads&) = delete;
    BusyThreads& operator=(const BusyThreads&) = delete;

  private:
    std::atomic<bool> stop_ = false;
    std::atomic<int> rounds_ = 0;
    std::vector<std::thread> threads_;
};

TEST_F(GoodGuest, ForkedChildOfABusyProcessNeverHangsAndItsParentGoesOn) {
    constexpr int kForks = 40;
    const GatewaySim sim;
    const TemporaryFile trace;
    ASSERT_EQ(setAPITraceFile(trace.path().c_str()), 0);
    ASSERT_EQ(setAPITraceLevel(4), 0);
    Connection mine(sim);
    ASSERT_EQ(mine.openCode(), 0);
    const BusyThreads busy(sim);
    for (int number = 0; number < kForks; ++number) {
        const std::vector<int32_t> codes = inForkedChild([&mine] {
            ::alarm(kChildLimitInSeconds);
            ResultSetToken* result = nullptr;
            GatewayToken* token = mine.token();
            return std::vector<int32_t>{getStats(token, &result), dumpState(), closeGatewayConnection(&token),
                                        closeAllGatewayConnections(), dumpState()};
        });
        EXPECT_EQ(codes, (std::vector<int32_t>{-123, 0, 0, 0, 0}));
        ResultSetToken* result = nullptr;
        ASSERT_EQ(getResourceGroupIds(mine.token(), &result), 0) << "after fork " << number;
    }
    EXPECT_EQ(mine.close(), 0);
}

TEST_F(GoodGuest, ForkedChildClosesItsCopyWithoutAWordOnTheWire) {
    const GatewaySim sim;
    GatewayToken* token = nullptr;
    char* version = nullptr;
    ASSERT_EQ(openGatewayConnection(sim.port(), &token, &version), 0);
    const std::vector<int32_t> codes = inForkedChild([token] {
        GatewayToken* copy = token;
        const int32_t closeRc = closeGatewayConnection(&copy);
        return std::vector<int32_t>{closeRc, copy == nullptr ? 1 : 0, closeAllGatewayConnections()};
    });
    EXPECT_EQ(codes, (std::vector<int32_t>{0, 1, 0}));
    ResultSetToken* result = nullptr;
    EXPECT_EQ(getStats(token, &result), 0) << "a close request would have ended the parent's connection";
    EXPECT_EQ(closeGatewayConnection(&token), 0);
}

TEST_F(GoodGuest, ForkedChildOpensAConnectionOfItsOwnAndExitsAsUsual) {
    const GatewaySim sim;
    const Connection mine(sim);
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(kChildLimitInSeconds);
        GatewayToken* token = nullptr;
        char* version = nullptr;
        ResultSetToken* result = nullptr;
        const bool works = openGatewayConnection(sim.port(), &token, &version) == 0 && getStats(token, &result) == 0 &&
                           closeGatewayConnection(&token) == 0;
        std::quick_exit(works ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// ---- Signals --------------------------------------------------------------------------------------------------------

TEST_F(GoodGuest, TraceToAPipeWithoutAReaderRaisesNoSignal) {
    const std::vector<int32_t> codes = inForkedChild([] {
        std::signal(SIGPIPE, SIG_DFL);
        int ends[2] = {-1, -1};
        const bool made = ::pipe(ends) == 0;
        const std::string name = "/proc/self/fd/" + std::to_string(ends[1]);
        const int32_t fileRc = made ? setAPITraceFile(name.c_str()) : -1;
        ::close(ends[0]);
        sigset_t waiting;
        sigemptyset(&waiting);
        const int32_t levelRc = setAPITraceLevel(4);
        const int32_t dumpRc = dumpState();
        ::sigpending(&waiting);
        return std::vector<int32_t>{fileRc, levelRc, dumpRc, sigismember(&waiting, SIGPIPE)};
    });
    EXPECT_EQ(codes, (std::vector<int32_t>{0, 0, 0, 0}));
}

TEST_F(GoodGuest, TraceFileAtTheLimitOfItsSizeRaisesNoSignal) {
    const TemporaryFile trace;
    const std::vector<int32_t> codes = inForkedChild([&trace] {
        constexpr rlim_t kMostBytes = 200;
        const rlimit limit = {kMostBytes, kMostBytes};
        std::signal(SIGXFSZ, SIG_DFL);
        const int32_t fileRc = setAPITraceFile(trace.path().c_str());
        const bool limited = ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
        setAPITraceLevel(4);
        return std::vector<int32_t>{fileRc, limited ? 0 : 1, dumpState(), dumpState()};
    });
    EXPECT_EQ(codes, (std::vector<int32_t>{0, 0, 0, 0}));
}

TEST_F(GoodGuest, SignalThatTheCallerHasWaitingStaysWaiting) {
    const std::vector<int32_t> codes = inForkedChild([] {
        sigset_t pipeSignal;
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
        ::raise(SIGPIPE);
        const int32_t dumpRc = dumpState();
        sigset_t waiting;
        sigemptyset(&waiting);
        ::sigpending(&waiting);
        return std::vector<int32_t>{dumpRc, sigismember(&waiting, SIGPIPE)};
    });
    EXPECT_EQ(codes, (std::vector<int32_t>{0, 1}));
}

// The letter by which the system names what a thread of this process is doing; 'S' when it waits.
char stateOfThread(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(status, text);
    const size_t behindName = text.rfind(") ");
    return behindName == std::string::npos ? '?' : text[behindName + 2];
}

// Opening such a file waits for a reader, for as long as it takes.
TEST_F(GoodGuest, TracePipeWithoutAReaderHoldsUpNeitherAnotherThreadNorAFork) {
    const TemporaryFile name;
    const std::string pipe = name.path() + ".pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::vector<int32_t> codes = inForkedChild([&pipe] {
        ::alarm(kChildLimitInSeconds);
        std::atomic<pid_t> thread = 0;
        std::thread opener([&pipe, &thread] {
            thread = static_cast<pid_t>(::syscall(SYS_gettid));
            setAPITraceFile(pipe.c_str());
        });
        while (thread == 0 || stateOfThread(thread) != 'S') {
            std::this_thread::yield();
        }
        const int32_t levelRc = setAPITraceLevel(0);
        const int32_t forked = inForkedChild([] { return std::vector<int32_t>{7}; }).front();
        const int reader = ::open(pipe.c_str(), O_RDONLY);
        opener.join();
        ::close(reader);
        return std::vector<int32_t>{levelRc, forked};
    });
    ::unlink(pipe.c_str());
    EXPECT_EQ(codes, (std::vector<int32_t>{0, 7}));
}

// ---- Descriptors ----------------------------------------------------------------------------------------------------

TEST_F(GoodGuest, NeitherSocketNorTraceFileTakesTheNumberOfAStandardStream) {
    const GatewaySim sim;
    const TemporaryFile trace;
    const std::vector<int32_t> codes = inForkedChild([&sim, &trace] {
        for (int descriptor = 0; descriptor <= 2; ++descriptor) {
            ::close(descriptor);
        }
        const int32_t fileRc = setAPITraceFile(trace.path().c_str());
        GatewayToken* token = nullptr;
        char* version = nullptr;
        const int32_t openRc = openGatewayConnection(sim.port(), &token, &version);
        std::vector<int32_t> found = {fileRc, openRc};
        for (int descriptor = 0; descriptor <= 2; ++descriptor) {
            found.push_back(::fcntl(descriptor, F_GETFD));
        }
        return found;
    });
    EXPECT_EQ(codes, (std::vector<int32_t>{0, 0, -1, -1, -1}));
}

// ---- Cancellation ---------------------------------------------------------------------------------------------------

TEST_F(GoodGuest, CancelledThreadsLeaveNoLockHeld) {
    constexpr int kThreads = 30;
    const GatewaySim sim;
    const TemporaryFile trace;
    ASSERT_EQ(setAPITraceFile(trace.path().c_str()), 0);
    ASSERT_EQ(setAPITraceLevel(4), 0);
    for (int number = 0; number < kThreads; ++number) {
        std::atomic<bool> begun = false;
        struct Work {
            const GatewaySim* sim;
            std::atomic<bool>* begun;
        } work = {&sim, &begun};
        pthread_t thread = {};
        ASSERT_EQ(::pthread_create(
                      &thread, nullptr,
                      [](void* argument) -> void* {
                          const auto* const given = static_cast<Work*>(argument);
                          while (true) {
                              GatewayToken* token = nullptr;
                              char* version = nullptr;
                              ResultSetToken* result = nullptr;
                              openGatewayConnection(given->sim->port(), &token, &version);
                              *given->begun = true;
                              getResourceGroupIds(token, &result);
                              dumpState();
                              closeGatewayConnection(&token);
                              ::pthread_testcancel();
                          }
                          return nullptr;
                      },
                      &work),
                  0);
        while (!begun) {
            std::this_thread::yield();
        }
        ::pthread_cancel(thread);
        void* outcome = nullptr;
        ASSERT_EQ(::pthread_join(thread, &outcome), 0);
        EXPECT_EQ(outcome, PTHREAD_CANCELED);
        Connection connection(sim);
        EXPECT_EQ(connection.openCode(), 0);
        EXPECT_EQ(dumpState(), 0);
    }
}

}  // namespace

}  // namespace system_test
