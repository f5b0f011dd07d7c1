#include "trace_capture.h"

#include <stdexcept>

#include "trace_text.h"
#include "zulstats64.h"

namespace test_support {

namespace {

constexpr size_t kAddressDigits = 16;
constexpr const char* kHexDigits = "0123456789ABCDEF";

// The text with every address but null replaced by letters A.
std::string withoutAddresses(std::string text) {
    size_t start = text.find_first_of(kHexDigits);
    while (start != std::string::npos) {
        const size_t found = text.find_first_not_of(kHexDigits, start);
        const size_t end = found == std::string::npos ? text.size() : found;
        if (end - start == kAddressDigits && text.substr(start, kAddressDigits) != std::string(kAddressDigits, '0')) {
            text.replace(start, kAddressDigits, std::string(kAddressDigits, 'A'));
        }
        start = text.find_first_of(kHexDigits, end);
    }
    return text;
}

}  // namespace

TraceCapture::TraceCapture(int32_t level) {
    if (setAPITraceFile(file_.path().c_str()) != 0 || setAPITraceLevel(level) != 0) {
        throw std::runtime_error("the trace cannot be switched to a file");
    }
    start_ = file_.content().size();
}

TraceCapture::~TraceCapture() {
    setAPITraceLevel(0);
    setAPITraceFile(nullptr);
}

std::string TraceCapture::text() const {
    return file_.content().substr(start_);
}

std::vector<int> TraceCapture::points() const {
    return pointIds(text());
}

std::vector<std::string> TraceCapture::lines() const {
    std::vector<std::string> result;
    for (const TraceLine& line : traceLines(text())) {
        result.push_back(std::to_string(line.pointId) + " " + line.word + " " + withoutAddresses(line.message));
    }
    return result;
}

std::vector<std::string> TraceCapture::messages(int point) const {
    return messagesOfPoint(text(), point);
}

int TraceCapture::count(int point) const {
    const std::string mark = "] [" + std::to_string(point) + "] ";
    const std::string whole = text();
    int result = 0;
    for (size_t found = whole.find(mark); found != std::string::npos; found = whole.find(mark, found + 1)) {
        ++result;
    }
    return result;
}

}  // namespace test_support
