#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

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

Key meaningOf(const KEY_EVENT_RECORD& event) {
    switch (event.wVirtualKeyCode) {
        case VK_UP:
            return {Key::Kind::up, 0};
        case VK_DOWN:
            return {Key::Kind::down, 0};
        case VK_PRIOR:
            return {Key::Kind::pageUp, 0};
        case VK_NEXT:
            return {Key::Kind::pageDown, 0};
        case VK_HOME:
            return {Key::Kind::home, 0};
        case VK_END:
            return {Key::Kind::end, 0};
        case VK_RETURN:
            return {Key::Kind::enter, 0};
        case VK_ESCAPE:
            return {Key::Kind::escape, 0};
        case VK_BACK:
            return {Key::Kind::backspace, 0};
        default:
            break;
    }
    const WCHAR character = event.uChar.UnicodeChar;
    return character >= L' ' && character <= L'~' ? Key{Key::Kind::character, static_cast<char>(character)} : Key{};
}

}  // namespace

bool isTerminalInteractive() {
    DWORD mode = 0;
    return GetConsoleMode(inputHandle(), &mode) != 0 && standardOutputIsColourTerminal();
}

void prepareKeyboard() {
    const std::lock_guard lock(settingsMutex);
    DWORD mode = 0;
    if (settingsBefore || GetConsoleMode(inputHandle(), &mode) == 0) {
        return;
    }
    settingsBefore = mode;
    SetConsoleMode(inputHandle(), mode & ~static_cast<DWORD>(ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT));
}

void restoreKeyboard() {
    const std::lock_guard lock(settingsMutex);
    if (settingsBefore) {
        SetConsoleMode(inputHandle(), *settingsBefore);
        settingsBefore.reset();
    }
}

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
