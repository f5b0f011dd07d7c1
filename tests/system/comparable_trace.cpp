#include <algorithm>
#include <cstddef>
#include <regex>

#include "scenarios.h"
#include "trace_text.h"

namespace system_test {

namespace {

using Lines = std::vector<std::string>;

bool isPoint(const std::string& line, const char* id) {
    const size_t start = line.find("] [");
    return start != std::string::npos && line.compare(start + 3, 5, std::string(id) + "]") == 0;
}

// Whether a connect ends at once or after a wait is the system's affair.
bool isAboutWaiting(const std::string& line) {
    return isPoint(line, "3014") || isPoint(line, "3015") || isPoint(line, "3018");
}

int numberBehind(const std::string& line, const std::string& label) {
    return std::stoi(line.substr(line.find(label) + label.size()));
}

// How many pieces a message arrives in is the network's affair: the first line tells the bytes of all. What ended a
// message early stays.
Lines withPiecesTogether(const Lines& lines) {
    Lines result;
    for (const std::string& line : lines) {
        const bool goesOn = isPoint(line, "3241") && numberBehind(line, "readData=") > 0 && !result.empty();
        if (goesOn) {
            const int total = numberBehind(line, "totaldata=") + numberBehind(line, "readData=");
            std::string& first = result.back();
            first.replace(first.find("readData="), std::string::npos, "readData=" + std::to_string(total) + ")");
        } else {
            result.push_back(line);
        }
    }
    return result;
}

// An empty list still names the last connection that the process had, if there was one.
std::string withoutLeftOverTail(const std::string& line) {
    const std::string emptyList = "head(0000000000000000) tail (";
    std::string result = line;
    const size_t at = line.find(emptyList);
    if (at != std::string::npos) {
        result.replace(at + emptyList.size(), 16, 16, 'A');
    }
    return result;
}

// Windows leaves the number of the protocol to the kind of the socket.
std::string withProtocolMasked(const std::string& line) {
    static const std::string kLabel = "Creating socket for family 2, type 1, protocol ";
    const size_t at = line.find(kLabel);
    return at == std::string::npos ? line : line.substr(0, at + kLabel.size()) + "N";
}

std::string withSystemErrorsMasked(const std::string& line) {
    if (line.find("Unable to") == std::string::npos && line.find("errno=") == std::string::npos &&
        line.find("readFromSocket(") == std::string::npos) {
        return line;
    }
    static const std::vector<std::pair<std::regex, const char*>> kMasks{
        {std::regex(R"((Unable to (connect to Gateway|create a socket): ).*\(\d+\)$)"), "$1<error>(<number>)"},
        {std::regex(R"((Unable to resolve host \([^)]*\): ).*\(-?\d+\)$)"), "$1<error>(<number>)"},
        {std::regex(R"(errno=[A-Z].* gwyRc=)"), "errno=<error> gwyRc="},
        {std::regex(R"(errno=[1-9]\d*)"), "errno=<number>"},
        {std::regex(R"((readFromSocket\(.*\) rc=)[1-9]\d*$)"), "$1<number>"},
    };
    std::string result = line;
    for (const auto& [pattern, replacement] : kMasks) {
        result = std::regex_replace(result, pattern, replacement);
    }
    return result;
}

bool isDumpLine(const std::string& line) {
    return line.compare(0, 12, "0xAAAAAAAA: ") == 0;
}

Lines withLongDumpsShortened(const Lines& lines) {
    constexpr ptrdiff_t kLongest = 24;
    constexpr ptrdiff_t kShown = 4;
    Lines result;
    for (auto line = lines.begin(); line != lines.end();) {
        const auto end = std::find_if_not(line, lines.end(), isDumpLine);
        if (end - line > kLongest) {
            result.insert(result.end(), line, line + kShown);
            result.push_back("<" + std::to_string(end - line - 2 * kShown) + " lines>");
            line = end - kShown;
        }
        result.insert(result.end(), line, end);
        line = end;
        if (line != lines.end()) {
            result.push_back(*line);
            ++line;
        }
    }
    return result;
}

// A text of many thousand characters tells no more than its beginning and its length.
std::string shortened(const std::string& line) {
    constexpr size_t kLongest = 400;
    return line.size() <= kLongest ? line
                                   : line.substr(0, 100) + "<" + std::to_string(line.size() - 200) + " characters>" +
                                         line.substr(line.size() - 100);
}

}  // namespace

std::string comparable(const std::string& trace) {
    Lines kept;
    for (const std::string& line : test_support::splitLines(test_support::maskTrace(trace))) {
        if (!isAboutWaiting(line)) {
            kept.push_back(shortened(withProtocolMasked(withoutLeftOverTail(withSystemErrorsMasked(line)))));
        }
    }
    std::string result;
    for (const std::string& line : withLongDumpsShortened(withPiecesTogether(kept))) {
        result += line + '\n';
    }
    return result;
}

}  // namespace system_test
