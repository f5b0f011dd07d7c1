// The table of trace points by itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "source_files.h"
#include "trace_calls.h"
#include "trace_comparison.h"
#include "trace_table.h"

namespace rule_test {

namespace {

constexpr size_t kMessageAreaSize = 256;

using test_support::TraceTable;
using test_support::TraceTableRow;

const TraceTable& traceTable() {
    static const TraceTable kTable = test_support::readTraceTable(projectFile("tests/data/trace_points.tsv"));
    return kTable;
}

TEST(TraceTable, HasAHeaderLineAndRowsOfSixColumns) {
    EXPECT_FALSE(traceTable().rows.empty());
    EXPECT_TRUE(traceTable().malformed.empty()) << joinLines(traceTable().malformed);
}

TEST(TraceTable, IsSortedById) {
    const std::vector<TraceTableRow>& rows = traceTable().rows;
    const auto unsorted =
        std::is_sorted_until(rows.begin(), rows.end(),
                             [](const TraceTableRow& left, const TraceTableRow& right) { return left.id < right.id; });
    EXPECT_TRUE(unsorted == rows.end()) << "first row out of order: " << unsorted->id;
}

TEST(TraceTable, SharesOnlyTheFiveKnownIds) {
    std::map<int32_t, size_t> counts;
    for (const TraceTableRow& row : traceTable().rows) {
        ++counts[row.id];
    }
    std::map<int32_t, size_t> shared;
    for (const auto& [id, count] : counts) {
        if (count > 1) {
            shared[id] = count;
        }
    }
    const std::map<int32_t, size_t> expected = {{1003, 2}, {1005, 2}, {1130, 2}, {2033, 2}, {3002, 2}};
    EXPECT_EQ(shared, expected);
}

TEST(TraceTable, UsesOnlyKnownLevelWordsAndTextKinds) {
    static const std::set<std::string> kWords = {"EXC", "EVENT", "ENTRY", "EXIT", "DEBUG", "DATA"};
    static const std::set<std::string> kKinds = {"fixed", "derived", "open"};
    for (const TraceTableRow& row : traceTable().rows) {
        EXPECT_TRUE(kWords.contains(row.word)) << "point " << row.id << ": " << row.word;
        EXPECT_TRUE(kKinds.contains(row.textKind)) << "point " << row.id << ": " << row.textKind;
    }
}

TEST(TraceTable, BeginsEveryMessageWithModuleAndFunction) {
    static const std::array<std::string_view, 8> kModules = {
        "API",
        "stapi_zul_impl",
        "stapi_zul_lock",
        "stapi_zul_gwytok",
        "stapi_zul_gwycon",
        "stapi_zul_socketcomms",
        "stapi_zul_statcomms",
        "stapi_zul_statquery",
    };
    for (const TraceTableRow& row : traceTable().rows) {
        const std::string module = row.message.substr(0, row.message.find('.'));
        EXPECT_TRUE(module == "stapi_zul_resultsetbuffer" ||
                    std::find(kModules.begin(), kModules.end(), module) != kModules.end())
            << "point " << row.id << ": " << row.message;
        EXPECT_TRUE(row.message.starts_with(module + "." + row.function)) << "point " << row.id << ": " << row.message;
    }
}

TEST(TraceTable, EndsEveryMessageInExactlyOneNewLine) {
    for (const TraceTableRow& row : traceTable().rows) {
        EXPECT_TRUE(endsInExactlyOneNewLine(row.message)) << "point " << row.id << ": " << row.message;
    }
}

TEST(TraceTable, KeepsEveryMessageBelowTheMessageArea) {
    for (const TraceTableRow& row : traceTable().rows) {
        EXPECT_LT(row.message.size(), kMessageAreaSize) << "point " << row.id << ": " << row.message;
    }
}

TEST(TraceTable, UsesOnlyKnownConversions) {
    for (const TraceTableRow& row : traceTable().rows) {
        EXPECT_TRUE(countConversions(row.message).has_value()) << "point " << row.id << ": " << row.message;
    }
}

TEST(TraceComparison, ReportsTableLinesThatAreNoRows) {
    const std::string text = "id\tword\n1\tEXC\tf\tAPI.f\\n\tfixed\nx\tEXC\tf\tAPI.f\\n\tfixed\t\n";
    EXPECT_EQ(test_support::readTraceTable(text).malformed.size(), 3U);
}

}  // namespace

}  // namespace rule_test
