// What can be learnt about a gateway's address without the library: a bare connection, and the first steps of the
// protocol, each by itself and with a time limit.
#ifndef ZULSTATS_TOOLS_ZULSTAT_PROBE_H
#define ZULSTATS_TOOLS_ZULSTAT_PROBE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "gateway_address.h"

namespace zulstat {

struct ProbeStep {
    enum class Result { good, failed, notTried };

    std::string name;
    Result result = Result::notTried;
    std::string detail;  // what was seen
    std::string advice;  // what to do, where it failed
    std::chrono::microseconds duration{0};
};

using ProbeDeadline = std::chrono::steady_clock::time_point;

// Whether a connection is accepted there. May wait longer than that for the name of the host alone.
bool probeAccepts(const Gateway& gateway, ProbeDeadline deadline);

// The steps up to the first query, all of them before the deadline; but resolving the name of the host takes as long as
// it takes. Those behind a failed step are not tried.
std::vector<ProbeStep> probeGateway(const Gateway& gateway, ProbeDeadline deadline);

// All of them, none tried.
std::vector<ProbeStep> untriedSteps();

}  // namespace zulstat

#endif
