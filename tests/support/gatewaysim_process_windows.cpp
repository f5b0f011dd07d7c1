#include <windows.h>

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "create_process_windows.h"
#include "gatewaysim_process_child.h"

namespace test_support {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr UINT kKilled = 137;

[[noreturn]] void failWithLastError(const std::string& what) {
    throw std::runtime_error(what + ": " + std::system_category().message(static_cast<int>(GetLastError())));
}

class Handle {
  public:
    explicit Handle(HANDLE value = nullptr) : value_(value) {}
    ~Handle() {
        reset();
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    HANDLE get() const {
        return value_;
    }
    void reset(HANDLE value = nullptr) {
        if (value_ != nullptr && value_ != INVALID_HANDLE_VALUE) {
            CloseHandle(value_);
        }
        value_ = value;
    }

  private:
    HANDLE value_;
};

SECURITY_ATTRIBUTES inheritable() {
    return {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
}

void keepFromChildren(const Handle& handle) {
    SetHandleInformation(handle.get(), HANDLE_FLAG_INHERIT, 0);
}

void makePipe(Handle& readEnd, Handle& writeEnd) {
    SECURITY_ATTRIBUTES attributes = inheritable();
    HANDLE readHandle = nullptr;
    HANDLE writeHandle = nullptr;
    if (CreatePipe(&readHandle, &writeHandle, &attributes, 0) == 0) {
        failWithLastError("cannot create a pipe");
    }
    readEnd.reset(readHandle);
    writeEnd.reset(writeHandle);
}

std::string temporaryFileName() {
    std::array<char, MAX_PATH + 1> folder{};
    std::array<char, MAX_PATH + 1> name{};
    GetTempPathA(static_cast<DWORD>(folder.size()), folder.data());
    if (GetTempFileNameA(folder.data(), "sim", 0, name.data()) == 0) {
        failWithLastError("cannot create a temporary file");
    }
    return name.data();
}

// So that the program's own splitting of the command line gives the same text again.
std::string quotedArgument(const std::string& argument) {
    std::string text = "\"";
    size_t backslashes = 0;
    for (const char character : argument) {
        if (character == '"') {
            text.append(backslashes + 1, '\\');
        }
        backslashes = character == '\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, '\\') + "\"";
}

// Hands exactly these handles to the child: another child that is started meanwhile gets none of them.
class HandleList {
  public:
    explicit HandleList(std::array<HANDLE, 3> handles) : handles_(handles) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        if (InitializeProcThreadAttributeList(get(), 1, 0, &size) == 0 ||
            UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(), sizeof handles_,
                                      nullptr, nullptr) == 0) {
            failWithLastError("cannot list the handles of a child process");
        }
    }
    ~HandleList() {
        DeleteProcThreadAttributeList(get());
    }
    HandleList(const HandleList&) = delete;
    HandleList& operator=(const HandleList&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST get() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
    }

  private:
    std::array<HANDLE, 3> handles_;
    std::vector<char> memory_;
};

}  // namespace

struct LocalChild::State {
    Handle process;
    Handle job;
    Handle input;
    Handle output;
    Handle errors;
    DWORD id = 0;
    std::thread reader;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::string outputSoFar;
    bool outputEnded = false;

    void readOutput() {
        std::array<char, 4096> piece{};
        DWORD count = 0;
        while (ReadFile(output.get(), piece.data(), static_cast<DWORD>(piece.size()), &count, nullptr) != 0 &&
               count > 0) {
            const std::lock_guard lock(mutex);
            outputSoFar.append(piece.data(), count);
            changed.notify_all();
        }
        const std::lock_guard lock(mutex);
        outputEnded = true;
        changed.notify_all();
    }

    void createJob() {
        job.reset(CreateJobObjectA(nullptr, nullptr));
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }

    void start(const std::string& program, std::string commandLine, std::array<HANDLE, 3> streams) {
        HandleList inherited(streams);
        STARTUPINFOEXA startup{};
        startup.StartupInfo.cb = sizeof startup;
        startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        startup.StartupInfo.hStdInput = streams[0];
        startup.StartupInfo.hStdOutput = streams[1];
        startup.StartupInfo.hStdError = streams[2];
        startup.lpAttributeList = inherited.get();
        PROCESS_INFORMATION started{};
        const auto create = [&] {
            return CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                                  EXTENDED_STARTUPINFO_PRESENT | CREATE_SUSPENDED, nullptr, nullptr,
                                  &startup.StartupInfo, &started);
        };
        if (!createProcessAtLast(create)) {
            failWithLastError("cannot execute " + program);
        }
        process.reset(started.hProcess);
        id = started.dwProcessId;
        AssignProcessToJobObject(job.get(), process.get());
        ResumeThread(started.hThread);
        CloseHandle(started.hThread);
    }
};

