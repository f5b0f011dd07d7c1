#ifndef ZULSTATS_TOOLS_ZULSTAT_WATCH_H
#define ZULSTATS_TOOLS_ZULSTAT_WATCH_H

#include "command_line.h"

namespace zulstat {

// Shows statistics again and again. Returns the exit code.
int runWatch(const CommandLine& commandLine);

}  // namespace zulstat

#endif
