#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

// A child process whose standard streams belong to the test.
class ChildProgram {
  public:
    // Kills it if it still runs.
    virtual ~ChildProgram() = default;

    virtual std::int64_t processId() const = 0;
    // The first line of standard output, without its end; nothing when the time is over or the output ends before.
    virtual std::optional<std::string> firstLine(std::chrono::milliseconds atMost) = 0;
    virtual void closeStandardInput() = 0;
    // The exit code; nothing when the time is over.
    virtual std::optional<int> waitForEnd(std::chrono::milliseconds atMost) = 0;
    // All of both streams so far; of standard output what was taken while waiting.
    virtual std::string standardOutput() const = 0;
    virtual std::string standardError() const = 0;
};

// One definition per system. Throws std::runtime_error.
std::unique_ptr<ChildProgram> startChildProgram(const std::string& program, const std::vector<std::string>& arguments);

// An argument as a program of the machine itself takes it: what names a file under Wine is the file's name outside.
// One definition per system.
std::string argumentOutside(const std::string& argument);

}  // namespace test_support
