// The table of trace points, tests/data/trace_points.tsv, as the tests read it.
#ifndef ZULSTATS_TESTS_SUPPORT_TRACE_TABLE_H
#define ZULSTATS_TESTS_SUPPORT_TRACE_TABLE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

constexpr std::string_view kTraceTableHeader = "id\tword\tfunction\tmessage\ttext\tnote";

struct TraceTableRow {
    int32_t id = 0;
    std::string word;
    std::string function;
    std::string message;  // with C escapes, as the sources write it
    std::string textKind;
};

struct TraceTable {
    std::vector<TraceTableRow> rows;
    std::vector<std::string> malformed;  // what is no row, in words
};

// The number that a text is, or nothing.
std::optional<int32_t> parsePointId(std::string_view text);

TraceTable readTraceTable(const std::string& text);

}  // namespace test_support

#endif
