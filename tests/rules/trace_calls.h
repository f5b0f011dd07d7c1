// The trace points of the library's sources, read as text: a text that cannot be found by grep is a defect, even if the
// compiled library would print it.
#ifndef ZULSTATS_TESTS_RULES_TRACE_CALLS_H
#define ZULSTATS_TESTS_RULES_TRACE_CALLS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "source_files.h"

namespace rule_test {

struct TraceCall {
    int32_t id = 0;
    std::string macro;  // "TracePoint" for a point that stands as a value
    std::string word;
    std::string message;
    size_t argumentCount = 0;
    std::string where;
};

struct TraceCalls {
    std::vector<TraceCall> calls;
    std::vector<std::string> malformed;  // calls without a plain id or without one plain text, in words
};

TraceCalls traceCallsOf(const std::vector<SourceFile>& files);
TraceCalls traceCallsOfText(std::string_view source);

// How many arguments a format takes; nothing when it holds a conversion that no trace text uses.
std::optional<size_t> countConversions(std::string_view message);
bool endsInExactlyOneNewLine(std::string_view message);

// Calls whose arguments are more or fewer than the conversions of their text, in words.
std::vector<std::string> argumentMismatches(const std::vector<TraceCall>& calls);
std::set<int32_t> idsUsing(const std::vector<TraceCall>& calls, std::string_view macro);

}  // namespace rule_test

#endif
