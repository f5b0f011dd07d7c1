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

// Whether a connection is accepted there.
bool probeAccepts(const Gateway& gateway, std::chrono::milliseconds limit);

// The steps up to the authorisation. Those behind a failed one are not tried.
std::vector<ProbeStep> probeGateway(const Gateway& gateway, std::chrono::milliseconds limit);

}  // namespace zulstat

#endif
