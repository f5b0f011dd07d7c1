// Courses of events whose traces are compared with stored ones: at least one for every exported function and for every
// kind of failure that a caller can meet.
#ifndef ZULSTATS_TESTS_SYSTEM_SCENARIOS_H
#define ZULSTATS_TESTS_SYSTEM_SCENARIOS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "system_fixture.h"

namespace system_test {

// What a scenario has at hand while it runs.
class ScenarioRun {
  public:
    explicit ScenarioRun(const TraceCapture& trace, int32_t level) : trace_(trace), level_(level) {}

    // A daemon with a small catalogue, a frozen clock and fixed opaque values, so that every run has the same bytes.
    test_support::GatewaySim& daemon(const std::vector<std::string>& furtherOptions = {});
    test_support::GatewaySim& daemonWith(Catalogue& catalogue, const std::vector<std::string>& furtherOptions = {});

    // Does what other scenarios show already: what it writes is not compared again.
    template <typename Action>
    void aside(Action action) {
        const size_t start = trace_.text().size();
        action();
        asides_.emplace_back(start, trace_.text().size());
    }
    // The whole trace, and the trace without what was done aside.
    std::string wholeText() const;
    std::string comparedText() const;

    // Text that went elsewhere than to the trace file.
    void append(const std::string& text) {
        further_ += text;
    }
    const TraceCapture& trace() const {
        return trace_;
    }
    int32_t level() const {
        return level_;
    }

  private:
    const TraceCapture& trace_;
    int32_t level_;
    std::string further_;
    std::vector<std::pair<size_t, size_t>> asides_;
    Catalogue small_;
    std::vector<std::unique_ptr<test_support::GatewaySim>> daemons_;
};

// A connection that is opened and closed aside.
class ScenarioConnection {
  public:
    ScenarioConnection(ScenarioRun& run, const test_support::GatewaySim& sim) : run_(run) {
        run_.aside([&] { connection_ = std::make_unique<Connection>(sim); });
    }
    ~ScenarioConnection() {
        run_.aside([&] { connection_.reset(); });
    }
    ScenarioConnection(const ScenarioConnection&) = delete;
    ScenarioConnection& operator=(const ScenarioConnection&) = delete;

    GatewayToken* token() const {
        return connection_->token();
    }

  private:
    ScenarioRun& run_;
    std::unique_ptr<Connection> connection_;
};

struct Scenario {
    const char* name;
    void (*run)(ScenarioRun& run);
    // Whether its trace is stored, and whether it leaves the trace level alone.
    bool isStored = true;
    bool keepsLevel = true;
};

// How a test's parameter is printed.
void PrintTo(const Scenario& scenario, std::ostream* stream);

// Of every system, and of this one alone.
const std::vector<Scenario>& commonScenarios();
const std::vector<Scenario>& scenariosOfThisSystem();
std::vector<Scenario> allScenarios();

// What a scenario writes at a level, with the name of the trace file masked; all of it, or without what it does aside.
std::string wholeTraceOf(const Scenario& scenario, int32_t level);
std::string traceOf(const Scenario& scenario, int32_t level);

// The trace made the same for every run: masked, pieces of one received message taken together, lines that depend on
// how fast the system connects left out, the texts of system errors masked, and long hex dumps shortened.
std::string comparable(const std::string& trace);

}  // namespace system_test

#endif
