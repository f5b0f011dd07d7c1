// Signals, and loading and unloading of the library.
#include <dirent.h>
#include <dlfcn.h>
#include <malloc.h>
#include <signal.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "forked_posix.h"
#include "leaves_trace_name_posix.h"
#include "relay_posix.h"
#include "system_fixture.h"
#include "trace_text.h"

namespace system_test {

using test_support::GatewaySim;
using test_support::LeavesTraceName;

class HygienePosix : public SystemTest {};

namespace {

volatile sig_atomic_t brokenPipes = 0;

void countBrokenPipe(int) {
    brokenPipes = brokenPipes + 1;
}

// Counts the signal while it lives.
class BrokenPipeCounter {
  public:
    BrokenPipeCounter() {
        brokenPipes = 0;
        struct sigaction counting {};
        counting.sa_handler = countBrokenPipe;
        sigaction(SIGPIPE, &counting, &before_);
    }
    ~BrokenPipeCounter() {
        sigaction(SIGPIPE, &before_, nullptr);
    }
    BrokenPipeCounter(const BrokenPipeCounter&) = delete;
    BrokenPipeCounter& operator=(const BrokenPipeCounter&) = delete;

  private:
    struct sigaction before_ {};
};

size_t openDescriptors() {
    DIR* const folder = opendir("/proc/self/fd");
    size_t count = 0;
    while (readdir(folder) != nullptr) {
        ++count;
    }
    closedir(folder);
    return count;
}

// A second instance of the library, loaded from a copy of its file: the program's own stays loaded throughout.
class LoadedLibrary {
  public:
    explicit LoadedLibrary(const std::string& file) : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {}
    ~LoadedLibrary() {
        close();
    }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    bool isLoaded() const {
        return handle_ != nullptr;
    }
    template <typename Function>
    Function* function(const char* name) const {
        return reinterpret_cast<Function*>(dlsym(handle_, name));
    }
    void close() {
        if (handle_ != nullptr) {
            dlclose(handle_);
            handle_ = nullptr;
        }
    }

