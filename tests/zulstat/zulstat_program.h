// What the tests of the built program share.
#ifndef ZULSTATS_TESTS_ZULSTAT_ZULSTAT_PROGRAM_H
#define ZULSTATS_TESTS_ZULSTAT_ZULSTAT_PROGRAM_H

#include <string>
#include <string_view>
#include <vector>

#include "gatewaysim_process.h"
#include "run_program.h"
#include "temporary_file.h"

namespace zulstat_test {

using Texts = std::vector<std::string>;

// The program that was built with the tests, or the one that the environment variable ZULSTAT_PROGRAM names.
std::string zulstatProgram();

// For `zulstat --port PORT ARGUMENTS...`, without variables in the environment that say anything about colours.
test_support::ProgramRun zulstatRun(int port, const Texts& arguments);

test_support::ProgramOutcome runZulstat(const test_support::ProgramRun& run);
test_support::ProgramOutcome runZulstat(const test_support::GatewaySim& gateway, const Texts& arguments);

// Serves a catalogue, with further arguments if need be.
class CatalogueGateway {
  public:
    explicit CatalogueGateway(std::string_view catalogue, const Texts& arguments = {});

    const test_support::GatewaySim& gateway() const {
        return gateway_;
    }
    test_support::ProgramOutcome ask(const Texts& arguments) const {
        return runZulstat(gateway_, arguments);
    }

  private:
    test_support::TemporaryFile catalogue_;
    test_support::GatewaySim gateway_;
};

// The groups alpha, empty (without statistics) and beta.
extern const std::string_view kSmallCatalogue;

}  // namespace zulstat_test

#endif
