#include "zulstat_program.h"

#include <cstdlib>
#include <stdexcept>

namespace zulstat_test {
namespace {

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

CatalogueGateway::CatalogueGateway(std::string_view catalogue, const Texts& arguments)
    : catalogue_(catalogue), gateway_(withCatalogue(catalogue_.path(), arguments)) {}

}  // namespace zulstat_test
