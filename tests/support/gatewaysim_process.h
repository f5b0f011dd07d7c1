#ifndef ZULSTATS_TESTS_SUPPORT_GATEWAYSIM_PROCESS_H
#define ZULSTATS_TESTS_SUPPORT_GATEWAYSIM_PROCESS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace test_support {

class ChildProgram;

struct FinishedProgram {
    int exitCode;
    std::string standardOutput;
    std::string standardError;
};

// A gatewaysim of its own on a free port, ended at the end of the scope and with the test program, however that ends.
// The program is the one that was built with the test, or the one that the environment variable GATEWAYSIM_PROGRAM
// names; with GATEWAYSIM_LAUNCHER_PORT set, it is a gatewaysim of the system outside Wine that the gatewaysim_launcher
// behind that port starts. On Linux it also ends with the thread that started it. Every function here is bounded in
// time and throws std::runtime_error, with what the program wrote to standard error, where it fails.
class GatewaySim {
  public:
    explicit GatewaySim(std::vector<std::string> arguments = {});
    ~GatewaySim();
    GatewaySim(const GatewaySim&) = delete;
    GatewaySim& operator=(const GatewaySim&) = delete;

    int port() const {
        return port_;
    }
    int64_t processId() const;

    // All that it wrote so far. What it has to say about an exchange is there before the reply is sent or the
    // connection ended.
    std::string standardError() const;

    // Ends it by the end of its standard input. Returns its exit code, the same one at every further call.
    int stop();

    // Waits until it ends by itself.
    FinishedProgram waitForEnd();

  private:
    std::unique_ptr<ChildProgram> program_;
    int port_ = 0;
};

// Runs gatewaysim with nothing on standard input until it ends by itself.
FinishedProgram runGatewaySim(const std::vector<std::string>& arguments);

}  // namespace test_support

#endif
