// A test that reads the library's trace from a file of its own, and leaves the process-wide trace as it found it: level
// 0, standard error, no banner written.
#ifndef ZULSTATS_TESTS_UNIT_TRACE_FIXTURE_H
#define ZULSTATS_TESTS_UNIT_TRACE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "temporary_file.h"

class TraceTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Sends the trace to the test's file, at a level set without the exported functions: no banner, no lines.
    void traceToFile(int32_t level);
    static void setLevelSilently(int32_t level);

    // All that the file holds, with "\n" at the ends of lines on every system.
    std::string traced() const;
    // Goes back to the state in which a test starts; the file keeps what it holds.
    static void resetTrace();

    test_support::TemporaryFile file_;
};

// What a piece of code writes to a standard stream, whichever layer writes it.
template <typename Action>
std::string standardErrorOf(const Action& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

template <typename Action>
std::string standardOutputOf(const Action& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

// The address as a trace line shows it.
std::string tracedPointer(const void* pointer);
// Eight hexadecimal digits.
std::string hexWord(uint32_t value);
// How a line of a hex dump begins: the low half of the address.
std::string dumpLineStart(const void* address);

#endif
