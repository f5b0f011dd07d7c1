// The first call into the library. Each case runs in a process of its own, because the library is set up only once.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "every_export.h"
#include "line_ends.h"
#include "run_program.h"
#include "trace_text.h"

namespace {

using test_support::messagesOfPoint;
using test_support::splitLines;
using test_support::TraceLine;
using test_support::traceLines;

constexpr const char* kTraceFailure =
    "stapi_zul_impl.stapiInit() Initialization of zulstats API trace has failed. rc=-111";
constexpr const char* kListFailure =
    "stapi_zul_impl.stapiInit() Initialization of zulstats API Gateway Token List has failed. rc=1";

struct ProbeReport {
    std::vector<std::pair<std::string, int>> values;
    std::string standardError;

    // The values under a name, in order.
    std::vector<int> all(const std::string& name) const {
        std::vector<int> found;
        for (const auto& [key, value] : values) {
            if (key == name) {
                found.push_back(value);
            }
        }
        return found;
    }

    // The one value under a name.
    int of(const std::string& name) const {
        const std::vector<int> found = all(name);
        EXPECT_EQ(found.size(), 1U) << name;
        return found.empty() ? INT32_MIN : found.front();
    }
};

using Values = std::map<std::string, int>;

// Each of these names has one value, and it is the one given.
void expectValues(const ProbeReport& report, const Values& expected) {
    for (const auto& [name, value] : expected) {
        EXPECT_EQ(report.of(name), value) << name;
    }
}

ProbeReport probe(const std::vector<std::string>& arguments) {
    const test_support::ProgramOutcome outcome = test_support::runProgram(START_UP_PROBE, arguments);
    EXPECT_FALSE(outcome.wasKilled);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.standardError;
    ProbeReport report = {{}, test_support::withPlainLineEnds(outcome.standardError)};
    for (const std::string& line : splitLines(outcome.standardOutput)) {
        std::istringstream fields(line);
        std::string name;
        int value = 0;
        EXPECT_TRUE(fields >> name >> value) << line;
        report.values.emplace_back(name, value);
    }
    return report;
}

TEST(StartUp, FirstCallSetsTheLibraryUpAndWritesNothing) {
    const ProbeReport report = probe({"first-call"});
    expectValues(report, {{"first", 0}, {"first.stored", 1}, {"level.before", 0}, {"level.after", 0}, {"second", 0}});
    EXPECT_EQ(report.standardError, "");
}

TEST(StartUp, SetsUpTraceListLockAndVersion) {
    const ProbeReport report = probe({"direct-start-up"});
    expectValues(report, {{"init", 0}, {"again", 0}});
    for (const char* what : {"trace.lock", "list.lock", "stream", "name", "version", "list"}) {
        EXPECT_EQ(report.of(what), 1) << what;
    }
    EXPECT_EQ(report.standardError, "");
}

TEST(StartUp, RepeatedSetUpOfTheTraceGivesZeroAndOfTheListOne) {
    const ProbeReport report = probe({"direct-start-up"});
    expectValues(report, {{"trace.again", 0}, {"list.again", 1}});
}

TEST(StartUp, TracesTheSetUpOfTheListWhenTheLevelAllows) {
    const ProbeReport report = probe({"traced-list-set-up"});
    EXPECT_EQ(messagesOfPoint(report.standardError, 2030), std::vector<std::string>{"stapi_zul_gwytok.initGTL()"});
    EXPECT_EQ(messagesOfPoint(report.standardError, 2031),
              std::vector<std::string>{"stapi_zul_gwytok.initGTL() initLockRc=1, rc=0"});
}

TEST(StartUp, WithoutMemoryForTheTraceFailsAndLeavesTheLevelAtOne) {
    const ProbeReport report = probe({"no-memory-then-success"});
    expectValues(report, {{"first.struck", 1}, {"first", -111}, {"first.stored", 0}, {"first.level", 1}});
}

TEST(StartUp, WithoutMemoryForTheTraceFailsAgainAtTheNextCall) {
    const ProbeReport report = probe({"no-memory-then-success"});
    expectValues(report, {{"second.struck", 1}, {"second", -111}, {"second.level", 1}});
}

TEST(StartUp, SucceedsOnceThereIsMemoryForTheTraceAgain) {
    const ProbeReport report = probe({"no-memory-then-success"});
    expectValues(report, {{"third", 0}, {"third.stored", 1}, {"third.level", 0}, {"dump", 0}, {"switch", 0}});
    EXPECT_NE(
        report.standardError.find("zulstats state dump: API Version=1_1_0_1 Trace Level=0 statAPITraceFile=stderr\n"),
        std::string::npos)
        << report.standardError;
}

TEST(StartUp, WithoutMemoryForTheTraceSaysSoOnStandardErrorWithoutTheLineFormat) {
    const ProbeReport report = probe({"no-memory-then-success"});
    const std::vector<std::string> lines = splitLines(report.standardError);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), kTraceFailure), 2) << report.standardError;
    EXPECT_EQ(lines.at(0), kTraceFailure);
}

TEST(StartUp, WithoutMemoryEveryExportGivesThatCodeAndChecksNoArgument) {
    const ProbeReport report = probe({"every-export-without-memory"});
    for (const ExportCall& each : everyExport()) {
        EXPECT_EQ(report.of(each.name), -111) << each.name;
    }
    EXPECT_EQ(report.values.size(), everyExport().size());
    for (const std::string& line : splitLines(report.standardError)) {
        EXPECT_EQ(line, kTraceFailure);
    }
}

