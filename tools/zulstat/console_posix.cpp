#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "console.h"

namespace zulstat {
namespace {

// The replacement of a closed stream is open in the wrong direction, so that its use fails as it did before. The lowest
// free number is the one that is replaced, because those below it are taken.
void keepStandardStreamsTaken() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) == -1 && errno == EBADF) {
            [[maybe_unused]] const int taken = ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

}  // namespace

void prepareConsole() {
    keepStandardStreamsTaken();
    std::signal(SIGPIPE, SIG_IGN);
}

std::vector<std::string> programArguments(const int argc, char** const argv) {
    return argc < 2 ? std::vector<std::string>() : std::vector<std::string>(argv + 1, argv + argc);
}

std::optional<std::string> fileNameForLibrary(const std::string& name) {
    return name;
}

bool standardOutputIsColourTerminal() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes a variable of the environment.
    const char* const terminal = std::getenv("TERM");
    const bool showsColours = terminal != nullptr && std::strcmp(terminal, "dumb") != 0 && *terminal != '\0';
    return showsColours && ::isatty(STDOUT_FILENO) == 1;
}

bool isReaderGone(const int errorNumber) {
    return errorNumber == EPIPE;
}

}  // namespace zulstat
