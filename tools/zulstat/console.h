// The program's surroundings: arguments, environment, standard streams, files, interruption, the end of the process.
// One file per system implements what differs.
#ifndef ZULSTATS_TOOLS_ZULSTAT_CONSOLE_H
#define ZULSTATS_TOOLS_ZULSTAT_CONSOLE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "gateway_address.h"

namespace zulstat {

// To be called before anything else: a closed pipe and a file that may not grow become errors of the write instead of
// signals, no socket can take the place of a closed standard stream, and as many descriptors are allowed as the system
// lets the process have.
void prepareConsole();

// In UTF-8, without the program's name.
std::vector<std::string> programArguments(int argc, char** argv);

// In UTF-8; nothing when it is not set.
std::optional<std::string> environmentVariable(const std::string& name);

// A file's name from the arguments as the library takes it, in the system's own character set. Nothing when that lacks
// one of the name's characters.
std::optional<std::string> fileNameForLibrary(const std::string& name);

bool standardOutputIsColourTerminal();

// On a terminal that shows colours, unless the environment variable NO_COLOR is set to anything.
bool standardOutputTakesColour();

struct TerminalSize {
    size_t columns = 0;
    size_t rows = 0;
};

// Of the terminal that standard output is; nothing when it is none, or does not tell.
std::optional<TerminalSize> terminalSize();

bool standardErrorIsTerminal();

// Whether the terminal is this process's own to draw on and to read from, and not that of another job of the shell.
bool isInForeground();

enum class Interruption { wanted, terminated, quit, suspended, continued, resized };

// From now on signals wait for whenInterrupted. To be called before any thread is started.
void holdInterruptions();

// The same for those that stop the process, let it go on, and make it quit: for whoever changes the terminal. To be
// called before whenInterrupted and any other thread.
void holdTerminalSignals();

// Calls the function in a thread of its own whenever the user presses Ctrl-C, the process is asked to end, the
// terminal's size changes, or something happens that holdTerminalSignals holds. To be called once, behind
// holdInterruptions. When the process was asked to end, and has not because nobody takes its output, it is ended.
void whenInterrupted(std::function<void(Interruption)> handler);

// The same for a run that has nothing to show then.
void endProcessWhenInterrupted();

// The whole content; "-" is standard input.
std::variant<std::string, Fault> readWholeFile(const std::string& name);

struct WriteOutcome {
    int error = 0;              // the error number, 0: written
    bool isReaderGone = false;  // an error that needs no message
};

// From now on a line written to standard output ends with LF alone, whatever the system's habit.
void keepLineEnds();

// Writes the whole text, and closes standard output so that late errors show.
WriteOutcome writeAllOutput(std::string_view text);

// Writes the whole text at once, and leaves standard output open.
WriteOutcome writeSomeOutput(std::string_view text);

// Writes a file beside the named one and puts it in its place with the same permissions, so that a reader never sees a
// part. A link is followed, also one to a file that is not there yet. What is no ordinary file (a device, a pipe, a
// name of an open descriptor as /dev/stdout) is written to as it is. What went wrong, if anything did.
std::optional<std::string> replaceFile(const std::string& name, std::string_view text);
// The same where something else writes: it is given the name of the file to append to, and says what went wrong.
using FileWriter = std::function<std::optional<std::string>(const std::string& name)>;
std::optional<std::string> replaceFileBy(const std::string& name, const FileWriter& write);
// What went wrong, if anything did.
std::optional<std::string> appendToFile(const std::string& name, std::string_view text);

// What the error number of a write to standard output, still open, says about its reader.
bool isReaderGone(int errorNumber);

// What a user meets who presses Ctrl-Z and Ctrl-\\ where nothing holds them: the process stops, and this returns when
// it goes on; the process ends.
void stopProcess();
[[noreturn]] void quitProcess();

// Tells whether a process that was asked to end is held up, by output that nobody takes or by anything else. To be
// asked again and again from the moment on when the process was asked to end.
class StallDetector {
  public:
    bool isStalled();

  private:
    std::chrono::steady_clock::time_point lastMove_ = std::chrono::steady_clock::now();
    std::optional<uint64_t> steps_;
};

// Ends a process that is held up, leaving the terminal as it was found.
[[noreturn]] void endStalledProcess(Interruption reason);

// Ends the process at once, leaving other threads where they are.
[[noreturn]] void endProcess(int exitCode);

}  // namespace zulstat

#endif
