// What the commands share: messages, output that may fail, versions.
#ifndef ZULSTATS_TOOLS_ZULSTAT_PROGRAM_OUTPUT_H
#define ZULSTATS_TOOLS_ZULSTAT_PROGRAM_OUTPUT_H

#include <optional>
#include <string>
#include <string_view>

#include "command_line.h"
#include "report.h"

namespace zulstat {

void printError(const std::string& message);

std::string programVersion();
// Of the library's interface.
std::string apiVersion();

bool takesColour(ColorChoice choice);

// Writes to standard output or the file. The output's own failure wins over every other exit code.
int writeOutput(std::string_view text, const std::optional<std::string>& file, int exitCode);

// Writes to standard output at once and leaves it open for more. kExitOk, or kExitOutputFailed with a message.
int writeMoreOutput(std::string_view text);

// What a run about one gateway ends with.
int exitCodeOf(const Report& report);

}  // namespace zulstat

#endif
