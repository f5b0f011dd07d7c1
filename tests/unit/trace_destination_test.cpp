// Where the trace goes: setAPITraceFile.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

using test_support::messagesOfPoint;
using test_support::TemporaryFile;
using test_support::TraceLine;

constexpr const char* kUnusableFile = "/no/such/folder/of/traces/trace.txt";

class TraceDestination : public TraceTest {
  protected:
    static int32_t switchTo(const TemporaryFile& file) {
        return setAPITraceFile(file.path().c_str());
    }

    static std::string destinationName() {
        return stapi::statAPITraceFile;
    }

    static std::vector<int> pointsIn(const std::string& text) {
        std::vector<int> points;
        for (const TraceLine& line : test_support::traceLines(text)) {
            points.push_back(line.pointId);
        }
        return points;
    }
};

TEST_F(TraceDestination, IsNamedStderrAtStart) {
    EXPECT_EQ(destinationName(), "stderr");
    EXPECT_EQ(stapi::traceStream, stderr);
}

TEST_F(TraceDestination, NamedFileGetsTheTraceAndItsNameIsKept) {
    EXPECT_EQ(switchTo(file_), 0);
    EXPECT_EQ(destinationName(), file_.path());
    setLevelSilently(1);
    TRACE_EXC(1, "line\n");
    EXPECT_EQ(messagesOfPoint(traced(), 1).size(), 1U);
}

TEST_F(TraceDestination, NameIsCopied) {
    std::string name = file_.path();
    EXPECT_EQ(setAPITraceFile(name.c_str()), 0);
    std::fill(name.begin(), name.end(), 'x');
    EXPECT_EQ(destinationName(), file_.path());
}

TEST_F(TraceDestination, FileIsAppendedTo) {
    std::ofstream(file_.path(), std::ios::binary) << "what was there\n";
    EXPECT_EQ(switchTo(file_), 0);
    setLevelSilently(1);
    TRACE_EXC(1, "line\n");
    setLevelSilently(0);
    EXPECT_EQ(traced().rfind("what was there\n", 0), 0U);
    EXPECT_EQ(test_support::splitLines(traced()).size(), 2U);
}

TEST_F(TraceDestination, SwitchFromFileToFileLeavesTheFirstAlone) {
    const TemporaryFile second;
    EXPECT_EQ(switchTo(file_), 0);
    setLevelSilently(1);
    TRACE_EXC(1, "first\n");
    setLevelSilently(0);
    EXPECT_EQ(switchTo(second), 0);
    setLevelSilently(1);
    TRACE_EXC(2, "second\n");
    resetTrace();
    EXPECT_EQ(pointsIn(traced()), std::vector<int>{1});
    EXPECT_EQ(pointsIn(second.content()), std::vector<int>{2});
}

TEST_F(TraceDestination, SameFileAgainCountsAsASwitchAndGoesOnAtItsEnd) {
    traceToFile(4);
    TRACE_EXC(1, "before\n");
    EXPECT_EQ(switchTo(file_), 0);
    TRACE_EXC(2, "after\n");
    setLevelSilently(0);
    EXPECT_EQ(pointsIn(traced()), (std::vector<int>{1, 1097, 1098, 1101, 2}));
    EXPECT_EQ(destinationName(), file_.path());
}

TEST_F(TraceDestination, NullGoesBackToStandardError) {
    EXPECT_EQ(switchTo(file_), 0);
    EXPECT_EQ(setAPITraceFile(nullptr), 0);
    EXPECT_EQ(destinationName(), "stderr");
    EXPECT_EQ(stapi::traceStream, stderr);
    const std::string text = standardErrorOf([] {
        setLevelSilently(1);
        TRACE_EXC(1, "line\n");
        setLevelSilently(0);
    });
    EXPECT_EQ(pointsIn(text), std::vector<int>{1});
    EXPECT_EQ(traced(), "");
}

TEST_F(TraceDestination, StandardErrorIsNotClosedByASwitchAway) {
    EXPECT_EQ(switchTo(file_), 0);
    EXPECT_EQ(standardErrorOf([] { std::fputs("still open\n", stderr); }), "still open\n");
}

TEST_F(TraceDestination, SwitchIsTracedWithEntryInTheOldAndTheRestInTheNewFile) {
    const TemporaryFile second;
    traceToFile(4);
    const std::string secondName = second.path();
    EXPECT_EQ(setAPITraceFile(secondName.c_str()), 0);
    resetTrace();
    const std::string pointer = tracedPointer(secondName.c_str());
    EXPECT_EQ(pointsIn(traced()), std::vector<int>{1097});
    EXPECT_EQ(messagesOfPoint(traced(), 1097), std::vector<std::string>{"API.setAPITraceFile(traceFile=" + pointer +
                                                                        ") current trace destination=" + file_.path()});
    const std::vector<TraceLine> lines = test_support::traceLines(second.content());
    ASSERT_EQ(lines.size(), 2U) << second.content();
    EXPECT_EQ(lines[0].pointId, 1098);
    EXPECT_EQ(lines[0].word, "DEBUG");
    EXPECT_EQ(lines[0].message, "API.setAPITraceFile() Trace file switched to new destination. Filename=" + secondName);
    EXPECT_EQ(lines[1].pointId, 1101);
    EXPECT_EQ(lines[1].word, "EXIT");
    EXPECT_EQ(lines[1].message,
              "API.setAPITraceFile(traceFile=" + pointer + ") new trace destination=" + secondName + " rc=0");
}

