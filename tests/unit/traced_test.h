// The lines of a trace in the form in which tests of result sets and gateway tokens compare them.
#ifndef ZULSTATS_TESTS_UNIT_TRACED_TEST_H
#define ZULSTATS_TESTS_UNIT_TRACED_TEST_H

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "trace_fixture.h"
#include "trace_text.h"

namespace unit_test {

using Lines = std::vector<std::string>;

// "id WORD message" for each trace line.
inline Lines pointsOf(const std::string& text) {
    Lines points;
    for (const test_support::TraceLine& line : test_support::traceLines(text)) {
        points.push_back(std::to_string(line.pointId) + " " + line.word + " " + line.message);
    }
    return points;
}

// How the library prints an address.
inline std::string at(const void* address) {
    return tracedPointer(address);
}

inline std::string dashLine() {
    return std::string(80, '-') + "\n";
}

// Runs code on a thread of its own, to its end.
template <typename Action>
void onAnotherThread(const Action& action) {
    std::thread(action).join();
}

// A fixture whose tests read what they made the library trace.
class TracedTest : public TraceTest {
  protected:
    Lines points() const {
        return pointsOf(traced());
    }
    std::vector<int> ids() const {
        return test_support::pointIds(traced());
    }
    Lines messages(int pointId) const {
        return test_support::messagesOfPoint(traced(), pointId);
    }
};

}  // namespace unit_test

#endif
