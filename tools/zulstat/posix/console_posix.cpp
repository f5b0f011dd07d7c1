#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

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

// Every gateway takes a descriptor, and nothing here minds high numbers.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Those that whoever started the process wants to be ignored stay so.
sigset_t signalsOfInterest() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH}) {
        struct sigaction action {};
        const bool isIgnored = ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
        if (!isIgnored) {
            ::sigaddset(&signals, number);
        }
    }
    return signals;
}

Interruption meaningOf(const int number) {
    switch (number) {
        case SIGINT:
            return Interruption::wanted;
        case SIGWINCH:
            return Interruption::resized;
        default:
            return Interruption::terminated;
    }
}

}  // namespace

void prepareConsole() {
    keepStandardStreamsTaken();
    raiseDescriptorLimit();
    std::signal(SIGPIPE, SIG_IGN);
}

void holdInterruptions() {
    const sigset_t signals = signalsOfInterest();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
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

std::optional<std::string> environmentVariable(const std::string& name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes a variable of the environment.
    const char* const value = std::getenv(name.c_str());
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::optional<TerminalSize> terminalSize() {
    winsize size{};
    if (::isatty(STDOUT_FILENO) != 1 || ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return std::nullopt;
    }
    return TerminalSize{size.ws_col, size.ws_row};
}

void whenInterrupted(std::function<void(Interruption)> handler) {
    std::thread([handle = std::move(handler), signals = signalsOfInterest()] {
        int number = 0;
        while (::sigwait(&signals, &number) == 0) {
            handle(meaningOf(number));
        }
    }).detach();
}

void keepLineEnds() {}

bool isReaderGone(const int errorNumber) {
    return errorNumber == EPIPE;
}

}  // namespace zulstat
