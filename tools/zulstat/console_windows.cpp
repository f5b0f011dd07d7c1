#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// shellapi.h needs windows.h before it.
#include <shellapi.h>

#include <cerrno>

#include "console.h"

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

bool standardOutputIsColourTerminal() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) != 0 && SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

// A write to a pipe without a reader fails with EINVAL in the runtime library.
bool isReaderGone(const int errorNumber) {
    return errorNumber == EPIPE ||
           (errorNumber == EINVAL && GetFileType(GetStdHandle(STD_OUTPUT_HANDLE)) == FILE_TYPE_PIPE);
}

}  // namespace zulstat
