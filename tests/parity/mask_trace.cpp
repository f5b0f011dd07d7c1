// Reads a trace and writes it with everything masked that may differ between two platforms.
//   mask_trace TRACE_FILE >MASKED
#include <iostream>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "temporary_file.h"
#include "trace_text.h"

namespace {

// Descriptors, ports, names of files, and the numbers and texts of system errors, each in the messages that print it.
const std::vector<std::pair<std::regex, std::string>>& platformMasks() {
    static const std::vector<std::pair<std::regex, std::string>> kMasks = {
        {std::regex(R"((socketDesc|socketDescriptor)=-?\d+)"), "$1=#"},
        {std::regex(R"((socketDescriptor|socket)\(-?\d+\))"), "$1(#)"},
        {std::regex(R"(((Created socket:|socketdescriptor|on socket|waitForConnection socket) )-?\d+)"), "$1#"},
        {std::regex(R"((port=|port\(|127\.0\.0\.1:)\d+)"), "$1#"},
        {std::regex(R"((owningPid|owningTid)\([0-9A-F]{8}\))"), "$1(#)"},
        {std::regex(R"((Creating socket for .* protocol )\d+)"), "$1#"},
        {std::regex(R"((errno=)-?\d+)"), "$1#"},
        {std::regex(R"((connect\(\) failed error )-?\d+)"), "$1#"},
        {std::regex(R"((Unable to (?:connect to Gateway|create a socket|resolve host [^:]*:[^:]*): ).*)"), "$1#"},
        {std::regex(R"((Handshake flows failed rc=-?\d+ errno=).*( gwyRc=))"), "$1#$2"},
        {std::regex(R"((destination=|Filename=|statAPITraceFile=)\S+)"), "$1#"},
        {std::regex(R"((setAPITraceFile\()(?!traceFile|\))[^)]*)"), "$1#"},
    };
    return kMasks;
}

std::string maskPlatform(std::string text) {
    for (const auto& [pattern, mark] : platformMasks()) {
        text = std::regex_replace(text, pattern, mark);
    }
    return text;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::cerr << "usage: mask_trace TRACE_FILE\n";
        return 2;
    }
    for (const std::string& line :
         test_support::splitLines(test_support::maskTrace(test_support::readFile(arguments[1])))) {
        std::cout << maskPlatform(line) << '\n';
    }
    return std::cout ? 0 : 1;
}
