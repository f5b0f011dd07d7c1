// Loading and unloading the DLL. This program does not link it.
// winsock2.h goes before windows.h, and psapi.h behind it.
#include <winsock2.h>

#include <windows.h>

#include <psapi.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "temporary_file.h"
#include "trace_text.h"

namespace {

template <typename Function>
Function functionOf(HMODULE library, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

SIZE_T committedMemory() {
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}

bool areSocketsStarted() {
    const SOCKET probe = socket(AF_INET, SOCK_STREAM, 0);
    if (probe != INVALID_SOCKET) {
        closesocket(probe);
    }
    return probe != INVALID_SOCKET;
}

void loadAndUnload(int times) {
    for (int count = 0; count < times; ++count) {
        const HMODULE library = LoadLibraryA(ZULSTATS64_DLL);
        ASSERT_NE(library, nullptr);
        ASSERT_NE(FreeLibrary(library), 0);
    }
}

TEST(DllLoading, StartsTheSocketsAndUnloadingCleansThemUp) {
    ASSERT_FALSE(areSocketsStarted());
    const HMODULE library = LoadLibraryA(ZULSTATS64_DLL);
    ASSERT_NE(library, nullptr);
    EXPECT_TRUE(areSocketsStarted());
    ASSERT_NE(FreeLibrary(library), 0);
    EXPECT_FALSE(areSocketsStarted());
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
}

TEST(DllLoading, TenThousandTimesLeaksNoMemoryAndNoUseOfTheSockets) {
    constexpr SIZE_T kNoise = 512 * 1024;
    loadAndUnload(200);
    const SIZE_T before = committedMemory();
    loadAndUnload(10000);
    EXPECT_LT(committedMemory(), before + kNoise);
    EXPECT_FALSE(areSocketsStarted());
}

TEST(DllLoading, UnloadingAtLevelFourWritesItsTracePoint) {
    const test_support::TemporaryFile trace;
    const HMODULE library = LoadLibraryA(ZULSTATS64_DLL);
    ASSERT_NE(library, nullptr);
    const auto setLevel = functionOf<int32_t (*)(int32_t)>(library, "setAPITraceLevel");
    const auto setFile = functionOf<int32_t (*)(const char*)>(library, "setAPITraceFile");
    ASSERT_NE(setLevel, nullptr);
    ASSERT_NE(setFile, nullptr);
    ASSERT_EQ(setFile(trace.path().c_str()), 0);
    ASSERT_EQ(setLevel(4), 0);
    ASSERT_NE(FreeLibrary(library), 0);
    const std::vector<std::string> messages = test_support::messagesOfPoint(trace.content(), 1127);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0], "stapi_zul_impl.DllMain() DLL_PROCESS_DETACH calling WSACleanup()");
}

TEST(DllLoading, UnloadingBelowLevelFourWritesNothing) {
    const test_support::TemporaryFile trace;
    const HMODULE library = LoadLibraryA(ZULSTATS64_DLL);
    ASSERT_NE(library, nullptr);
    const auto setLevel = functionOf<int32_t (*)(int32_t)>(library, "setAPITraceLevel");
    const auto setFile = functionOf<int32_t (*)(const char*)>(library, "setAPITraceFile");
    ASSERT_EQ(setFile(trace.path().c_str()), 0);
    ASSERT_EQ(setLevel(3), 0);
    ASSERT_NE(FreeLibrary(library), 0);
    EXPECT_TRUE(test_support::messagesOfPoint(trace.content(), 1127).empty());
}

}  // namespace
