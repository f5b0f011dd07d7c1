// What the comparison of trace calls with the table finds.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "trace_calls.h"
#include "trace_comparison.h"
#include "trace_table.h"

namespace rule_test {

namespace {

Deviations compareTexts(const std::string& tableText, std::string_view source) {
    const std::string table = std::string(test_support::kTraceTableHeader) + "\n" + tableText;
    return compare(test_support::readTraceTable(table).rows, traceCallsOfText(source).calls);
}

TEST(TraceComparison, AcceptsSourcesThatAgreeWithTheTableInAnyOrder) {
    const Deviations deviations = compareTexts(
        "1\tEXC\tf\tAPI.f a\\n\tfixed\t\n1\tEVENT\tg\tAPI.g b\\n\tfixed\tshared id\n2\tEXIT\tf\tAPI.f\\n\topen\t\n",
        "TRACE_EXIT(2, \"API.f\\n\"); TRACE_EVENT(1, \"API.g b\\n\"); TRACE_EXC(1, \"API.f a\\n\");");
    EXPECT_TRUE(deviations.absentRows.empty()) << joinLines(deviations.absentRows);
    EXPECT_TRUE(deviations.differences.empty()) << joinLines(deviations.differences);
    EXPECT_TRUE(deviations.unknownCalls.empty()) << joinLines(deviations.unknownCalls);
}

TEST(TraceComparison, ReportsAWrongWord) {
    const Deviations deviations = compareTexts("1\tEXC\tf\tAPI.f\\n\tfixed\t\n", "TRACE_EVENT(1, \"API.f\\n\");");
    ASSERT_EQ(deviations.differences.size(), 1U);
    EXPECT_NE(deviations.differences.front().find("point 1"), std::string::npos);
    EXPECT_NE(deviations.differences.front().find("in the table EXC, in the sources EVENT"), std::string::npos);
}

TEST(TraceComparison, ReportsOneWrongCharacterOfAText) {
    const Deviations deviations = compareTexts("1\tEXC\tf\tAPI.f \\n\tfixed\t\n", "TRACE_EXC(1, \"API.f\\n\");");
    ASSERT_EQ(deviations.differences.size(), 1U);
    EXPECT_NE(deviations.differences.front().find("first difference at character 6"), std::string::npos)
        << deviations.differences.front();
}

TEST(TraceComparison, ReportsARowWithoutACall) {
    const Deviations deviations = compareTexts("1\tEXC\tf\tAPI.f\\n\tfixed\t\n", "");
    EXPECT_EQ(deviations.absentRows.size(), 1U);
}

TEST(TraceComparison, ReportsTheSecondRowOfASharedIdWithoutACall) {
    const Deviations deviations =
        compareTexts("1\tEXC\tf\tAPI.f\\n\tfixed\t\n1\tEXC\tg\tAPI.g\\n\tfixed\t\n", "TRACE_EXC(1, \"API.g\\n\");");
    ASSERT_EQ(deviations.absentRows.size(), 1U);
    EXPECT_NE(deviations.absentRows.front().find("API.f"), std::string::npos);
}

TEST(TraceComparison, ReportsACallWithoutARowAndASecondCallOfOneRow) {
    EXPECT_EQ(compareTexts("", "TRACE_EXC(1, \"API.f\\n\");").unknownCalls.size(), 1U);
    EXPECT_EQ(compareTexts("1\tEXC\tf\tAPI.f\\n\tfixed\t\n", "TRACE_EXC(1, \"API.f\\n\"); TRACE_EXC(1, \"API.f\\n\");")
                  .unknownCalls.size(),
              1U);
}

}  // namespace

}  // namespace rule_test
