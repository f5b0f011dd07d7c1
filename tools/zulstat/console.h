// The program's surroundings: arguments, standard output, the end of the process. One file per system implements what
// differs.
#ifndef ZULSTATS_TOOLS_ZULSTAT_CONSOLE_H
#define ZULSTATS_TOOLS_ZULSTAT_CONSOLE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zulstat {

// To be called before anything else: a closed pipe becomes an error of the write instead of a signal, and no socket can
// take the place of a closed standard stream.
void prepareConsole();

// In UTF-8, without the program's name.
std::vector<std::string> programArguments(int argc, char** argv);

// A file's name from the arguments as the library takes it, in the system's own character set. Nothing when that lacks
// one of the name's characters.
std::optional<std::string> fileNameForLibrary(const std::string& name);

// On a terminal that shows colours, unless the environment variable NO_COLOR is set to anything.
bool standardOutputTakesColour();

bool standardOutputIsColourTerminal();

struct WriteOutcome {
    int error = 0;              // the error number, 0: written
    bool isReaderGone = false;  // an error that needs no message
};

// Writes the whole text and closes standard output, so that late errors show.
WriteOutcome writeAllOutput(std::string_view text);

// What the error number of a write to standard output, still open, says about its reader.
bool isReaderGone(int errorNumber);

// Ends the process at once, leaving other threads where they are.
[[noreturn]] void endProcess(int exitCode);

}  // namespace zulstat

#endif
