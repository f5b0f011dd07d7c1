// What zulstat says on standard error.
#ifndef ZULSTATS_TOOLS_ZULSTAT_MESSAGES_H
#define ZULSTATS_TOOLS_ZULSTAT_MESSAGES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "gateway_address.h"
#include "report.h"

namespace zulstat {

// What to do where the system starts no more threads for the process.
inline constexpr std::string_view kTooFewThreads =
    "Raise the limit of processes and threads (ulimit -u), or ask fewer gateways at a time.";

// What to do where it lets the process open no more files and connections.
inline constexpr std::string_view kTooFewDescriptors =
    "Raise the limit of open files (ulimit -n), or ask fewer gateways at a time.";

// "STAPI_RC_CONNECT_REFUSED, -135"
std::string formatCode(int32_t code);

// "connection refused (STAPI_RC_CONNECT_REFUSED, -135). Is the gateway running and listening on that port?"
std::string describeCode(int32_t code);

// "statistic ids by group"
std::string describeQuery(const Query& query);

// What there may be none of: "statistics", "resource groups".
std::string_view nameOfEntries(QueryKind kind);

// Why, without what and where: "connection refused (STAPI_RC_CONNECT_REFUSED, -135). Is the gateway running?"
std::string reasonOf(const Failure& failure);

// What failed, where, why and what to try, without the program's name.
std::string describeFailure(const Failure& failure, const Gateway& gateway);

// What the output does not say, or says only quietly: empty answers, and elements with a code above 0.
std::vector<std::string> describeRemarks(const Report& report);

}  // namespace zulstat

#endif
