#ifndef ZULSTATS_TESTS_SUPPORT_GATEWAYSIM_PROCESS_CHILD_H
#define ZULSTATS_TESTS_SUPPORT_GATEWAYSIM_PROCESS_CHILD_H

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

    virtual int64_t processId() const = 0;
    // The first line of standard output, without its end; nothing when the time is over or the output ends before.
    virtual std::optional<std::string> firstLine(std::chrono::milliseconds atMost) = 0;
    virtual void closeStandardInput() = 0;
    // The exit code; nothing when the time is over.
    virtual std::optional<int> waitForEnd(std::chrono::milliseconds atMost) = 0;
    // All of both streams so far; of standard output what was taken while waiting.
    virtual std::string standardOutput() const = 0;
    virtual std::string standardError() const = 0;
};

// A child of this very process: one definition per system.
class LocalChild : public ChildProgram {
  public:
    // Throws std::runtime_error.
    LocalChild(const std::string& program, const std::vector<std::string>& arguments);
    ~LocalChild() override;
    LocalChild(const LocalChild&) = delete;
    LocalChild& operator=(const LocalChild&) = delete;

    int64_t processId() const override;
    std::optional<std::string> firstLine(std::chrono::milliseconds atMost) override;
    void closeStandardInput() override;
    std::optional<int> waitForEnd(std::chrono::milliseconds atMost) override;
    std::string standardOutput() const override;
    std::string standardError() const override;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// An argument as a program of the machine itself takes it: what names a file under Wine is the file's name outside.
// One definition per system.
std::string argumentOutside(const std::string& argument);

}  // namespace test_support

#endif
