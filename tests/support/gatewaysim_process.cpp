#include "gatewaysim_process.h"

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>

#include "gatewaysim_process_child.h"
#include "remote_child.h"

namespace test_support {

namespace {

constexpr std::chrono::seconds kAtMost{10};

std::string programPath() {
    const char* const chosen = std::getenv("GATEWAYSIM_PROGRAM");
    return chosen != nullptr && *chosen != '\0' ? chosen : GATEWAYSIM_PROGRAM;
}

// On this system, or, for a test program under Wine, on the one outside.
std::unique_ptr<ChildProgram> start(const std::vector<std::string>& arguments) {
    const char* const launcherPort = std::getenv("GATEWAYSIM_LAUNCHER_PORT");
    return launcherPort != nullptr ? startRemoteChild(std::stoi(launcherPort), arguments)
                                   : std::make_unique<LocalChild>(programPath(), arguments);
}

[[noreturn]] void fail(const std::string& what, const ChildProgram& program) {
    throw std::runtime_error("gatewaysim (" + programPath() + ") " + what +
                             "; standard error: " + program.standardError());
}

FinishedProgram endOf(ChildProgram& program) {
    const std::optional<int> exitCode = program.waitForEnd(kAtMost);
    if (!exitCode.has_value()) {
        fail("does not end", program);
    }
    return {*exitCode, program.standardOutput(), program.standardError()};
}

int portIn(const std::string& line) {
    const size_t colon = line.rfind(':');
    int port = 0;
    if (line.starts_with("gatewaysim listening on ") && colon != std::string::npos) {
        std::from_chars(line.data() + colon + 1, line.data() + line.size(), port);
    }
    return port;
}

}  // namespace

GatewaySim::GatewaySim(std::vector<std::string> arguments) {
    arguments.emplace_back("--exit-with-stdin");
    program_ = start(arguments);
    const std::optional<std::string> line = program_->firstLine(kAtMost);
    if (!line.has_value()) {
        fail("did not say where it listens", *program_);
    }
    port_ = portIn(*line);
    if (port_ == 0) {
        fail("did not name its port: " + *line, *program_);
    }
}

GatewaySim::~GatewaySim() {
    program_->closeStandardInput();
    program_->waitForEnd(kAtMost);
}

int64_t GatewaySim::processId() const {
    return program_->processId();
}

std::string GatewaySim::standardError() const {
    return program_->standardError();
}

int GatewaySim::stop() {
    program_->closeStandardInput();
    return waitForEnd().exitCode;
}

FinishedProgram GatewaySim::waitForEnd() {
    return endOf(*program_);
}

FinishedProgram runGatewaySim(const std::vector<std::string>& arguments) {
    const std::unique_ptr<ChildProgram> program = start(arguments);
    program->closeStandardInput();
    return endOf(*program);
}

}  // namespace test_support
