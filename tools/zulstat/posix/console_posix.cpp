#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <thread>
#include <utility>

#include "console.h"
#include "exit_codes.h"

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

// What whenInterrupted takes. Written before any thread is started.
sigset_t heldSignals;

// Those that whoever started the process wants to be ignored stay so.
void hold(const std::initializer_list<int> numbers) {
    for (const int number : numbers) {
        struct sigaction action {};
        const bool isIgnored = ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
        if (!isIgnored) {
            ::sigaddset(&heldSignals, number);
        }
    }
    ::pthread_sigmask(SIG_BLOCK, &heldSignals, nullptr);
}

Interruption meaningOf(const int number) {
    switch (number) {
        case SIGINT:
            return Interruption::wanted;
        case SIGQUIT:
            return Interruption::quit;
        case SIGTSTP:
            return Interruption::suspended;
        case SIGCONT:
            return Interruption::continued;
        case SIGWINCH:
            return Interruption::resized;
        default:
            return Interruption::terminated;
    }
}

bool isAnEnd(const Interruption interruption) {
    return interruption == Interruption::wanted || interruption == Interruption::terminated ||
           interruption == Interruption::quit;
}

// The number of the signal that came; nothing when none did within the time that an ending process is looked after.
std::optional<int> nextSignal(const bool isEnding) {
    constexpr timespec kLook{0, 100000000};
    const int number = isEnding ? ::sigtimedwait(&heldSignals, nullptr, &kLook) : ::sigwaitinfo(&heldSignals, nullptr);
    return number > 0 ? std::optional(number) : std::nullopt;
}

void handleSignals(const std::function<void(Interruption)>& handle) {
    std::optional<Interruption> end;
    StallDetector detector;
    while (!end || !detector.isStalled()) {
        const std::optional<int> number = nextSignal(end.has_value());
        if (!number) {
            continue;
        }
        const Interruption interruption = meaningOf(*number);
        if (!end && isAnEnd(interruption)) {
            end = interruption;
            detector = StallDetector();
        }
        handle(interruption);
    }
    endStalledProcess(*end);
}

// Meets what the system does by itself on a signal that is held.
void meetSignal(const int number) {
    sigset_t one;
    ::sigemptyset(&one);
    ::sigaddset(&one, number);
    ::pthread_kill(::pthread_self(), number);
    ::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    ::pthread_sigmask(SIG_BLOCK, &one, nullptr);
}

}  // namespace

void prepareConsole() {
    keepStandardStreamsTaken();
    raiseDescriptorLimit();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

void holdInterruptions() {
    ::sigemptyset(&heldSignals);
    hold({SIGINT, SIGTERM, SIGHUP, SIGWINCH});
}

void holdTerminalSignals() {
    hold({SIGTSTP, SIGCONT, SIGQUIT});
}

void stopProcess() {
    meetSignal(SIGTSTP);
}

void quitProcess() {
    meetSignal(SIGQUIT);
    std::_Exit(kExitTerminated);
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
    std::thread([handle = std::move(handler)] { handleSignals(handle); }).detach();
}

bool standardErrorIsTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

// A terminal that is gone, or not the one that controls the process, has no other job.
bool isInForeground() {
    const pid_t foreground = ::tcgetpgrp(STDIN_FILENO);
    return foreground < 0 || foreground == ::getpgrp();
}

void keepLineEnds() {}

bool isReaderGone(const int errorNumber) {
    return errorNumber == EPIPE;
}

}  // namespace zulstat
