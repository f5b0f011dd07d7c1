// The library's trace of a scope.
#ifndef ZULSTATS_TESTS_WIRE_TRACE_CAPTURE_H
#define ZULSTATS_TESTS_WIRE_TRACE_CAPTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "temporary_file.h"

namespace wire_test {

// Sets the library up, if need be, and traces to a file of its own at the given level until the end of the scope.
class TraceCapture {
  public:
    explicit TraceCapture(int32_t level);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    std::string text() const;
    // Point ids in the order of the lines.
    std::vector<int> points() const;
    // The lines as "id WORD message", addresses other than null masked as 16 letters A.
    std::vector<std::string> lines() const;
    std::vector<std::string> messages(int point) const;
    int count(int point) const;

  private:
    test_support::TemporaryFile file_;
    size_t start_ = 0;
};

}  // namespace wire_test

#endif
