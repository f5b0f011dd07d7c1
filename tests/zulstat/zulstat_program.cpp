#include "zulstat_program.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace zulstat_test {
namespace {

std::string uniqueName() {
    std::random_device device;
    return "zulstat-test-" + std::to_string(device()) + "-" + std::to_string(device());
}

Texts withCatalogue(const std::string& path, const Texts& arguments) {
    Texts all{"--catalogue", path};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

}  // namespace

const std::string_view kSmallCatalogue = R"({
    "protocol": "1.0.0",
    "groups": ["alpha", "empty", "beta"],
    "statistics": [
        {"id": "alpha.name", "group": "alpha", "kind": "text", "text": "first gateway"},
        {"id": "alpha.count", "group": "alpha", "kind": "text", "text": "12"},
        {"id": "beta.size", "group": "beta", "kind": "text", "text": "3456789"}
    ]
})";

std::string zulstatProgram() {
    const char* const other = std::getenv("ZULSTAT_PROGRAM");
    return other != nullptr ? other : ZULSTAT_PROGRAM;
}

test_support::ProgramRun zulstatRun(int port, const Texts& arguments) {
    test_support::ProgramRun run;
    run.arguments = {"--port", std::to_string(port)};
    run.arguments.insert(run.arguments.end(), arguments.begin(), arguments.end());
    run.environment = {{"NO_COLOR", std::nullopt}, {"TERM", "xterm-256color"}};
    return run;
}

test_support::ProgramOutcome runZulstat(const test_support::ProgramRun& run) {
    test_support::ProgramOutcome outcome = test_support::runProgram(zulstatProgram(), run);
    if (outcome.wasKilled) {
        throw std::runtime_error("zulstat did not end by itself; it wrote: " + outcome.standardOutput +
                                 outcome.standardError);
    }
    return outcome;
}

test_support::ProgramOutcome runZulstat(const test_support::GatewaySim& gateway, const Texts& arguments) {
    return runZulstat(zulstatRun(gateway.port(), arguments));
}

TemporaryFile::TemporaryFile() : path_(std::filesystem::temp_directory_path() / uniqueName()) {}

TemporaryFile::TemporaryFile(std::string_view content) : TemporaryFile() {
    std::ofstream file(path_, std::ios::binary);
    file << content << std::flush;
    if (!file) {
        throw std::runtime_error("cannot write " + path());
    }
}

TemporaryFile::~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

std::string TemporaryFile::path() const {
    return path_.string();
}

std::string TemporaryFile::content() const {
    const std::ifstream file(path_, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

CatalogueGateway::CatalogueGateway(std::string_view catalogue, const Texts& arguments)
    : catalogue_(catalogue), gateway_(withCatalogue(catalogue_.path(), arguments)) {}

}  // namespace zulstat_test
