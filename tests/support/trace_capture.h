// The library's trace of a scope. A program that uses this compiles the source itself, against the library it tests.
#ifndef ZULSTATS_TESTS_SUPPORT_TRACE_CAPTURE_H
#define ZULSTATS_TESTS_SUPPORT_TRACE_CAPTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "temporary_file.h"

namespace test_support {

// Sets the library up, if need be, and traces to a file of its own at the given level until the end of the scope.
class TraceCapture {
  public:
    explicit TraceCapture(int32_t level);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    // What was traced since the level was set.
    std::string text() const;
    std::string path() const {
        return file_.path();
    }
    // Point ids in the order of the lines.
    std::vector<int> points() const;
    // The lines as "id WORD message", addresses other than null masked as 16 letters A.
    std::vector<std::string> lines() const;
    std::vector<std::string> messages(int point) const;
    int count(int point) const;

  private:
    TemporaryFile file_;
    size_t start_ = 0;
};

}  // namespace test_support

#endif
