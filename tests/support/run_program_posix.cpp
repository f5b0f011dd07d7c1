#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "owned_handle.h"
#include "run_program.h"

namespace test_support {
namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void failWith(const std::string& action) {
    throw std::runtime_error("cannot " + action + ": " + std::strerror(errno));
}

struct DescriptorKind {
    using Value = int;
    static int none() {
        return -1;
    }
    static void close(int descriptor) {
        ::close(descriptor);
    }
};
using Descriptor = OwnedHandle<DescriptorKind>;

struct Channel {
    Descriptor ours;
    Descriptor theirs;
};

Channel makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        failWith("make a pipe");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Channel makeTerminal() {
    Descriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    std::array<char, 128> name{};
    if (!master.isOpen() || ::grantpt(master.get()) != 0 || ::unlockpt(master.get()) != 0 ||
        ::ptsname_r(master.get(), name.data(), name.size()) != 0) {
        failWith("make a pseudo-terminal");
    }
    Descriptor slave(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!slave.isOpen()) {
        failWith("open a pseudo-terminal");
    }
    return {std::move(master), std::move(slave)};
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
        case OutputTarget::file: {
            Descriptor file(::open(run.outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
            if (!file.isOpen()) {
                failWith("open " + run.outputFile);
            }
            return {Descriptor(), std::move(file)};
        }
        case OutputTarget::terminal:
            return makeTerminal();
        case OutputTarget::closed:
            break;
    }
    return {};
}

std::vector<std::string> makeEnvironment(const ProgramRun& run) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view text = *variable;
        const bool isChanged = std::any_of(run.environment.begin(), run.environment.end(),
                                           [&](const auto& change) { return text.starts_with(change.first + "="); });
        if (!isChanged) {
            variables.emplace_back(text);
        }
    }
    for (const auto& [name, value] : run.environment) {
        if (value) {
            variables.push_back(name + "=" + *value);
        }
    }
    return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

struct ChildPlan {
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    int input;
    int output;  // -1: closed
    int error;
    int alive;  // stays open until the child has ended
};

// Between fork and exec: system calls only.
[[noreturn]] void becomeProgram(const ChildPlan& plan, char* const* argv, char* const* envp) {
    constexpr int kCannotStart = 127;
    std::signal(SIGPIPE, SIG_DFL);
    const bool isPrepared = ::dup2(plan.input, STDIN_FILENO) >= 0 && ::dup2(plan.error, STDERR_FILENO) >= 0 &&
                            (plan.output < 0 ? ::close(STDOUT_FILENO) == 0 : ::dup2(plan.output, STDOUT_FILENO) >= 0) &&
                            ::fcntl(plan.alive, F_SETFD, 0) == 0;
    if (isPrepared) {
        ::execve(argv[0], argv, envp);
    }
    ::_exit(kCannotStart);
}

pid_t startChild(ChildPlan& plan) {
    const std::vector<char*> argv = pointersTo(plan.arguments);
    const std::vector<char*> envp = pointersTo(plan.environment);
    const pid_t child = ::fork();
    if (child < 0) {
        failWith("fork");
    }
    if (child == 0) {
        becomeProgram(plan, argv.data(), envp.data());
    }
    return child;
}

// Returns whether more may come. A pseudo-terminal whose other side is closed reports an error instead of an end.
bool readSome(int descriptor, std::string& text) {
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count > 0) {
        text.append(buffer.data(), static_cast<size_t>(count));
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

struct Source {
    Descriptor* descriptor;
    std::string* text;
};

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<int64_t>(left, 0));
}

// Returns false when the deadline passed before every source was at its end.
bool readAll(const std::vector<Source>& sources, Clock::time_point deadline) {
    while (true) {
        std::vector<pollfd> waits;
        waits.reserve(sources.size());
        for (const Source& source : sources) {
            waits.push_back({source.descriptor->get(), POLLIN, 0});
        }
        const bool isAnyOpen = std::any_of(waits.begin(), waits.end(), [](const pollfd& wait) { return wait.fd >= 0; });
        if (!isAnyOpen) {
            return true;
        }
        const int ready = ::poll(waits.data(), waits.size(), millisecondsUntil(deadline));
        if (ready == 0) {
            return false;
        }
        for (size_t index = 0; ready > 0 && index < sources.size(); ++index) {
            const bool isReady = waits[index].revents != 0;
            if (isReady && !readSome(sources[index].descriptor->get(), *sources[index].text)) {
                sources[index].descriptor->close();
            }
        }
    }
}

int waitForEnd(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            failWith("wait for the program");
        }
    }
    return status;
}

}  // namespace

ProgramOutcome runProgram(const std::string& program, const ProgramRun& run) {
    if (::access(program.c_str(), X_OK) != 0) {
        failWith("run " + program);
    }
    const char* const inputName = run.inputFile.empty() ? "/dev/null" : run.inputFile.c_str();
    const Descriptor input(::open(inputName, O_RDONLY | O_CLOEXEC));
    Channel output = makeOutputChannel(run);
    Channel error = makePipe();
    Channel alive = makePipe();

    ChildPlan plan{{program},           makeEnvironment(run), input.get(),
                   output.theirs.get(), error.theirs.get(),   alive.theirs.get()};
    plan.arguments.insert(plan.arguments.end(), run.arguments.begin(), run.arguments.end());
    const pid_t child = startChild(plan);
    output.theirs.close();
    error.theirs.close();
    alive.theirs.close();

    ProgramOutcome outcome;
    std::string nothing;
    const std::vector<Source> sources{
        {&output.ours, &outcome.standardOutput}, {&error.ours, &outcome.standardError}, {&alive.ours, &nothing}};
    outcome.wasKilled = !readAll(sources, Clock::now() + run.limit);
    if (outcome.wasKilled) {
        ::kill(child, SIGKILL);
    }
    const int status = waitForEnd(child);
    if (WIFEXITED(status)) {
        outcome.exitCode = WEXITSTATUS(status);
    }
    return outcome;
}

}  // namespace test_support