  private:
    void* handle_;
};

// One use of a loaded library: a connection, a query, a close.
std::vector<int32_t> useOnce(const LoadedLibrary& library, int port) {
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    ResultSetToken* result = nullptr;
    const int32_t open = library.function<decltype(openRemoteGatewayConnection)>("openRemoteGatewayConnection")(
        "127.0.0.1", port, &token, &protocol);
    const int32_t query = library.function<decltype(getStats)>("getStats")(token, &result);
    const int32_t close = library.function<decltype(closeGatewayConnection)>("closeGatewayConnection")(&token);
    return {open, query, close};
}

}  // namespace

TEST_F(HygienePosix, BrokenConnectionsNeverRaiseASignal) {
    const GatewaySim sim;
    const BrokenPipeCounter counter;
    for (const bool byReset : {true, false}) {
        Relay relay(sim.port());
        GatewayToken* token = nullptr;
        char* protocol = nullptr;
        ASSERT_EQ(openGatewayConnection(relay.port(), &token, &protocol), STAPI_RC_OK);
        if (byReset) {
            relay.reset();
        } else {
            relay.finish();
        }
        ResultSetToken* result = nullptr;
        // The query fails, and the close request that follows it meets a connection that is known to be broken.
        EXPECT_LT(getStats(token, &result), STAPI_RC_OK);
    }
    EXPECT_EQ(brokenPipes, 0);
}

TEST_F(HygienePosix, DaemonThatEndedNeverRaisesASignal) {
    const BrokenPipeCounter counter;
    GatewaySim sim;
    const Connection first(sim);
    Connection second(sim);
    ASSERT_EQ(sim.stop(), 0);
    ResultSetToken* result = nullptr;
    EXPECT_LT(getStats(first.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(second.close(), STAPI_RC_OK);
    EXPECT_EQ(brokenPipes, 0);
}

TEST_F(HygienePosix, HandlersOfTheCallerStayInPlace) {
    const GatewaySim sim;
    std::vector<void (*)(int)> before;
    const auto handlers = [] {
        std::vector<void (*)(int)> found;
        for (int number = 1; number < 32; ++number) {
            struct sigaction current {};
            sigaction(number, nullptr, &current);
            found.push_back(current.sa_handler);
        }
        return found;
    };
    before = handlers();
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    EXPECT_EQ(handlers(), before);
}

// The file name and the trace destination of an instance live as long as the process does; an instance that was never
// used has none. Whatever a thousand instances would leave behind shows in the descriptors and in the heap.
TEST_F(HygienePosix, LoadingAndUnloadingAThousandTimesLeavesNothingBehind) {
    constexpr int kTimes = 1000;
    const test_support::TemporaryFile copy(test_support::readFile(LIBRARY_FILE));
    const auto loadAndUnload = [&copy] {
        LoadedLibrary library(copy.path());
        ASSERT_TRUE(library.isLoaded()) << dlerror();
    };
    for (int warmUp = 0; warmUp < 20; ++warmUp) {
        loadAndUnload();
    }
    const size_t descriptors = openDescriptors();
    const size_t memory = mallinfo2().uordblks;
    for (int time = 0; time < kTimes; ++time) {
        loadAndUnload();
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LE(mallinfo2().uordblks, memory + 16384);
}

// Used instances each keep the name of their trace destination; nothing else, and no descriptor.
TEST_F(HygienePosix, UsingAndUnloadingManyTimesLeavesNoDescriptorAndNoMoreThanTheTraceName) {
    constexpr size_t kTimes = 200;
    constexpr size_t kTraceName = 1024 + 64;
    const LeavesTraceName byDesign;
    const GatewaySim sim;
    const test_support::TemporaryFile copy(test_support::readFile(LIBRARY_FILE));
    const auto use = [&] {
        const LoadedLibrary library(copy.path());
        ASSERT_TRUE(library.isLoaded()) << dlerror();
        EXPECT_EQ(useOnce(library, sim.port()), (std::vector<int32_t>{0, 0, 0}));
    };
    for (int warmUp = 0; warmUp < 5; ++warmUp) {
        use();
    }
    const size_t descriptors = openDescriptors();
    const size_t memory = mallinfo2().uordblks;
    for (size_t time = 0; time < kTimes; ++time) {
        use();
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LE(mallinfo2().uordblks, memory + kTimes * kTraceName + 16384);
}

// Its functions call one another, whatever else in the process has a function of the same name.
TEST_F(HygienePosix, SecondInstanceUsesNothingOfTheFirst) {
    const LeavesTraceName byDesign;
    const GatewaySim sim;
    const test_support::TemporaryFile copy(test_support::readFile(LIBRARY_FILE));
    const LoadedLibrary library(copy.path());
    ASSERT_TRUE(library.isLoaded()) << dlerror();
    GatewayToken* token = nullptr;
    char* protocol = nullptr;
    ResultSetToken* result = nullptr;
    ASSERT_EQ(library.function<decltype(openGatewayConnection)>("openGatewayConnection")(sim.port(), &token, &protocol),
              STAPI_RC_OK);
    EXPECT_EQ(getStats(token, &result), STAPI_RC_TOKEN_NOT_FOUND) << "the connection was opened by the first instance";
    EXPECT_EQ(library.function<decltype(getStats)>("getStats")(token, &result), STAPI_RC_OK);
    EXPECT_EQ(library.function<decltype(closeGatewayConnection)>("closeGatewayConnection")(&token), STAPI_RC_OK);
}

TEST_F(HygienePosix, UnloadingAtLevelFourSaysSo) {
    const LeavesTraceName byDesign;
    const test_support::TemporaryFile copy(test_support::readFile(LIBRARY_FILE));
    for (const int32_t level : {0, 3, 4, 5}) {
        const test_support::TemporaryFile trace;
        LoadedLibrary library(copy.path());
        ASSERT_TRUE(library.isLoaded()) << dlerror();
        ASSERT_EQ(library.function<decltype(setAPITraceFile)>("setAPITraceFile")(trace.path().c_str()), STAPI_RC_OK);
        ASSERT_EQ(library.function<decltype(setAPITraceLevel)>("setAPITraceLevel")(level), STAPI_RC_OK);
        library.close();
        const std::vector<std::string> expected(level >= 4 ? 1 : 0,
                                                "stapi_zul_impl.DllMain() DLL_PROCESS_DETACH calling WSACleanup()");
        EXPECT_EQ(test_support::messagesOfPoint(trace.content(), 1127), expected) << level;
    }
}

TEST_F(HygienePosix, UnloadingWithAnOpenConnectionIsSafe) {
    const GatewaySim sim;
    const test_support::TemporaryFile copy(test_support::readFile(LIBRARY_FILE));
    // In a child: the connection and its memory are left to the end of the process.
    const std::vector<int32_t> codes = inForkedChild([&] {
        GatewayToken* token = nullptr;
        char* protocol = nullptr;
        LoadedLibrary library(copy.path());
        const int32_t open =
            library.function<decltype(openGatewayConnection)>("openGatewayConnection")(sim.port(), &token, &protocol);
        library.close();
        return std::vector<int32_t>{open};
    });
    EXPECT_EQ(codes, std::vector<int32_t>{STAPI_RC_OK});
}

}  // namespace system_test
