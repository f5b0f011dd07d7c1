#ifndef ZULSTATS_TOOLS_ZULSTAT_DOCTOR_H
#define ZULSTATS_TOOLS_ZULSTAT_DOCTOR_H

#include "command_line.h"

namespace zulstat {

// Goes to the first values step by step, and says where it fails. Returns the exit code.
int runDoctor(const CommandLine& commandLine);

// Writes the library's state and all statistics to a file.
int runDump(const CommandLine& commandLine);

}  // namespace zulstat

#endif
