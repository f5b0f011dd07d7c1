// One run of a scenario under a fault, and what must hold after it.
#ifndef ZULSTATS_TESTS_FAULT_SCENARIO_RUN_H
#define ZULSTATS_TESTS_FAULT_SCENARIO_RUN_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "closed_port.h"
#include "scenarios.h"
#include "temporary_file.h"

namespace fault_test {

// How a fault shows itself to the runs.
struct FaultView {
    std::function<int64_t()> strikes;                                 // so far
    std::function<std::vector<int32_t>(const std::string&)> codesOf;  // of a function that it struck; none: as without
    bool mayCutAnswers;                                               // an answer may end early and count as whole
};

// The files and sockets that the process has open; 0 where it cannot tell.
size_t openDescriptors();

// The gateways of a scenario, for as many runs as are wanted.
class ScenarioStage {
  public:
    explicit ScenarioStage(const Scenario& scenario);
    ScenarioStage(const ScenarioStage&) = delete;
    ScenarioStage& operator=(const ScenarioStage&) = delete;

    // Plays the scenario under the fault that makeFault sets up for as long as its result lives. Holds every code
    // against what is documented, and looks for memory, sockets and files left behind. The number of strikes.
    int64_t play(const std::function<std::shared_ptr<FaultView>()>& makeFault);

    // A connection to another gateway, which answers as it should, works from its opening to its end.
    void expectFreshConnectionWorks();

  private:
    World newWorld() const;
    void playSteps(World* world, const FaultView& fault);
    bool isCodeAllowed(const Step& step, int32_t code, const FaultView& fault, bool isStruck) const;

    const Scenario& scenario_;
    std::vector<std::unique_ptr<test_support::ScriptedPeer>> gateways_;
    test_support::ScriptedPeer freshGateway_;
    const test_support::ClosedPort closedPort_;
    const test_support::TemporaryFile traceFiles_[2];
};

}  // namespace fault_test

#endif
