#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// shellapi.h needs windows.h before it.
#include <shellapi.h>

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "console.h"
#include "exit_codes.h"

#ifndef ENABLE_VIRTUAL_TERMINAL_PROCESSING
#define ENABLE_VIRTUAL_TERMINAL_PROCESSING 0x0004
#endif

namespace zulstat {
namespace {

std::string toUtf8(const wchar_t* const text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) {
        return {};
    }
    std::string converted(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, converted.data(), size, nullptr, nullptr);
    converted.pop_back();
    return converted;
}

std::wstring fromUtf8(const std::string& text) {
    const int length = static_cast<int>(text.size());
    std::wstring converted(text.size(), L'\0');
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, converted.data(), length);
    converted.resize(static_cast<size_t>(size));
    return converted;
}

// Lives as long as the process: the system calls from threads of its own.
std::function<void(Interruption)>& interruptionHandler() {
    static auto* const handler = new std::function<void(Interruption)>;
    return *handler;
}

// Each event has a thread of its own, which stays to look after the end that was asked for.
BOOL WINAPI handleControl(const DWORD event) {
    constexpr DWORD kLook = 100;
    const Interruption reason = event == CTRL_C_EVENT ? Interruption::wanted : Interruption::terminated;
    StallDetector detector;
    interruptionHandler()(reason);
    while (!detector.isStalled()) {
        Sleep(kLook);
    }
    endStalledProcess(reason);
}

}  // namespace

void prepareConsole() {
    SetConsoleOutputCP(CP_UTF8);
}

std::vector<std::string> programArguments(const int argc, char** const argv) {
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) {
        return argc < 2 ? std::vector<std::string>() : std::vector<std::string>(argv + 1, argv + argc);
    }
    std::vector<std::string> arguments;
    for (int index = 1; index < count; ++index) {
        arguments.push_back(toUtf8(wide[index]));
    }
    LocalFree(wide);
    return arguments;
}

std::optional<std::string> fileNameForLibrary(const std::string& name) {
    constexpr size_t kMostBytesOfACharacter = 4;
    const std::wstring wide = fromUtf8(name);
    std::string converted(wide.size() * kMostBytesOfACharacter, '\0');
    // The code page for UTF-8 has every character, and takes no question about lacking ones.
    BOOL lacksCharacter = FALSE;
    const bool isUtf8 = GetACP() == CP_UTF8;
    const int size = WideCharToMultiByte(
        CP_ACP, isUtf8 ? 0 : WC_NO_BEST_FIT_CHARS, wide.data(), static_cast<int>(wide.size()), converted.data(),
        static_cast<int>(converted.size()), nullptr, isUtf8 ? nullptr : &lacksCharacter);
    converted.resize(static_cast<size_t>(size));
    return lacksCharacter ? std::nullopt : std::optional(converted);
}

bool standardOutputIsColourTerminal() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) != 0 && SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

std::optional<std::string> environmentVariable(const std::string& name) {
    const wchar_t* const value = _wgetenv(fromUtf8(name).c_str());
    return value == nullptr ? std::nullopt : std::optional(toUtf8(value));
}

std::optional<TerminalSize> terminalSize() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) {
        return std::nullopt;
    }
    const int columns = info.srWindow.Right - info.srWindow.Left + 1;
    const int rows = info.srWindow.Bottom - info.srWindow.Top + 1;
    if (columns < 1 || rows < 1) {
        return std::nullopt;
    }
    return TerminalSize{static_cast<size_t>(columns), static_cast<size_t>(rows)};
}

void holdInterruptions() {}

void holdTerminalSignals() {}

void stopProcess() {}

void quitProcess() {
    std::_Exit(kExitTerminated);
}

bool standardErrorIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

bool isInForeground() {
    return true;
}

void whenInterrupted(std::function<void(Interruption)> handler) {
    interruptionHandler() = std::move(handler);
    SetConsoleCtrlHandler(handleControl, TRUE);
}

void keepLineEnds() {
    _setmode(_fileno(stdout), _O_BINARY);
}

// A write to a pipe without a reader fails with EINVAL in the runtime library.
bool isReaderGone(const int errorNumber) {
    return errorNumber == EPIPE ||
           (errorNumber == EINVAL && GetFileType(GetStdHandle(STD_OUTPUT_HANDLE)) == FILE_TYPE_PIPE);
}

}  // namespace zulstat
