#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <mutex>

#include "console.h"
#include "terminal.h"
#include "text_escape.h"

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

// A read from another job's terminal would stop the process; waiting is allowed.
std::optional<char> awaitByte() {
    constexpr int kLook = 200;
    pollfd wait{STDIN_FILENO, POLLIN, 0};
    while (true) {
        const int ready = ::poll(&wait, 1, -1);
        if (ready < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (ready == 1 && isInForeground()) {
            return readByte();
        }
        if (ready == 1) {
            ::poll(nullptr, 0, kLook);
        }
    }
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
        return {Key::Kind::escape, ""};
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
    return {*next == '~' ? meaningOfNumber(number) : meaningOfFinalByte(*next), ""};
}

// A character that takes more bytes than one.
Key readCharacter(const char lead) {
    const auto byte = static_cast<unsigned char>(lead);
    const int more = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 0;
    std::string character(1, lead);
    for (int count = 0; count < more; ++count) {
        if (const std::optional<char> next = readByteAtOnce()) {
            character += *next;
        }
    }
    const bool isWhole = more > 0 && lengthOfCharacter(character) == character.size() && character.size() > 1;
    return isWhole ? Key{Key::Kind::character, character} : Key{};
}

}  // namespace

bool isTerminalInteractive() {
    return ::isatty(STDIN_FILENO) == 1 && standardOutputIsColourTerminal();
}

void prepareKeyboard() {
    const std::lock_guard lock(settingsMutex);
    termios settings{};
    if (!settingsBefore && ::tcgetattr(STDIN_FILENO, &settings) == 0) {
        settingsBefore = settings;
    }
    if (!settingsBefore) {
        return;
    }
    settings = *settingsBefore;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

// Where another job has the terminal, its settings are that job's.
void restoreKeyboard() {
    const std::lock_guard lock(settingsMutex);
    if (settingsBefore && isInForeground()) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &*settingsBefore);
    }
    settingsBefore.reset();
}

// A thread that waits for the terminal keeps others from writing to it, but for a moment when its output goes on.
void sendAtOnce(const std::string_view text) {
    constexpr int kAttempts = 20;
    constexpr int kMilliseconds = 10;
    constexpr size_t kLongestName = 256;
    std::array<char, kLongestName> name{};
    if (!isInForeground() || ::ttyname_r(STDOUT_FILENO, name.data(), name.size()) != 0) {
        return;
    }
    const int terminal = ::open(name.data(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    // What the user has stopped with Ctrl-S goes on only when it is stopped once more from here.
    // NOLINTBEGIN(concurrency-mt-unsafe): no other thread does so.
    ::tcflow(STDOUT_FILENO, TCOOFF);
    ::tcflow(STDOUT_FILENO, TCOON);
    // NOLINTEND(concurrency-mt-unsafe)
    for (int attempt = 0; attempt < kAttempts && terminal >= 0; ++attempt) {
        if (::write(terminal, text.data(), text.size()) == static_cast<ssize_t>(text.size())) {
            break;
        }
        ::tcflush(STDOUT_FILENO, TCOFLUSH);
        ::poll(nullptr, 0, kMilliseconds);
    }
    ::close(terminal);
}

std::optional<Key> readKey() {
    const std::optional<char> byte = awaitByte();
    if (!byte) {
        return std::nullopt;
    }
    switch (*byte) {
        case '\x1B':
            return readEscapeSequence();
        case '\r':
        case '\n':
            return Key{Key::Kind::enter, ""};
        case '\x7F':
        case '\b':
            return Key{Key::Kind::backspace, ""};
        default:
            break;
    }
    if (*byte >= ' ' && *byte <= '~') {
        return Key{Key::Kind::character, std::string(1, *byte)};
    }
    return readCharacter(*byte);
}

}  // namespace zulstat
