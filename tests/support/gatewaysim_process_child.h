#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

// A child process whose standard streams belong to the test: one definition per system.
class ChildProgram {
  public:
    // Throws std::runtime_error.
    ChildProgram(const std::string& program, const std::vector<std::string>& arguments);
    // Kills it if it still runs.
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    std::int64_t processId() const;

    // The first line of standard output, without its end; nothing when the time is over or the output ends before.
    std::optional<std::string> firstLine(std::chrono::milliseconds atMost);
    void closeStandardInput();
    // The exit code; nothing when the time is over.
    std::optional<int> waitForEnd(std::chrono::milliseconds atMost);
    // All of both streams so far; of standard output what was taken while waiting.
    std::string standardOutput() const;
    std::string standardError() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace test_support
