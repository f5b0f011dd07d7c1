#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <array>
#include <cstddef>
#include <mutex>

#include "console.h"
#include "terminal.h"

namespace zulstat {
namespace {

std::mutex settingsMutex;
std::optional<DWORD> settingsBefore;

HANDLE inputHandle() {
    return GetStdHandle(STD_INPUT_HANDLE);
}

// A character that takes two units comes as two events.
Key meaningOf(const WCHAR unit) {
    static WCHAR first = 0;
    if (IS_HIGH_SURROGATE(unit)) {
        first = unit;
        return {};
    }
    const std::array<WCHAR, 2> units{first, unit};
    const bool isPair = IS_LOW_SURROGATE(unit) && first != 0;
    first = 0;
    if (unit < L' ' || unit == L'\x7F' || (IS_LOW_SURROGATE(unit) && !isPair)) {
        return {};
    }
    constexpr int kMostBytes = 4;
    std::string character(kMostBytes, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, isPair ? units.data() : &unit, isPair ? 2 : 1, character.data(),
                                         kMostBytes, nullptr, nullptr);
    character.resize(static_cast<size_t>(size));
    return {Key::Kind::character, character};
}

Key meaningOf(const KEY_EVENT_RECORD& event) {
    switch (event.wVirtualKeyCode) {
        case VK_UP:
            return {Key::Kind::up, ""};
        case VK_DOWN:
            return {Key::Kind::down, ""};
        case VK_PRIOR:
            return {Key::Kind::pageUp, ""};
        case VK_NEXT:
            return {Key::Kind::pageDown, ""};
        case VK_HOME:
            return {Key::Kind::home, ""};
        case VK_END:
            return {Key::Kind::end, ""};
        case VK_RETURN:
            return {Key::Kind::enter, ""};
        case VK_ESCAPE:
            return {Key::Kind::escape, ""};
        case VK_BACK:
            return {Key::Kind::backspace, ""};
        default:
            break;
    }
    return meaningOf(event.uChar.UnicodeChar);
}

}  // namespace

bool isTerminalInteractive() {
    DWORD mode = 0;
    return GetConsoleMode(inputHandle(), &mode) != 0 && standardOutputIsColourTerminal();
}

void prepareKeyboard() {
    const std::lock_guard lock(settingsMutex);
    DWORD mode = 0;
    if (!settingsBefore && GetConsoleMode(inputHandle(), &mode) != 0) {
        settingsBefore = mode;
    }
    if (!settingsBefore) {
        return;
    }
    SetConsoleMode(inputHandle(), *settingsBefore & ~static_cast<DWORD>(ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT));
}

void restoreKeyboard() {
    const std::lock_guard lock(settingsMutex);
    if (settingsBefore) {
        SetConsoleMode(inputHandle(), *settingsBefore);
        settingsBefore.reset();
    }
}

// A console that is held up, as while its text is being selected, takes nothing from anyone.
void sendAtOnce(const std::string_view /*text*/) {}

std::optional<Key> readKey() {
    INPUT_RECORD record{};
    DWORD count = 0;
    while (ReadConsoleInputW(inputHandle(), &record, 1, &count) != 0 && count == 1) {
        if (record.EventType == WINDOW_BUFFER_SIZE_EVENT) {
            return Key{};
        }
        if (record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown != 0) {
            return meaningOf(record.Event.KeyEvent);
        }
    }
    return std::nullopt;
}

}  // namespace zulstat
