#include "trace_text.h"

#include <cstddef>
#include <regex>

namespace test_support {

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        const size_t newLine = text.find('\n', start);
        const size_t end = newLine == std::string::npos ? text.size() : newLine;
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
    // Only the line's beginning: the expressions of the standard library cannot take a message of many thousand bytes.
    constexpr size_t kLongestPrefix = 80;
    static const std::regex kPattern(
        R"((\d\d/\d\d/\d\d \d\d:\d\d:\d\d:\d\d\d|) \[0x([0-9A-F]{8}),0x([0-9A-F]{8})\] \[(\d{4,})\] (\S{1,6}) *)");
    const std::string prefix = line.substr(0, kLongestPrefix);
    std::smatch match;
    std::optional<TraceLine> result;
    if (std::regex_search(prefix, match, kPattern, std::regex_constants::match_continuous)) {
        const std::string message = line.substr(static_cast<size_t>(match.length()));
        result = TraceLine{match[1], match[2], match[3], std::stoi(match[4]), match[5], message};
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

std::vector<int> pointIds(const std::string& text) {
    std::vector<int> ids;
    for (const TraceLine& line : traceLines(text)) {
        ids.push_back(line.pointId);
    }
    return ids;
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

namespace {

// A mask is tried only on lines that hold its hint: the expressions of the standard library are slow.
struct Mask {
    const char* hint;
    std::regex pattern;
    const char* replacement;
};

const std::vector<Mask>& masks() {
    static const std::vector<Mask> kAll = [] {
        const auto mask = [](const char* hint, const char* pattern, const char* replacement) {
            return Mask{hint, std::regex(pattern, std::regex::optimize), replacement};
        };
        return std::vector<Mask>{
            mask("[0x", R"(\[0x[0-9A-F]{8},0x[0-9A-F]{8}\])", "[0xPPPPPPPP,0xTTTTTTTT]"),
            // Process and thread ids.
            mask("owningPid(", R"(owningPid\([0-9A-F]{8}\) owningTid\([0-9A-F]{8}\))",
                 "owningPid(PPPPPPPP) owningTid(TTTTTTTT)"),
            mask("currentPid=", R"(currentPid=\w+, owningPid=\w+)", "currentPid=P, owningPid=P"),
            mask("currentTid=", R"(currentTid=\w+, owningTid=\w+)", "currentTid=T, owningTid=T"),
            // Descriptors.
            mask("socketDesc=", R"(socketDesc=\d+)", "socketDesc=D"),
            mask("socketDescriptor=", R"(socketDescriptor=\d+)", "socketDescriptor=D"),
            mask("socketDescriptor(", R"(socketDescriptor\(\d+\))", "socketDescriptor(D)"),
            mask(" socket(", R"( socket\(\d+\))", " socket(D)"),
            mask(" socket", R"(((on|Created|waitForConnection) socket:?|on socketdescriptor) \d+)", "$1 D"),
            mask("NoDelay failed:", R"(NoDelay failed: \d+)", "NoDelay failed: D"),
            // Ports: only what the system chooses, so numbers of four digits or more.
            mask("port=", R"(\bport=\d{4,})", "port=N"),
            mask("port(", R"(\bport\(\d{4,}\))", "port(N)"),
            mask(":", R"((connect to|Connected to Gateway|connect to Gateway|resolve host) (\(?[^ :]*):\d{4,})",
                 "$1 $2:N"),
        };
    }();
    return kAll;
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isHex(char character) {
    return isDigit(character) || (character >= 'A' && character <= 'F');
}

bool isOfWord(char character) {
    return isHex(character) || (character >= 'G' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           character == '_';
}

// Replaces what has the shape of a date, and the time behind it.
void maskTimes(std::string& line) {
    const auto hasShape = [&line](size_t at, const std::string& shape) {
        bool has = at + shape.size() <= line.size();
        for (size_t index = 0; has && index < shape.size(); ++index) {
            const bool isLetter = shape[index] >= 'a' && shape[index] <= 'z';
            has = isLetter ? isDigit(line[at + index]) : line[at + index] == shape[index];
        }
        return has;
    };
    const std::string date = "dd/mm/yy";
    const std::string stamp = "dd/mm/yy hh:mm:ss:mmm";
    for (size_t slash = line.find('/'); slash != std::string::npos; slash = line.find('/', slash + 1)) {
        if (slash >= 2 && hasShape(slash - 2, stamp)) {
            line.replace(slash - 2, stamp.size(), stamp);
        } else if (slash >= 2 && hasShape(slash - 2, date)) {
            line.replace(slash - 2, date.size(), date);
        }
    }
}

// Replaces words of 16 hexadecimal digits that are not all zero, with or without a 0x before them.
void maskAddresses(std::string& line) {
    constexpr size_t kDigits = 16;
    size_t at = 0;
    while (at < line.size()) {
        at += line.compare(at, 2, "0x") == 0 ? 2U : 0U;
        size_t end = at;
        bool isHexWord = true;
        while (end < line.size() && isOfWord(line[end])) {
            isHexWord = isHexWord && isHex(line[end]);
            ++end;
        }
        if (end - at == kDigits && isHexWord && line.compare(at, kDigits, std::string(kDigits, '0')) != 0) {
            line.replace(at, kDigits, kDigits, 'A');
        }
        at = end + 1;
    }
}

// A line of a hex dump: only the address is masked, never what was dumped.
bool isHexDumpLine(const std::string& line) {
    constexpr size_t kAddressEnd = 10;
    return line.size() > kAddressEnd && line.compare(0, 2, "0x") == 0 && line.compare(kAddressEnd, 2, ": ") == 0;
}

}  // namespace

std::string maskTrace(const std::string& text) {
    std::string result;
    for (std::string line : splitLines(text)) {
        if (isHexDumpLine(line)) {
            line.replace(0, 10, "0xAAAAAAAA");
        } else {
            maskTimes(line);
            maskAddresses(line);
            for (const Mask& mask : masks()) {
                if (line.find(mask.hint) != std::string::npos) {
                    line = std::regex_replace(line, mask.pattern, mask.replacement);
                }
            }
        }
        result += line + '\n';
    }
    return result;
}

}  // namespace test_support