TEST(StartUp, WithTheListLockInitialisedBeforehandGivesOneAndTracesTheFailure) {
    const ProbeReport report = probe({"list-lock-first"});
    expectValues(report, {{"lock", 0}, {"first", 1}, {"first.stored", 0}, {"first.level", 1}});
    const std::vector<std::string> messages = messagesOfPoint(report.standardError, 1124);
    ASSERT_FALSE(messages.empty()) << report.standardError;
    EXPECT_EQ(messages.front(), kListFailure);
}

TEST(StartUp, RepeatedAttemptAfterAPartialStartUpGivesOneAgain) {
    const ProbeReport report = probe({"list-lock-first"});
    expectValues(report, {{"second", 1}, {"second.stored", 0}, {"second.level", 1}});
    EXPECT_EQ(messagesOfPoint(report.standardError, 1124).size(), 2U) << report.standardError;
}

TEST(StartUp, AfterAPartialStartUpEveryExportGivesOneAndChecksNoArgument) {
    const ProbeReport report = probe({"every-export-with-list-lock-first"});
    for (const ExportCall& each : everyExport()) {
        EXPECT_EQ(report.of(each.name), 1) << each.name;
    }
    const std::vector<TraceLine> lines = traceLines(report.standardError);
    // The open function for the local machine tries once itself and once through the one that it calls.
    EXPECT_EQ(lines.size(), everyExport().size() + 1) << report.standardError;
    EXPECT_EQ(lines.size(), splitLines(report.standardError).size()) << report.standardError;
    for (const TraceLine& line : lines) {
        EXPECT_EQ(line.pointId, 1124) << line.message;
    }
}

TEST(StartUp, WithTheTraceLockInitialisedBeforehandSucceeds) {
    const ProbeReport report = probe({"trace-lock-first"});
    expectValues(report, {{"lock", 0}, {"first", 0}, {"first.level", 0}, {"dump", 0}});
}

TEST(StartUp, DumpStateAsTheFirstTraceLineHasAnEmptyTimeStampButItsIds) {
    const ProbeReport report = probe({"dump-as-first-trace-line"});
    EXPECT_EQ(report.of("dump"), 0);
    const std::vector<TraceLine> lines = traceLines(report.standardError);
    ASSERT_FALSE(lines.empty()) << report.standardError;
    EXPECT_EQ(lines.front().pointId, 1106);
    EXPECT_EQ(lines.front().timeStamp, "");
    EXPECT_NE(lines.front().processId, "00000000");
    EXPECT_NE(lines.front().threadId, "00000000");
    EXPECT_EQ(report.standardError.substr(0, 4), " [0x");
}

TEST(StartUp, TraceLockThatIsNotSetUpYetIsReportedOnStandardError) {
    const ProbeReport report = probe({"trace-lock-before-start-up"});
    for (const char* call : {"request.off", "request.on", "release.on", "destroy.on"}) {
        EXPECT_EQ(report.of(call), -1) << call;
    }
    std::vector<int> points;
    for (const TraceLine& line : traceLines(report.standardError)) {
        points.push_back(line.pointId);
        EXPECT_NE(line.timeStamp, "");
    }
    EXPECT_EQ(points, (std::vector<int>{3104, 3108, 3112})) << report.standardError;
}

// Several rounds, because each has only one moment in which the threads can meet.
TEST(StartUp, AFirstCallThatAnotherThreadsOvertakesGivesOneAndTheLibraryIsUsable) {
    const ProbeReport report = probe({"overtaken-first-call"});
    expectValues(
        report, {{"level.before", 0}, {"overtaking", 0}, {"overtaking.level", 0}, {"overtaken", 1}, {"afterwards", 0}});
}

class StartUpRace : public testing::TestWithParam<int> {};

TEST_P(StartUpRace, OfEightFirstCallsGivesZeroOrOneAndLeavesTheLibraryUsable) {
    const ProbeReport report = probe({"race-of-first-calls"});
    const std::vector<int> codes = report.all("racer");
    ASSERT_EQ(codes.size(), 8U);
    for (const int code : codes) {
        EXPECT_TRUE(code == 0 || code == 1) << code;
    }
    EXPECT_GE(std::count(codes.begin(), codes.end(), 0), 1);
    expectValues(report, {{"afterwards", 0}, {"afterwards.stored", 1}});
    EXPECT_EQ(static_cast<ptrdiff_t>(messagesOfPoint(report.standardError, 1124).size()) <=
                  std::count(codes.begin(), codes.end(), 1),
              true)
        << report.standardError;
}

INSTANTIATE_TEST_SUITE_P(Rounds, StartUpRace, testing::Range(1, 7));

class StartUpExport : public testing::TestWithParam<ExportCall> {};

TEST_P(StartUpExport, CanBeTheFirstCallOfTheProcess) {
    const ProbeReport report = probe({"export-first", GetParam().name});
    EXPECT_EQ(report.of(GetParam().name), GetParam().code);
    EXPECT_EQ(report.standardError.empty(), !GetParam().writesAtEveryLevel) << report.standardError;
}

INSTANTIATE_TEST_SUITE_P(Exports, StartUpExport, testing::ValuesIn(everyExport()),
                         [](const testing::TestParamInfo<ExportCall>& tested) { return tested.param.name; });

}  // namespace
