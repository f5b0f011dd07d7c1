#include "trace_text.h"

#include <regex>

namespace test_support {

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t newLine = text.find('\n', start);
        const std::size_t end = newLine == std::string::npos ? text.size() : newLine;
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

std::optional<TraceLine> parseTraceLine(const std::string& line) {
    static const std::regex pattern(
        R"((\d\d/\d\d/\d\d \d\d:\d\d:\d\d:\d\d\d|) \[0x([0-9A-F]{8}),0x([0-9A-F]{8})\] \[(\d{4,})\] (\S{1,6}) *(.*))");
    std::smatch match;
    std::optional<TraceLine> result;
    if (std::regex_match(line, match, pattern)) {
        result = TraceLine{match[1], match[2], match[3], std::stoi(match[4]), match[5], match[6]};
    }
    return result;
}

std::vector<TraceLine> traceLines(const std::string& text) {
    std::vector<TraceLine> result;
    for (const std::string& line : splitLines(text)) {
        if (const std::optional<TraceLine> parsed = parseTraceLine(line)) {
            result.push_back(*parsed);
        }
    }
    return result;
}

std::vector<std::string> messagesOfPoint(const std::string& text, int pointId) {
    std::vector<std::string> messages;
    for (const TraceLine& line : traceLines(text)) {
        if (line.pointId == pointId) {
            messages.push_back(line.message);
        }
    }
    return messages;
}

std::string maskTrace(const std::string& text) {
    static const std::regex timeStamp(R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d:\d\d\d)");
    static const std::regex ids(R"(\[0x[0-9A-F]{8},0x[0-9A-F]{8}\])");
    static const std::regex date(R"(\d\d/\d\d/\d\d)");
    static const std::regex address(R"((\b|0x)(?!0{16}\b)[0-9A-F]{16}\b)");
    static const std::regex dumpAddress(R"(^0x[0-9A-F]{8}: )");
    std::string result;
    for (std::string line : splitLines(text)) {
        line = std::regex_replace(line, timeStamp, "dd/mm/yy hh:mm:ss:mmm");
        line = std::regex_replace(line, ids, "[0xPPPPPPPP,0xTTTTTTTT]");
        line = std::regex_replace(line, date, "dd/mm/yy");
        line = std::regex_replace(line, address, "$1AAAAAAAAAAAAAAAA");
        line = std::regex_replace(line, dumpAddress, "0xAAAAAAAA: ");
        result += line + '\n';
    }
    return result;
}

}  // namespace test_support
