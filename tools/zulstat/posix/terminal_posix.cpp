#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "console.h"
#include "terminal.h"

namespace zulstat {
namespace {

// The settings to return to, while others are in force.
std::mutex settingsMutex;
std::optional<termios> settingsBefore;

std::optional<char> readByte() {
    char byte = 0;
    ssize_t count = 0;
    do {
        count = ::read(STDIN_FILENO, &byte, 1);
    } while (count < 0 && errno == EINTR);
    return count == 1 ? std::optional(byte) : std::nullopt;
}

// What follows an escape character of a key comes at once; a user who presses Esc is slower.
std::optional<char> readByteAtOnce() {
    constexpr int kMilliseconds = 50;
    pollfd wait{STDIN_FILENO, POLLIN, 0};
    return ::poll(&wait, 1, kMilliseconds) == 1 ? readByte() : std::nullopt;
}

Key::Kind meaningOfFinalByte(const char byte) {
    switch (byte) {
        case 'A':
            return Key::Kind::up;
        case 'B':
            return Key::Kind::down;
        case 'H':
            return Key::Kind::home;
        case 'F':
            return Key::Kind::end;
        default:
            return Key::Kind::other;
    }
}

Key::Kind meaningOfNumber(const int number) {
    switch (number) {
        case 1:
        case 7:
            return Key::Kind::home;
        case 4:
        case 8:
            return Key::Kind::end;
        case 5:
            return Key::Kind::pageUp;
        case 6:
            return Key::Kind::pageDown;
        default:
            return Key::Kind::other;
    }
}

Key readEscapeSequence() {
    const std::optional<char> second = readByteAtOnce();
    if (!second) {
        return {Key::Kind::escape, 0};
    }
    if (*second != '[' && *second != 'O') {
        return {};
    }
    int number = 0;
    std::optional<char> next = readByteAtOnce();
    while (next && ((*next >= '0' && *next <= '9') || *next == ';')) {
        number = *next == ';' ? number : (number * 10 + (*next - '0')) % 1000;
        next = readByteAtOnce();
    }
    if (!next) {
        return {};
    }
    return {*next == '~' ? meaningOfNumber(number) : meaningOfFinalByte(*next), 0};
}

}  // namespace

bool isTerminalInteractive() {
    return ::isatty(STDIN_FILENO) == 1 && standardOutputIsColourTerminal();
}

void prepareKeyboard() {
    const std::lock_guard lock(settingsMutex);
    termios settings{};
    if (settingsBefore || ::tcgetattr(STDIN_FILENO, &settings) != 0) {
        return;
    }
    settingsBefore = settings;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

void restoreKeyboard() {
    const std::lock_guard lock(settingsMutex);
    if (settingsBefore) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &*settingsBefore);
        settingsBefore.reset();
    }
}

std::optional<Key> readKey() {
    const std::optional<char> byte = readByte();
    if (!byte) {
        return std::nullopt;
    }
    switch (*byte) {
        case '\x1B':
            return readEscapeSequence();
        case '\r':
        case '\n':
            return Key{Key::Kind::enter, 0};
        case '\x7F':
        case '\b':
            return Key{Key::Kind::backspace, 0};
        default:
            return *byte >= ' ' && *byte <= '~' ? Key{Key::Kind::character, *byte} : Key{};
    }
}

}  // namespace zulstat
