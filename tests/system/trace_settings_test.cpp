// The trace level and the trace destination, as a caller sees them.
#include <cstddef>
#include <cstdint>
#include <regex>

#include "other_thread.h"
#include "system_fixture.h"
#include "trace_text.h"

namespace system_test {

using test_support::GatewaySim;
using test_support::TemporaryFile;

class TraceSettings : public SystemTest {
  protected:
    static int32_t level() {
        int32_t value = -1;
        EXPECT_EQ(getAPITraceLevel(&value), STAPI_RC_OK);
        return value;
    }
    static size_t bannersIn(const std::string& text) {
        const std::regex banner(R"(\*\*\* \d\d/\d\d/\d\d OXA Quillon ZULSTATS DLL trace V10\.1\.0\.0 API V1_1_0_1 )"
                                R"(Build Level d1010-20250408-1235 \*\*\*)");
        size_t count = 0;
        for (const std::string& line : test_support::splitLines(text)) {
            count += std::regex_match(line, banner) ? 1U : 0U;
        }
        return count;
    }
};

TEST_F(TraceSettings, LevelsFromZeroToFiveAreAcceptedAndReadBack) {
    const TemporaryFile file;
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    EXPECT_EQ(level(), 0);
    for (const int32_t value : {0, 1, 2, 3, 4, 5, 0}) {
        EXPECT_EQ(setAPITraceLevel(value), STAPI_RC_OK);
        EXPECT_EQ(level(), value);
    }
}

TEST_F(TraceSettings, BadLevelsLeaveTheLevelUnchanged) {
    const TemporaryFile file;
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    ASSERT_EQ(setAPITraceLevel(2), STAPI_RC_OK);
    for (const int32_t value : {6, -1, 100, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(setAPITraceLevel(value), STAPI_RC_BAD_TRACE_LEVEL) << value;
        EXPECT_EQ(level(), 2) << value;
    }
    EXPECT_EQ(test_support::messagesOfPoint(file.content(), 1095).front(),
              "API.setAPITraceLevel() Supplied trace state value 6 was invalid");
}

TEST_F(TraceSettings, LevelZeroWritesNothingButTheStateDump) {
    const TemporaryFile file;
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    const GatewaySim sim;
    {
        const Connection connection(sim);
        ResultSetToken* result = nullptr;
        for (const QueryFunction& query : kQueries) {
            ASSERT_EQ(query.call(connection.token(), usualIds(query), &result), STAPI_RC_OK);
        }
        walkStats(result);
        EXPECT_EQ(getStats(nullptr, &result), STAPI_RC_NULL_TOKEN);
        EXPECT_EQ(setAPITraceLevel(9), STAPI_RC_BAD_TRACE_LEVEL);
    }
    EXPECT_EQ(file.content(), "");
    ASSERT_EQ(dumpState(), STAPI_RC_OK);
    const std::vector<std::string> lines = test_support::splitLines(file.content());
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "zulstats state dump: API Version=1_1_0_1 Trace Level=0 statAPITraceFile=" + file.path(),
                         "Gateway Token List dump", std::string(80, '-'), "The Gateway Token List is EMPTY",
                         std::string(80, '-')}));
}

TEST_F(TraceSettings, ExitOfALevelChangeIsWrittenOnlyFromLevelThreeOn) {
    const TemporaryFile file;
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    for (const int32_t value : {1, 2, 3, 2, 4, 5, 0}) {
        ASSERT_EQ(setAPITraceLevel(value), STAPI_RC_OK);
    }
    EXPECT_EQ(test_support::messagesOfPoint(file.content(), 1096),
              (std::vector<std::string>{"API.setAPITraceLevel(traceState=3) new trace level=3 rc=0",
                                        "API.setAPITraceLevel(traceState=4) new trace level=4 rc=0",
                                        "API.setAPITraceLevel(traceState=5) new trace level=5 rc=0"}));
    EXPECT_EQ(test_support::messagesOfPoint(file.content(), 1094),
              (std::vector<std::string>{"API.setAPITraceLevel(traceState=2) current trace level=3",
                                        "API.setAPITraceLevel(traceState=5) current trace level=4",
                                        "API.setAPITraceLevel(traceState=0) current trace level=5"}));
}

TEST_F(TraceSettings, RaisingTheLevelNeverSetsTheBannerFlag) {
    const TemporaryFile file;
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    for (int raise = 1; raise <= 3; ++raise) {
        ASSERT_EQ(setAPITraceLevel(1), STAPI_RC_OK);
        ASSERT_EQ(setAPITraceLevel(2), STAPI_RC_OK);  // no raise from 0: no banner
        ASSERT_EQ(setAPITraceLevel(0), STAPI_RC_OK);
        EXPECT_EQ(bannersIn(file.content()), static_cast<size_t>(raise));
    }
}

TEST_F(TraceSettings, SwitchingTheFileAtALevelWritesTheBannerOnceAndSetsTheFlag) {
    const TemporaryFile first;
    const TemporaryFile second;
    ASSERT_EQ(setAPITraceFile(first.path().c_str()), STAPI_RC_OK);
    ASSERT_EQ(setAPITraceLevel(1), STAPI_RC_OK);
    EXPECT_EQ(bannersIn(first.content()), 1U);
    ASSERT_EQ(setAPITraceFile(second.path().c_str()), STAPI_RC_OK);
    EXPECT_EQ(bannersIn(second.content()), 1U);
    ASSERT_EQ(setAPITraceLevel(0), STAPI_RC_OK);
    ASSERT_EQ(setAPITraceLevel(1), STAPI_RC_OK);
    EXPECT_EQ(bannersIn(second.content()), 1U);
    EXPECT_EQ(bannersIn(first.content()), 1U);
    // Naming the current file again counts as a switch.
    ASSERT_EQ(setAPITraceFile(second.path().c_str()), STAPI_RC_OK);
    EXPECT_EQ(bannersIn(second.content()), 2U);
}

