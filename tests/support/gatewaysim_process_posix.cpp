#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "gatewaysim_process_child.h"

namespace test_support {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kCannotExecute = 127;

[[noreturn]] void failWithErrno(const std::string& what) {
    throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() {
        reset();
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const {
        return number_;
    }
    void reset(int number = -1) {
        if (number_ >= 0) {
            close(number_);
        }
        number_ = number;
    }

  private:
    int number_;
};

void makePipe(Descriptor& readEnd, Descriptor& writeEnd) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        failWithErrno("cannot create a pipe");
    }
    readEnd.reset(ends[0]);
    writeEnd.reset(ends[1]);
}

// Between fork and exec: nothing but calls that are safe in a copy of a program with threads.
[[noreturn]] void becomeProgram(pid_t parent, int input, int output, int errors, char* const* arguments) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == parent && dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
        dup2(errors, STDERR_FILENO) >= 0) {
        execv(arguments[0], arguments);
    }
    _exit(kCannotExecute);
}

}  // namespace

struct LocalChild::State {
    pid_t process = -1;
    Descriptor input;
    Descriptor output;
    Descriptor errors;
    std::string outputSoFar;
    bool outputEnded = false;
    std::optional<int> exitCode;

    // Takes one piece of output, or its end. False when the time is over before.
    bool takeOutput(SteadyClock::time_point end) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - SteadyClock::now()).count();
        pollfd waiting{output.get(), POLLIN, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(std::max<int64_t>(left, 0)));
        if (ready < 0 && errno == EINTR) {
            return true;
        }
        if (ready <= 0) {
            return false;
        }
        std::array<char, 4096> piece{};
        const ssize_t count = read(output.get(), piece.data(), piece.size());
        if (count > 0) {
            outputSoFar.append(piece.data(), static_cast<size_t>(count));
        } else if (count == 0) {
            outputEnded = true;
        }
        return true;
    }

    void reap() {
        int status = 0;
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
};

LocalChild::LocalChild(const std::string& program, const std::vector<std::string>& arguments)
    : state_(std::make_unique<State>()) {
    if (access(program.c_str(), X_OK) != 0) {
        failWithErrno("cannot execute " + program);
    }
    Descriptor inputOfChild;
    Descriptor outputOfChild;
    makePipe(inputOfChild, state_->input);
    makePipe(state_->output, outputOfChild);
    state_->errors.reset(memfd_create("standard-error", MFD_CLOEXEC));
    if (state_->errors.get() < 0) {
        failWithErrno("cannot create a file in memory");
    }
    std::vector<std::string> texts{program};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    const pid_t parent = getpid();
    state_->process = fork();
    if (state_->process < 0) {
        failWithErrno("cannot fork");
    }
    if (state_->process == 0) {
        becomeProgram(parent, inputOfChild.get(), outputOfChild.get(), state_->errors.get(), pointers.data());
    }
}

LocalChild::~LocalChild() {
    if (!state_->exitCode.has_value()) {
        kill(state_->process, SIGKILL);
        state_->reap();
    }
}

int64_t LocalChild::processId() const {
    return state_->process;
}

std::optional<std::string> LocalChild::firstLine(std::chrono::milliseconds atMost) {
    const auto end = SteadyClock::now() + atMost;
    size_t lineEnd = state_->outputSoFar.find('\n');
    while (lineEnd == std::string::npos && !state_->outputEnded && state_->takeOutput(end)) {
        lineEnd = state_->outputSoFar.find('\n');
    }
    return lineEnd == std::string::npos ? std::nullopt : std::optional(state_->outputSoFar.substr(0, lineEnd));
}

void LocalChild::closeStandardInput() {
    state_->input.reset();
}

std::optional<int> LocalChild::waitForEnd(std::chrono::milliseconds atMost) {
    const auto end = SteadyClock::now() + atMost;
    // The child alone holds the other end of its output, until it ends.
    while (!state_->outputEnded && state_->takeOutput(end)) {
    }
    if (!state_->outputEnded) {
        return std::nullopt;
    }
    if (!state_->exitCode.has_value()) {
        state_->reap();
    }
    return state_->exitCode;
}

std::string LocalChild::standardOutput() const {
    return state_->outputSoFar;
}

std::string LocalChild::standardError() const {
    struct stat status {};
    fstat(state_->errors.get(), &status);
    std::string text(static_cast<size_t>(status.st_size), '\0');
    const ssize_t count = pread(state_->errors.get(), text.data(), text.size(), 0);
    text.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

std::string argumentOutside(const std::string& argument) {
    return argument;
}

}  // namespace test_support