TEST_F(TraceDestination, SwitchBackToStandardErrorIsTraced) {
    traceToFile(4);
    const std::string text = standardErrorOf([] {
        EXPECT_EQ(setAPITraceFile(nullptr), 0);
        setLevelSilently(0);
    });
    EXPECT_EQ(messagesOfPoint(traced(), 1097),
              std::vector<std::string>{"API.setAPITraceFile(traceFile=0000000000000000) current trace destination=" +
                                       file_.path()});
    EXPECT_EQ(
        messagesOfPoint(text, 1098),
        std::vector<std::string>{"API.setAPITraceFile() Trace file switched to new destination. Filename=stderr"});
    EXPECT_EQ(
        messagesOfPoint(text, 1101),
        std::vector<std::string>{"API.setAPITraceFile(traceFile=0000000000000000) new trace destination=stderr rc=0"});
}

TEST_F(TraceDestination, NullWhileItIsStandardErrorAlreadyChangesNothingAndIsTracedAsUnchanged) {
    const std::string text = standardErrorOf([] {
        setLevelSilently(4);
        EXPECT_EQ(setAPITraceFile(nullptr), 0);
        setLevelSilently(0);
    });
    EXPECT_EQ(pointsIn(text), (std::vector<int>{1097, 1099, 1101}));
    EXPECT_EQ(messagesOfPoint(text, 1099),
              std::vector<std::string>{"API.setAPITraceFile() Trace file destination is unchanged. Filename=stderr"});
    EXPECT_EQ(destinationName(), "stderr");
}

TEST_F(TraceDestination, FileThatCannotBeOpenedGivesItsCodeAndLeavesTheOldOneInPlace) {
    traceToFile(0);
    EXPECT_EQ(setAPITraceFile(kUnusableFile), STAPI_RC_TRACE_FILE_FAILED);
    EXPECT_EQ(destinationName(), file_.path());
    setLevelSilently(1);
    TRACE_EXC(1, "still here\n");
    EXPECT_EQ(pointsIn(traced()), std::vector<int>{1});
}

TEST_F(TraceDestination, FailedSwitchIsTracedWithNameErrorAndCurrentDestination) {
    traceToFile(4);
    EXPECT_EQ(setAPITraceFile(kUnusableFile), -130);
    setLevelSilently(0);
    EXPECT_EQ(pointsIn(traced()), (std::vector<int>{1097, 1100, 1101}));
    EXPECT_EQ(messagesOfPoint(traced(), 1100),
              std::vector<std::string>{"API.setAPITraceFile(" + std::string(kUnusableFile) +
                                       ") file append failed with errno=" + std::to_string(ENOENT) +
                                       ". Trace file destination is unchanged. Filename=" + file_.path()});
    EXPECT_EQ(messagesOfPoint(traced(), 1101),
              std::vector<std::string>{"API.setAPITraceFile(traceFile=" + tracedPointer(kUnusableFile) +
                                       ") new trace destination=" + file_.path() + " rc=-130"});
}

TEST_F(TraceDestination, FailedSwitchIsTracedFromLevelOneOn) {
    traceToFile(1);
    EXPECT_EQ(setAPITraceFile(kUnusableFile), -130);
    setLevelSilently(0);
    EXPECT_EQ(pointsIn(traced()), std::vector<int>{1100});
}

TEST_F(TraceDestination, FailedSwitchFromStandardErrorLeavesStandardError) {
    EXPECT_EQ(setAPITraceFile(kUnusableFile), -130);
    EXPECT_EQ(destinationName(), "stderr");
    EXPECT_EQ(stapi::traceStream, stderr);
}

TEST_F(TraceDestination, EmptyNameIsAFailedSwitch) {
    EXPECT_EQ(setAPITraceFile(""), -130);
    EXPECT_EQ(destinationName(), "stderr");
}

TEST_F(TraceDestination, FolderIsAFailedSwitch) {
    EXPECT_EQ(setAPITraceFile(std::filesystem::temp_directory_path().string().c_str()), -130);
    EXPECT_EQ(destinationName(), "stderr");
}

class OverlongName : public TraceTest, public testing::WithParamInterface<size_t> {};

TEST_P(OverlongName, IsAFailedSwitch) {
    const std::string name(GetParam(), 'x');
    traceToFile(1);
    EXPECT_EQ(setAPITraceFile(name.c_str()), -130);
    setLevelSilently(0);
    EXPECT_EQ(std::string(stapi::statAPITraceFile), file_.path());
    const std::string text = traced();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);  // the banner and the line
    EXPECT_NE(text.find("] [1100] *EXC*  API.setAPITraceFile(" + name + ") file append failed with errno="),
              std::string::npos);
    EXPECT_NE(text.find(". Trace file destination is unchanged. Filename=" + file_.path() + "\n"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Lengths, OverlongName, testing::Values(1024, 1025, 4096, 100000));

TEST_F(TraceDestination, CanBeSwitchedWhileOtherThreadsTraceAndDump) {
    constexpr int kThreads = 3;
    constexpr int kLines = 200;
    const TemporaryFile second;
    traceToFile(1);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([] {
            for (int line = 0; line < kLines; ++line) {
                TRACE_EXC(5000, "line %d\n", line);
                stapi::writeTraceDirect("direct line\n");
            }
        });
    }
    for (int round = 0; round < 100; ++round) {
        EXPECT_EQ(switchTo(round % 2 == 0 ? second : file_), 0);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    resetTrace();
    const std::string both = traced() + second.content();
    EXPECT_EQ(messagesOfPoint(both, 5000).size(), size_t{kThreads} * kLines);
    const std::vector<std::string> lines = test_support::splitLines(both);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "direct line"), kThreads * kLines);
}

}  // namespace
