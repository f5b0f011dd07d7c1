// The user's terminal while a picture is drawn on it. One file per system implements it.
#ifndef ZULSTATS_TOOLS_ZULSTAT_TERMINAL_H
#define ZULSTATS_TOOLS_ZULSTAT_TERMINAL_H

#include <optional>
#include <string>

namespace zulstat {

struct Key {
    enum class Kind { character, up, down, pageUp, pageDown, home, end, enter, escape, backspace, other };

    Kind kind = Kind::other;
    char character = 0;  // ASCII
};

// Whether standard input and standard output are a terminal that can draw.
bool isTerminalInteractive();

// Keys come one by one and are not shown, until restoreKeyboard, which may be called from any thread.
void prepareKeyboard();
void restoreKeyboard();

// Waits for a key; nothing when no more can come.
std::optional<Key> readKey();

// What drawing begins and ends with: a screen of its own without a cursor.
extern const char* const kEnterScreen;
extern const char* const kLeaveScreen;

}  // namespace zulstat

#endif