TEST_F(TraceSettings, FileThatCannotBeOpenedLeavesTheOldDestinationAndStillWritesTheBanner) {
    const TemporaryFile file;
    const std::string bad = file.path() + "/nowhere";
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    ASSERT_EQ(setAPITraceLevel(4), STAPI_RC_OK);
    EXPECT_EQ(bannersIn(file.content()), 1U);
    EXPECT_EQ(setAPITraceFile(bad.c_str()), STAPI_RC_TRACE_FILE_FAILED);
    // The flag was still 0: only a call for the file sets it.
    EXPECT_EQ(bannersIn(file.content()), 2U);
    const std::vector<std::string> failures = test_support::messagesOfPoint(file.content(), 1100);
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_EQ(failures[0].find("API.setAPITraceFile(" + bad + ") file append failed with errno="), 0U);
    EXPECT_NE(failures[0].find(". Trace file destination is unchanged. Filename=" + file.path()), std::string::npos);
    EXPECT_TRUE(test_support::messagesOfPoint(file.content(), 1099).empty());
    char* version = nullptr;
    getStatsAPIVersion(&version);
    EXPECT_EQ(test_support::messagesOfPoint(file.content(), 1090).size(), 1U);
}

TEST_F(TraceSettings, FilesAreAppendedTo) {
    const TemporaryFile file("what was there before\n");
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    ASSERT_EQ(setAPITraceLevel(1), STAPI_RC_OK);
    ASSERT_EQ(setAPITraceFile(nullptr), STAPI_RC_OK);
    setAPITraceLevel(0);
    const std::vector<std::string> lines = test_support::splitLines(file.content());
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "what was there before");
}

TEST_F(TraceSettings, LongestFileNameIsTakenAndTheNextIsNot) {
    const TemporaryFile file;
    ASSERT_EQ(setAPITraceFile(file.path().c_str()), STAPI_RC_OK);
    std::string longName = file.path();
    const std::string folder = longName.substr(0, longName.find_last_of("/\\"));
    const std::string name = longName.substr(folder.size() + 1);
    longName = folder;
    while (longName.size() + 2 + 1 + name.size() <= 1023) {
        longName += "/.";
    }
    // One slash or two bring it to the exact length.
    longName += std::string(1023 - longName.size() - name.size(), '/') + name;
    ASSERT_EQ(longName.size(), 1023U);
    EXPECT_EQ(setAPITraceFile(longName.c_str()), STAPI_RC_OK);
    EXPECT_EQ(setAPITraceFile((folder + "/" + longName.substr(folder.size())).c_str()), STAPI_RC_TRACE_FILE_FAILED);
}

TEST_F(TraceSettings, EveryTraceLineHasTheFixedShape) {
    const TraceCapture trace(4);
    const GatewaySim sim;
    const Connection connection(sim);
    ResultSetToken* result = nullptr;
    ASSERT_EQ(getStats(connection.token(), &result), STAPI_RC_OK);
    const std::regex line(
        R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d:\d\d\d \[0x[0-9A-F]{8},0x[0-9A-F]{8}\] \[\d{4}\] (\*EXC\* |EVENT |ENTRY |EXIT  |DEBUG |DATA  ) ?\S.*)");
    const std::regex dump(R"(0x[0-9A-F]{8}: ([0-9A-F]{2}|  ){4}( ([0-9A-F]{2}|  ){4}){3} : .*)");
    for (const std::string& text : test_support::splitLines(trace.text())) {
        EXPECT_TRUE(std::regex_match(text, line) || std::regex_match(text, dump)) << text;
    }
}

TEST_F(TraceSettings, DumpOfTheStateListsConnectionsAtEveryLevel) {
    const GatewaySim sim;
    const Connection one(sim);
    const Connection two(sim);
    for (const int32_t value : {0, 1, 3, 5}) {
        const TraceCapture trace(value);
        ASSERT_EQ(dumpState(), STAPI_RC_OK);
        const std::string text = trace.text();
        EXPECT_NE(text.find("zulstats state dump: API Version=1_1_0_1 Trace Level=" + std::to_string(value)),
                  std::string::npos);
        EXPECT_NE(text.find("Gateway Token List entry -0001- : GatwayToken("), std::string::npos);
        EXPECT_NE(text.find("Gateway Token List entry -0002- : GatwayToken("), std::string::npos);
        EXPECT_NE(text.find("Total number of Gateway Token List entries=2\n"), std::string::npos);
    }
}

// A hex dump of the state shows a fresh connection's terminator at the first place of its only line.
TEST_F(TraceSettings, DumpOfAFreshConnectionShowsTheWholeFirstLine) {
    const GatewaySim sim;
    const Connection connection(sim);
    const TraceCapture trace(0);
    ASSERT_EQ(dumpState(), STAPI_RC_OK);
    EXPECT_NE(trace.text().find(": 0F0E0F0E 00000000 00000000 00000000 : \n"), std::string::npos) << trace.text();
}

}  // namespace system_test
