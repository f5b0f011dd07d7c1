// The exported functions for the version and the trace level.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "api/zulstats64.h"
#include "diag/stapi_zul_diag.h"
#include "trace_fixture.h"
#include "trace_text.h"

namespace {

using test_support::messagesOfPoint;
using test_support::TraceLine;

class TraceLevelTest : public TraceTest {
  protected:
    static int32_t currentLevel() {
        int32_t level = INT_MIN;
        EXPECT_EQ(getAPITraceLevel(&level), STAPI_RC_OK);
        return level;
    }

    // Points, words and messages of the file's trace lines, banners left out.
    std::vector<std::string> tracedPoints() {
        setLevelSilently(0);
        std::vector<std::string> points;
        for (const TraceLine& line : test_support::traceLines(traced())) {
            points.push_back(std::to_string(line.pointId) + " " + line.word + " " + line.message);
        }
        return points;
    }
};

TEST_F(TraceLevelTest, IsZeroAfterStartUp) {
    EXPECT_EQ(currentLevel(), 0);
}

class AcceptedLevel : public TraceLevelTest, public testing::WithParamInterface<int> {};

TEST_P(AcceptedLevel, IsSetAndReadBack) {
    traceToFile(0);
    EXPECT_EQ(setAPITraceLevel(GetParam()), STAPI_RC_OK);
    EXPECT_EQ(currentLevel(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Levels, AcceptedLevel, testing::Range(0, 6));

class RefusedLevel : public TraceLevelTest, public testing::WithParamInterface<int> {};

TEST_P(RefusedLevel, GivesItsCodeAndLeavesTheLevelUnchanged) {
    traceToFile(0);
    for (const int32_t level : {0, 3, 5}) {
        setLevelSilently(level);
        EXPECT_EQ(setAPITraceLevel(GetParam()), STAPI_RC_BAD_TRACE_LEVEL);
        EXPECT_EQ(stapi::traceLevel.load(), level);
    }
}

TEST_P(RefusedLevel, IsTraced) {
    traceToFile(1);
    EXPECT_EQ(setAPITraceLevel(GetParam()), -104);
    EXPECT_EQ(tracedPoints(), std::vector<std::string>{"1095 *EXC* API.setAPITraceLevel() Supplied trace state value " +
                                                       std::to_string(GetParam()) + " was invalid"});
}

TEST_P(RefusedLevel, WritesNothingAtLevelZero) {
    traceToFile(0);
    setAPITraceLevel(GetParam());
    EXPECT_EQ(traced(), "");
}

INSTANTIATE_TEST_SUITE_P(Levels, RefusedLevel, testing::Values(-1, 6, 7, 256, INT_MIN, INT_MAX),
                         [](const testing::TestParamInfo<int>& tested) {
                             return (tested.param < 0 ? "Minus" : "") +
                                    std::to_string(tested.param < 0 ? -static_cast<int64_t>(tested.param)
                                                                    : tested.param);
                         });

TEST_F(TraceLevelTest, RefusedLevelIsTracedWithEntryAndExitAtLevelThree) {
    traceToFile(3);
    EXPECT_EQ(setAPITraceLevel(6), -104);
    EXPECT_EQ(tracedPoints(),
              (std::vector<std::string>{"1094 ENTRY API.setAPITraceLevel(traceState=6) current trace level=3",
                                        "1095 *EXC* API.setAPITraceLevel() Supplied trace state value 6 was invalid",
                                        "1096 EXIT API.setAPITraceLevel(traceState=6) new trace level=3 rc=-104"}));
}

TEST_F(TraceLevelTest, ChangeBetweenHighLevelsIsTracedWithOldAndNewLevel) {
    traceToFile(4);
    EXPECT_EQ(setAPITraceLevel(3), 0);
    EXPECT_EQ(tracedPoints(),
              (std::vector<std::string>{"1094 ENTRY API.setAPITraceLevel(traceState=3) current trace level=4",
                                        "1096 EXIT API.setAPITraceLevel(traceState=3) new trace level=3 rc=0"}));
}

TEST_F(TraceLevelTest, RaiseFromBelowThreeTracesTheExitAlone) {
    for (const int32_t from : {0, 1, 2}) {
        setLevelSilently(0);
        const test_support::TemporaryFile file;
        ASSERT_EQ(setAPITraceFile(file.path().c_str()), 0);
        setLevelSilently(from);
        EXPECT_EQ(setAPITraceLevel(3), 0);
        setLevelSilently(0);
        setAPITraceFile(nullptr);
        const std::vector<TraceLine> lines = test_support::traceLines(file.content());
        ASSERT_EQ(lines.size(), 1U) << file.content();
        EXPECT_EQ(lines[0].message, "API.setAPITraceLevel(traceState=3) new trace level=3 rc=0");
    }
}

TEST_F(TraceLevelTest, FallBelowThreeTracesTheEntryAlone) {
    traceToFile(5);
    EXPECT_EQ(setAPITraceLevel(2), 0);
    EXPECT_EQ(tracedPoints(),
              std::vector<std::string>{"1094 ENTRY API.setAPITraceLevel(traceState=2) current trace level=5"});
}

TEST_F(TraceLevelTest, GetterIsTraced) {
    int32_t level = 0;
    traceToFile(3);
    EXPECT_EQ(getAPITraceLevel(&level), 0);
    EXPECT_EQ(level, 3);
    const std::string pointer = tracedPointer(&level);
    EXPECT_EQ(tracedPoints(),
              (std::vector<std::string>{"1091 ENTRY API.getAPITraceLevel(traceStatePtr=" + pointer + ")",
                                        "1093 EXIT API.getAPITraceLevel(traceStatePtr=" + pointer + ") rc=0"}));
}

TEST_F(TraceLevelTest, GetterRefusesANullPointer) {
    traceToFile(3);
    EXPECT_EQ(getAPITraceLevel(nullptr), STAPI_RC_NULL_POINTER);
    EXPECT_EQ(tracedPoints(),
              (std::vector<std::string>{"1091 ENTRY API.getAPITraceLevel(traceStatePtr=0000000000000000)",
                                        "1092 *EXC* API.getAPITraceLevel() Supplied pointer is NULL",
                                        "1093 EXIT API.getAPITraceLevel(traceStatePtr=0000000000000000) rc=-109"}));
}

TEST_F(TraceLevelTest, VersionIsTheFixedText) {
    char* version = nullptr;
    EXPECT_EQ(getStatsAPIVersion(&version), 0);
    EXPECT_STREQ(version, "1_1_0_1");
}

TEST_F(TraceLevelTest, VersionIsTheSameBufferAtEveryCall) {
    char* first = nullptr;
    char* second = nullptr;
    EXPECT_EQ(getStatsAPIVersion(&first), 0);
    EXPECT_EQ(getStatsAPIVersion(&second), 0);
    EXPECT_EQ(first, second);
}

TEST_F(TraceLevelTest, VersionIsTraced) {
    char* version = nullptr;
    traceToFile(3);
    EXPECT_EQ(getStatsAPIVersion(&version), 0);
    EXPECT_EQ(tracedPoints(),
              (std::vector<std::string>{
                  "1088 ENTRY API.getStatsAPIVersion(&apiVersPtr=" + tracedPointer(&version) + ")",
                  "1090 EXIT API.getStatsAPIVersion(apiVersPtr=" + tracedPointer(version) + "), rc=0"}));
}

TEST_F(TraceLevelTest, VersionRefusesANullPointerWithoutReadingIt) {
    traceToFile(3);
    EXPECT_EQ(getStatsAPIVersion(nullptr), STAPI_RC_NULL_POINTER);
    EXPECT_EQ(tracedPoints(),
              (std::vector<std::string>{"1088 ENTRY API.getStatsAPIVersion(&apiVersPtr=0000000000000000)",
                                        "1089 *EXC* API.getStatsAPIVersion() Supplied pointer is NULL",
                                        "1090 EXIT API.getStatsAPIVersion(apiVersPtr=0000000000000000), rc=-109"}));
}

TEST_F(TraceLevelTest, DumpStateIsWrittenAtLevelZero) {
    traceToFile(0);
    EXPECT_EQ(dumpState(), 0);
    const std::string dashes(80, '-');
    EXPECT_EQ(traced(), "zulstats state dump: API Version=1_1_0_1 Trace Level=0 statAPITraceFile=" + file_.path() +
                            "\nGateway Token List dump\n" + dashes + "\nThe Gateway Token List is EMPTY\n" + dashes +
                            "\n");
}

TEST_F(TraceLevelTest, DumpStateTellsTheLevel) {
    traceToFile(2);
    EXPECT_EQ(dumpState(), 0);
    setLevelSilently(0);
    EXPECT_NE(traced().find("zulstats state dump: API Version=1_1_0_1 Trace Level=2 statAPITraceFile="),
              std::string::npos)
        << traced();
}

TEST_F(TraceLevelTest, DumpStateWritesToStandardErrorUnlessAFileWasNamed) {
    const std::string text = standardErrorOf([] { EXPECT_EQ(dumpState(), 0); });
    EXPECT_EQ(text.substr(0, text.find('\n')),
              "zulstats state dump: API Version=1_1_0_1 Trace Level=0 statAPITraceFile=stderr");
}

}  // namespace
