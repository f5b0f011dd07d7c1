// The table of trace points against the trace calls of the library.
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "source_files.h"
#include "trace_calls.h"
#include "trace_comparison.h"
#include "trace_table.h"

namespace rule_test {

namespace {

const TraceCalls& librarySources() {
    static const TraceCalls kCalls = traceCallsOf(sourcesBelow("src"));
    return kCalls;
}

Deviations deviations() {
    static const std::string kTable = projectFile("tests/data/trace_points.tsv");
    return compare(test_support::readTraceTable(kTable).rows, librarySources().calls);
}

TEST(TraceCatalogue, EverySourceTraceCallHasAPlainIdAndOneUnsplitText) {
    EXPECT_FALSE(librarySources().calls.empty());
    EXPECT_TRUE(librarySources().malformed.empty()) << joinLines(librarySources().malformed);
}

TEST(TraceCatalogue, EveryRowOfTheTableStandsInTheSourcesOnce) {
    EXPECT_TRUE(deviations().absentRows.empty()) << joinLines(deviations().absentRows);
}

TEST(TraceCatalogue, EveryTracePointHasTheWordAndTheTextOfItsRow) {
    EXPECT_TRUE(deviations().differences.empty()) << joinLines(deviations().differences);
}

TEST(TraceCatalogue, NoTracePointOfTheSourcesIsMissingFromTheTable) {
    EXPECT_TRUE(deviations().unknownCalls.empty()) << joinLines(deviations().unknownCalls);
}

TEST(TraceCatalogue, EverySourceTextEndsInExactlyOneNewLine) {
    for (const TraceCall& call : librarySources().calls) {
        EXPECT_TRUE(endsInExactlyOneNewLine(call.message))
            << "point " << call.id << " at " << call.where << ": \"" << call.message << "\"";
    }
}

TEST(TraceCatalogue, EverySourceTraceCallPassesOneArgumentPerConversion) {
    const std::vector<std::string> mismatches = argumentMismatches(librarySources().calls);
    EXPECT_TRUE(mismatches.empty()) << joinLines(mismatches);
}

TEST(TraceCatalogue, OnlyTheLockModuleTracesWithoutTheLock) {
    EXPECT_EQ(idsUsing(librarySources().calls, "TRACE_EXC_UNLOCKED"), (std::set<int32_t>{3104, 3108, 3112}));
}

TEST(TraceCatalogue, OnlyTheEntryOfDumpStateKeepsTheOldTimeStamp) {
    EXPECT_EQ(idsUsing(librarySources().calls, "TRACE_ENTRY_STALE_TIME"), (std::set<int32_t>{1106}));
}

}  // namespace

}  // namespace rule_test
