// The table of trace points and the trace calls of the sources against each other, in both directions.
#ifndef ZULSTATS_TESTS_RULES_TRACE_COMPARISON_H
#define ZULSTATS_TESTS_RULES_TRACE_COMPARISON_H

#include <string>
#include <vector>

#include "trace_calls.h"
#include "trace_table.h"

namespace rule_test {

// In words.
struct Deviations {
    std::vector<std::string> absentRows;
    std::vector<std::string> differences;
    std::vector<std::string> unknownCalls;
};

Deviations compare(const std::vector<test_support::TraceTableRow>& rows, const std::vector<TraceCall>& calls);

// For messages: each line with a new-line.
std::string joinLines(const std::vector<std::string>& lines);

}  // namespace rule_test

#endif
