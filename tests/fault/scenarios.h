// What a program does with the library, step by step, against gateways whose answers are laid down.
#ifndef ZULSTATS_TESTS_FAULT_SCENARIOS_H
#define ZULSTATS_TESTS_FAULT_SCENARIOS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "gateway_peer.h"
#include "zulstats64.h"

namespace fault_test {

// What the steps of one run work on.
struct World {
    std::vector<int> ports;  // of the scenario's gateways
    int closedPort = 0;
    std::array<std::string, 2> traceFiles;
    std::array<GatewayToken*, 3> tokens = {};
    std::array<char*, 3> versions = {};
    ResultSetToken* result = nullptr;
    std::array<ResultSetToken*, 2> copies = {};
    char* idQuery = nullptr;
    bool isContentKnown = true;  // otherwise an answer may have been cut off
};

// One call, or the calls of one walk: the exported functions that it shows, the first of which its codes belong to, and
// the code that it gives when nothing fails.
struct Step {
    std::string functions;
    int32_t code;
    std::function<int32_t(World&)> run;

    std::string function() const {
        return functions.substr(0, functions.find(' '));
    }
};

struct Scenario {
    std::string name;
    wire_test::GatewayReplies replies;
    std::vector<Step> steps;
    int32_t traceLevel = 0;
    size_t gateways = 1;
    bool isAnswerLarge = false;  // it may arrive in several pieces
};

const std::vector<Scenario>& scenarios();

// Whether an exported function asks the gateway for a result set.
bool isQuery(const std::string& function);

inline void PrintTo(const Scenario& scenario, std::ostream* stream) {
    *stream << scenario.name;
}

// The calls that open and close a connection, make a query for ids and walk it, for checks between the runs.
int32_t openTo(int port, GatewayToken** token);
int32_t walkIds(ResultSetToken* result, size_t* count);
int32_t walkStats(ResultSetToken* result, size_t* count);

}  // namespace fault_test

#endif
