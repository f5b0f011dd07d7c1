#ifndef ZULSTATS_TOOLS_ZULSTAT_PING_H
#define ZULSTATS_TOOLS_ZULSTAT_PING_H

#include "command_line.h"

namespace zulstat {

// Whether gateways answer, and how fast. Returns the exit code.
int runPing(const CommandLine& commandLine);

}  // namespace zulstat

#endif
