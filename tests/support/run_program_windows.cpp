#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

#include "create_process_windows.h"
#include "owned_handle.h"
#include "run_program.h"

namespace test_support {
namespace {

[[noreturn]] void failWith(const std::string& action) {
    throw std::runtime_error("cannot " + action + ": Windows error " + std::to_string(GetLastError()));
}

struct HandleKind {
    using Value = HANDLE;
    static HANDLE none() {
        return nullptr;
    }
    static void close(HANDLE handle) {
        CloseHandle(handle);
    }
};
using Handle = OwnedHandle<HandleKind>;

struct Channel {
    Handle ours;
    Handle theirs;
};

SECURITY_ATTRIBUTES inheritable() {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

Channel makePipe() {
    SECURITY_ATTRIBUTES attributes = inheritable();
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (CreatePipe(&readEnd, &writeEnd, &attributes, 0) == 0) {
        failWith("make a pipe");
    }
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    return {Handle(readEnd), Handle(writeEnd)};
}

Handle openFile(const std::string& name, DWORD access, DWORD creation) {
    SECURITY_ATTRIBUTES attributes = inheritable();
    const HANDLE file = CreateFileA(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes, creation,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        failWith("open " + name);
    }
    return Handle(file);
}

Channel makeOutputChannel(const ProgramRun& run) {
    switch (run.output) {
        case OutputTarget::captured:
            return makePipe();
        case OutputTarget::readerGone: {
            Channel channel = makePipe();
            channel.ours.close();
            return channel;
        }
        case OutputTarget::file:
            return {Handle(), openFile(run.outputFile, GENERIC_WRITE, CREATE_ALWAYS)};
        case OutputTarget::terminal:
        case OutputTarget::closed:
            break;
    }
    throw std::runtime_error("this kind of standard output does not exist on Windows");
}

// As the runtime library of the started program takes its command line apart.
std::string quoteArgument(const std::string& argument) {
    std::string quoted = "\"";
    size_t backslashes = 0;
    for (const char character : argument) {
        if (character == '\\') {
            ++backslashes;
            continue;
        }
        quoted.append(character == '"' ? 2 * backslashes + 1 : backslashes, '\\');
        backslashes = 0;
        quoted += character;
    }
    quoted.append(2 * backslashes, '\\');
    return quoted + '"';
}

std::string makeCommandLine(const std::string& program, const ProgramRun& run) {
    std::string line = quoteArgument(program);
    for (const std::string& argument : run.arguments) {
        line += ' ' + quoteArgument(argument);
    }
    return line;
}

std::string makeEnvironment(const ProgramRun& run) {
    std::vector<std::string> variables;
    char* const block = GetEnvironmentStringsA();
    for (const char* variable = block; *variable != '\0'; variable += std::string_view(variable).size() + 1) {
        const std::string_view text = variable;
        const bool isChanged = std::any_of(run.environment.begin(), run.environment.end(),
                                           [&](const auto& change) { return text.starts_with(change.first + "="); });
        if (!isChanged) {
            variables.emplace_back(text);
        }
    }
    FreeEnvironmentStringsA(block);
    for (const auto& [name, value] : run.environment) {
        if (value) {
            variables.push_back(name + "=" + *value);
        }
    }
    std::string joined;
    for (const std::string& variable : variables) {
        joined += variable + '\0';
    }
    return joined + '\0';
}

std::wstring fromUtf8(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    const int length = static_cast<int>(text.size());
    const int count = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), length);
    wide.resize(static_cast<size_t>(count));
    return wide;
}

// The handles that a child inherits, and no others: a pipe end in a second child would keep the first one's pipe open.
class InheritedHandles {
  public:
    explicit InheritedHandles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        if (InitializeProcThreadAttributeList(list(), 1, 0, &size) == 0 ||
            UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                      handles_.size() * sizeof(HANDLE), nullptr, nullptr) == 0) {
            failWith("list the inherited handles");
        }
    }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    ~InheritedHandles() {
        DeleteProcThreadAttributeList(list());
    }

    LPPROC_THREAD_ATTRIBUTE_LIST list() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
    }

  private:
    std::vector<HANDLE> handles_;
    std::vector<std::byte> memory_;
};

Handle startChild(const std::string& program, const ProgramRun& run, HANDLE input, HANDLE output, HANDLE error) {
    InheritedHandles inherited({input, output, error});
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = input;
    startup.StartupInfo.hStdOutput = output;
    startup.StartupInfo.hStdError = error;
    startup.lpAttributeList = inherited.list();
    std::wstring commandLine = fromUtf8(makeCommandLine(program, run));
    std::string environment = makeEnvironment(run);
    PROCESS_INFORMATION process{};
    const auto create = [&] {
        return CreateProcessW(fromUtf8(program).c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                              EXTENDED_STARTUPINFO_PRESENT, environment.data(), nullptr, &startup.StartupInfo,
                              &process);
    };
    if (!createProcessAtLast(create)) {
        failWith("run " + program);
    }
    CloseHandle(process.hThread);
    return Handle(process.hProcess);
}

void readAll(HANDLE source, std::string& text) {
    std::array<char, 4096> buffer{};
    DWORD count = 0;
    while (source != nullptr &&
           ReadFile(source, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) != 0 && count > 0) {
        text.append(buffer.data(), count);
    }
}

}  // namespace

ProgramOutcome runProgram(const std::string& program, const ProgramRun& run) {
    const Handle input = openFile(run.inputFile.empty() ? "NUL" : run.inputFile, GENERIC_READ, OPEN_EXISTING);
    Channel output = makeOutputChannel(run);
    Channel error = makePipe();
    const Handle child = startChild(program, run, input.get(), output.theirs.get(), error.theirs.get());
    output.theirs.close();
    error.theirs.close();

    ProgramOutcome outcome;
    std::thread outputReader([&] { readAll(output.ours.get(), outcome.standardOutput); });
    std::thread errorReader([&] { readAll(error.ours.get(), outcome.standardError); });
    const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(run.limit).count();
    outcome.wasKilled = WaitForSingleObject(child.get(), static_cast<DWORD>(limit)) != WAIT_OBJECT_0;
    if (outcome.wasKilled) {
        TerminateProcess(child.get(), 1);
        WaitForSingleObject(child.get(), INFINITE);
    }
    outputReader.join();
    errorReader.join();
    DWORD exitCode = 0;
    if (!outcome.wasKilled && GetExitCodeProcess(child.get(), &exitCode) != 0) {
        outcome.exitCode = static_cast<int>(exitCode);
    }
    return outcome;
}

}  // namespace test_support
