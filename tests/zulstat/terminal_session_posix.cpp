#include "terminal_session_posix.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace zulstat_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLimit{30};

[[noreturn]] void failWith(const std::string& action) {
    throw std::runtime_error("cannot " + action + ": " + std::strerror(errno));
}

int openTerminal(std::array<char, 128>& name) {
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || ::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0 ||
        ::ptsname_r(terminal, name.data(), name.size()) != 0) {
        failWith("make a pseudo-terminal");
    }
    constexpr winsize kSize{24, 80, 0, 0};
    ::ioctl(terminal, TIOCSWINSZ, &kSize);
    return terminal;
}

// Between fork and exec: system calls only.
[[noreturn]] void becomeShell(const char* terminalName, char* const* argv, char* const* environment) {
    constexpr int kCannotStart = 127;
    // The first terminal that the leader of a session opens controls it.
    ::setsid();
    const int terminal = ::open(terminalName, O_RDWR);
    if (terminal >= 0 && ::dup2(terminal, STDIN_FILENO) >= 0 && ::dup2(terminal, STDOUT_FILENO) >= 0 &&
        ::dup2(terminal, STDERR_FILENO) >= 0) {
        ::execve("/bin/sh", argv, environment);
    }
    ::_exit(kCannotStart);
}

}  // namespace

bool machineHasPseudoTerminals() {
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    const bool isMade = master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0;
    const char* const name = isMade ? ::ptsname(master) : nullptr;
    const int slave = name != nullptr ? ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
    const int error = errno;
    ::close(slave);
    ::close(master);
    return slave >= 0 || (error != ENOENT && error != ENODEV && error != ENXIO && error != ENOTTY && error != EACCES &&
                          error != EPERM);
}

TerminalSession::TerminalSession(const std::string& script, const std::vector<std::string>& arguments) {
    std::array<char, 128> name{};
    terminal_ = openTerminal(name);
    std::vector<std::string> texts{"sh", "-c", script, "sh"};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& text : texts) {
        argv.push_back(text.data());
    }
    argv.push_back(nullptr);
    std::string type = "TERM=xterm-256color";
    std::string path = "PATH=/usr/bin:/bin";
    const std::array<char*, 3> environment{type.data(), path.data(), nullptr};
    shell_ = ::fork();
    if (shell_ < 0) {
        failWith("fork");
    }
    if (shell_ == 0) {
        becomeShell(name.data(), argv.data(), environment.data());
    }
}

TerminalSession::~TerminalSession() {
    // The end of the terminal hangs up on its session.
    ::close(terminal_);
    ::kill(shell_, SIGKILL);
    ::waitpid(shell_, nullptr, 0);
}

void TerminalSession::type(const std::string& keys) const {
    if (::write(terminal_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        failWith("type");
    }
}

std::string TerminalSession::readUntil(const std::string& text) {
    const Clock::time_point end = Clock::now() + kLimit;
    size_t place = shown_.find(text);
    while (place == std::string::npos) {
        pollfd wait{terminal_, POLLIN, 0};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        std::array<char, 4096> buffer{};
        const bool isReady = left > 0 && ::poll(&wait, 1, static_cast<int>(left)) == 1;
        const ssize_t count = isReady ? ::read(terminal_, buffer.data(), buffer.size()) : -1;
        if (count <= 0) {
            throw std::runtime_error("the terminal does not show \"" + text + "\" but: " + shown_);
        }
        shown_.append(buffer.data(), static_cast<size_t>(count));
        place = shown_.find(text);
    }
    std::string before = shown_.substr(0, place + text.size());
    shown_.erase(0, place + text.size());
    return before;
}

bool TerminalSession::isInLineMode() const {
    termios settings{};
    if (::tcgetattr(terminal_, &settings) != 0) {
        failWith("ask for the terminal's settings");
    }
    return (settings.c_lflag & ICANON) != 0 && (settings.c_lflag & ECHO) != 0;
}

}  // namespace zulstat_test