LocalChild::LocalChild(const std::string& program, const std::vector<std::string>& arguments)
    : state_(std::make_unique<State>()) {
    Handle inputOfChild;
    Handle outputOfChild;
    makePipe(inputOfChild, state_->input);
    makePipe(state_->output, outputOfChild);
    keepFromChildren(state_->input);
    keepFromChildren(state_->output);
    const std::string errorFile = temporaryFileName();
    SECURITY_ATTRIBUTES attributes = inheritable();
    const Handle errorsOfChild(CreateFileA(errorFile.c_str(), GENERIC_WRITE, kShareAll, &attributes, CREATE_ALWAYS,
                                           FILE_ATTRIBUTE_TEMPORARY, nullptr));
    state_->errors.reset(CreateFileA(errorFile.c_str(), GENERIC_READ | DELETE, kShareAll, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (errorsOfChild.get() == INVALID_HANDLE_VALUE || state_->errors.get() == INVALID_HANDLE_VALUE) {
        failWithLastError("cannot open a temporary file");
    }
    std::string commandLine = quotedArgument(program);
    for (const std::string& argument : arguments) {
        commandLine += ' ';
        commandLine += quotedArgument(argument);
    }
    state_->createJob();
    state_->start(program, commandLine, {inputOfChild.get(), outputOfChild.get(), errorsOfChild.get()});
    // Else the output would never end.
    outputOfChild.reset();
    state_->reader = std::thread([state = state_.get()] { state->readOutput(); });
}

LocalChild::~LocalChild() {
    if (WaitForSingleObject(state_->process.get(), 0) != WAIT_OBJECT_0) {
        TerminateProcess(state_->process.get(), kKilled);
        WaitForSingleObject(state_->process.get(), INFINITE);
    }
    state_->reader.join();
}

int64_t LocalChild::processId() const {
    return state_->id;
}

std::optional<std::string> LocalChild::firstLine(std::chrono::milliseconds atMost) {
    std::unique_lock lock(state_->mutex);
    size_t lineEnd = std::string::npos;
    state_->changed.wait_for(lock, atMost, [&] {
        lineEnd = state_->outputSoFar.find('\n');
        return lineEnd != std::string::npos || state_->outputEnded;
    });
    return lineEnd == std::string::npos ? std::nullopt : std::optional(state_->outputSoFar.substr(0, lineEnd));
}

void LocalChild::closeStandardInput() {
    state_->input.reset();
}

std::optional<int> LocalChild::waitForEnd(std::chrono::milliseconds atMost) {
    std::unique_lock lock(state_->mutex);
    if (!state_->changed.wait_for(lock, atMost, [&] { return state_->outputEnded; }) ||
        WaitForSingleObject(state_->process.get(), static_cast<DWORD>(atMost.count())) != WAIT_OBJECT_0) {
        return std::nullopt;
    }
    DWORD exitCode = 0;
    GetExitCodeProcess(state_->process.get(), &exitCode);
    return static_cast<int>(exitCode);
}

std::string LocalChild::standardOutput() const {
    const std::lock_guard lock(state_->mutex);
    return state_->outputSoFar;
}

std::string LocalChild::standardError() const {
    LARGE_INTEGER size{};
    GetFileSizeEx(state_->errors.get(), &size);
    std::string text(static_cast<size_t>(size.QuadPart), '\0');
    OVERLAPPED fromTheStart{};
    DWORD count = 0;
    ReadFile(state_->errors.get(), text.data(), static_cast<DWORD>(text.size()), &count, &fromTheStart);
    text.resize(count);
    return text;
}

std::string argumentOutside(const std::string& argument) {
    using UnixFileName = char*(CDECL*)(const wchar_t*);
    const FARPROC found = GetProcAddress(GetModuleHandleA("kernel32.dll"), "wine_get_unix_file_name");
    std::string result = argument;
    if (found != nullptr && argument.size() > 2 && argument.compare(1, 2, ":\\") == 0) {
        char* const name =
            reinterpret_cast<UnixFileName>(reinterpret_cast<void*>(found))(std::filesystem::path(argument).c_str());
        if (name != nullptr) {
            result = name;
            HeapFree(GetProcessHeap(), 0, name);
        }
    }
    return result;
}

}  // namespace test_support
