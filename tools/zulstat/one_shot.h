#ifndef ZULSTATS_TOOLS_ZULSTAT_ONE_SHOT_H
#define ZULSTATS_TOOLS_ZULSTAT_ONE_SHOT_H

#include <string>

#include "command_line.h"

namespace zulstat {

// groups, ids and stats: asks once and shows the answers. Returns the exit code.
int runOneShot(const CommandLine& commandLine);

int runCheck(const CommandLine& commandLine);

}  // namespace zulstat

#endif
