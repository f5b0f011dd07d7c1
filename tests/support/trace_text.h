// The library's trace as a test wants to see it: lines taken apart, and what differs from run to run masked.
#ifndef ZULSTATS_TESTS_SUPPORT_TRACE_TEXT_H
#define ZULSTATS_TESTS_SUPPORT_TRACE_TEXT_H

#include <optional>
#include <string>
#include <vector>

namespace test_support {

// One trace line, "time stamp [0xPID,0xTID] [id] WORD   message".
struct TraceLine {
    std::string timeStamp;
    std::string processId;
    std::string threadId;
    int pointId = 0;
    std::string word;
    std::string message;
};

// Lines of a text, without their new-lines; carriage returns before them are dropped.
std::vector<std::string> splitLines(const std::string& text);

// The line taken apart, or nothing when it is not a trace line (a hex dump, the banner, a dump's text).
std::optional<TraceLine> parseTraceLine(const std::string& line);

// All trace lines of a text, in order; what is no trace line is left out.
std::vector<TraceLine> traceLines(const std::string& text);

// The point ids of the trace lines, in order.
std::vector<int> pointIds(const std::string& text);

// The messages of the trace lines with this point id, in order.
std::vector<std::string> messagesOfPoint(const std::string& text, int pointId);

// The text with time stamps, process and thread ids, dates and addresses replaced by fixed marks of the same length,
// and with ports and socket descriptors replaced by a letter: what stays the same in every run of the same scenario.
std::string maskTrace(const std::string& text);

}  // namespace test_support

#endif
