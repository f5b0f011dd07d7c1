// The user's terminal while a picture is drawn on it. One file per system implements it.
#ifndef ZULSTATS_TOOLS_ZULSTAT_TERMINAL_H
#define ZULSTATS_TOOLS_ZULSTAT_TERMINAL_H

#include <optional>
#include <string>
#include <string_view>

#include "console.h"

namespace zulstat {

struct Key {
    enum class Kind { character, up, down, pageUp, pageDown, home, end, enter, escape, backspace, other };

    Kind kind = Kind::other;
    std::string character;  // in UTF-8
};

// Whether standard input and standard output are a terminal that can draw.
bool isTerminalInteractive();

// Keys come one by one and are not shown, until restoreKeyboard, which may be called from any thread. To be called
// again where another program may have changed the terminal.
void prepareKeyboard();
void restoreKeyboard();

// A screen of its own without a cursor, and the keyboard, until they are given back. Nothing is given back twice.
WriteOutcome takeScreen();
WriteOutcome giveScreenBack();
// The same from any thread, when another one may be waiting for the terminal: never waits long.
void giveScreenBackAtOnce();

// Waits for a key; nothing when no more can come.
std::optional<Key> readKey();

// Sends a text to the terminal past what is waiting to be sent, where that is possible without waiting long.
void sendAtOnce(std::string_view text);

}  // namespace zulstat

#endif
