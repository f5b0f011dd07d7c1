// Text files and standard streams end their lines with CR LF on Windows.
#ifndef ZULSTATS_TESTS_SUPPORT_LINE_ENDS_H
#define ZULSTATS_TESTS_SUPPORT_LINE_ENDS_H

#include <cstddef>
#include <string>

namespace test_support {

// The text with every line ending in LF alone, on every system.
inline std::string withPlainLineEnds(std::string text) {
    for (size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", end)) {
        text.erase(end, 1);
    }
    return text;
}

}  // namespace test_support

#endif
