// A shell with a terminal of its own, for programs that draw on one and take keys.
#ifndef ZULSTATS_TESTS_ZULSTAT_TERMINAL_SESSION_POSIX_H
#define ZULSTATS_TESTS_ZULSTAT_TERMINAL_SESSION_POSIX_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace zulstat_test {

// Some containers have no device that makes them, or do not show the terminals made.
bool machineHasPseudoTerminals();

class TerminalSession {
  public:
    // Runs `sh -c SCRIPT ARGUMENTS...` as the first process of a session that the terminal controls; "$@" in the script
    // is the arguments. Throws std::runtime_error when that cannot be.
    TerminalSession(const std::string& script, const std::vector<std::string>& arguments);
    // Ends whatever still runs in the session.
    ~TerminalSession();
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    void type(const std::string& keys) const;
    // Waits until the terminal has shown the text, and returns what it has shown up to its end since the last call.
    // Throws when the text does not come.
    std::string readUntil(const std::string& text);
    // Whether the terminal shows what is typed and waits for whole lines, as a shell left it.
    bool isInLineMode() const;

  private:
    int terminal_ = -1;
    pid_t shell_ = -1;
    std::string shown_;
};

}  // namespace zulstat_test

#endif
