// The small tools beside the trace points: formatted writes, identifiers, direct lines and the heap check.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "impl/stapi_zul_impl.h"
#include "platform/platform.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

using TraceTools = TraceTest;

struct FileCloser {
    void operator()(std::FILE* stream) const {
        std::fclose(stream);
    }
};
using OpenFile = std::unique_ptr<std::FILE, FileCloser>;

TEST_F(TraceTools, TracePrintfWritesToTheStreamAndCountsTheBytes) {
    OpenFile stream(std::fopen(file_.path().c_str(), "wb"));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stapi::tracePrintf(stream.get(), "%s=%d\n", "value", 42), 9);
    EXPECT_EQ(stapi::tracePrintf(stream.get(), "%s", ""), 0);
    stream.reset();
    EXPECT_EQ(traced(), "value=42\n");
}

TEST_F(TraceTools, TracePrintfWritesTextOfEveryLength) {
    const std::string longText(10000, 'x');
    OpenFile stream(std::fopen(file_.path().c_str(), "wb"));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stapi::tracePrintf(stream.get(), "<%s>", longText.c_str()), 10002);
    stream.reset();
    EXPECT_EQ(traced(), "<" + longText + ">");
}

TEST_F(TraceTools, TraceSprintfWritesIntoTheBufferAndCountsTheBytes) {
    std::vector<char> buffer(9, 'x');
    EXPECT_EQ(stapi::traceSprintf(buffer.data(), buffer.size(), "%s=%d", "value", 42), 8);
    EXPECT_STREQ(buffer.data(), "value=42");
}

TEST_F(TraceTools, TraceSprintfThatDoesNotFitGivesMinusOneAndKeepsWhatFits) {
    std::vector<char> buffer(8, 'x');
    EXPECT_EQ(stapi::traceSprintf(buffer.data(), buffer.size(), "%s=%d", "value", 42), -1);
    EXPECT_STREQ(buffer.data(), "value=4");
}

TEST_F(TraceTools, TraceSprintfIntoNoRoomGivesMinusOneAndWritesNothing) {
    char guard = 'x';
    EXPECT_EQ(stapi::traceSprintf(&guard, 0, "%d", 1), -1);
    EXPECT_EQ(guard, 'x');
}

TEST_F(TraceTools, IdsEqualComparesWholeIdentifiers) {
    EXPECT_EQ(stapi::idsEqual(0, 0), 1);
    EXPECT_EQ(stapi::idsEqual(0xFFFFFFFF, 0xFFFFFFFF), 1);
    EXPECT_EQ(stapi::idsEqual(1, 2), 0);
    EXPECT_EQ(stapi::idsEqual(0x80000000, 0), 0);
    EXPECT_EQ(stapi::idsEqual(0x00010001, 0x00000001), 0);
}

TEST_F(TraceTools, GetPidTidStoresTheIdsOfTheCaller) {
    uint32_t pid = 0;
    uint32_t tid = 0;
    stapi::getPidTid(&pid, &tid);
    EXPECT_EQ(pid, stapi::platform::currentProcessId());
    EXPECT_EQ(tid, stapi::platform::currentThreadId());
    EXPECT_NE(pid, 0U);
    EXPECT_NE(tid, 0U);
    uint32_t otherPid = 0;
    uint32_t otherTid = 0;
    std::thread([&otherPid, &otherTid] { stapi::getPidTid(&otherPid, &otherTid); }).join();
    EXPECT_EQ(otherPid, pid);
    EXPECT_NE(otherTid, tid);
}

TEST_F(TraceTools, GetPidTidSkipsANullPointer) {
    uint32_t pid = 0;
    uint32_t tid = 0;
    stapi::getPidTid(&pid, nullptr);
    stapi::getPidTid(nullptr, &tid);
    stapi::getPidTid(nullptr, nullptr);
    EXPECT_EQ(pid, stapi::platform::currentProcessId());
    EXPECT_EQ(tid, stapi::platform::currentThreadId());
}

TEST_F(TraceTools, HeapCheckWritesOneOfItsLinesAtEveryLevelWithoutPrefix) {
    traceToFile(0);
    stapi::stapiCheckHeap("here");
    const std::string head = "stapi_zul_diag.stapiCheckHeap[here] _heapchk() ";
    const std::vector<std::string> possible = {
        head + "ERROR - bad node in heap\n", head + "ERROR - bad start of heap\n",
        head + "OK - heap is fine\n",        head + "OK - heap is empty\n",
        head + "unknown status\n",
    };
    EXPECT_EQ(std::count(possible.begin(), possible.end(), traced()), 1) << traced();
}

TEST_F(TraceTools, HeapCheckNeedsNoTraceLock) {
    traceToFile(0);
    std::thread other;
    {
        const stapi::LockScope scope(&stapi::traceLock);
        other = std::thread([] { stapi::stapiCheckHeap("elsewhere"); });
        other.join();
    }
    EXPECT_EQ(test_support::splitLines(traced()).size(), 1U);
}

TEST_F(TraceTools, DirectLineIsWrittenAtEveryLevelWithoutPrefix) {
    traceToFile(0);
    stapi::writeTraceDirect("count=%d\n", 3);
    EXPECT_EQ(traced(), "count=3\n");
}

TEST_F(TraceTools, DashLineHasEightyDashes) {
    traceToFile(0);
    stapi::writeDashLine();
    EXPECT_EQ(traced(), std::string(80, '-') + "\n");
}

TEST_F(TraceTools, SetUpAgainKeepsTheDestinationsName) {
    traceToFile(0);
    EXPECT_EQ(stapi::traceInit(), 0);
    EXPECT_EQ(std::string(stapi::statAPITraceFile), file_.path());
}

class UnloadAtLevel : public TraceTest, public testing::WithParamInterface<int> {};

TEST_P(UnloadAtLevel, IsTracedFromLevelFourOn) {
    stapi::libraryLoaded();
    traceToFile(GetParam());
    stapi::libraryUnloading();
    setLevelSilently(0);
    const std::vector<test_support::TraceLine> lines = test_support::traceLines(traced());
    ASSERT_EQ(lines.size(), GetParam() >= 4 ? 1U : 0U) << traced();
    for (const test_support::TraceLine& line : lines) {
        EXPECT_EQ(line.pointId, 1127);
        EXPECT_EQ(line.word, "DEBUG");
        EXPECT_EQ(line.message, "stapi_zul_impl.DllMain() DLL_PROCESS_DETACH calling WSACleanup()");
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, UnloadAtLevel, testing::Range(0, 6));

TEST_F(TraceTools, LoadWritesNothingWhenTheSocketLayerStarts) {
    EXPECT_EQ(standardErrorOf([] { stapi::libraryLoaded(); }), "");
    stapi::libraryUnloading();
}

}  // namespace
