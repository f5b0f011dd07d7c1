#include "console.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <system_error>

#include "exit_codes.h"
#include "output_file.h"
#include "terminal.h"
#include "text_escape.h"

namespace zulstat {
namespace {

namespace fs = std::filesystem;

fs::path pathOf(const std::string& name) {
    return {std::u8string(name.begin(), name.end())};
}

std::string nameOf(const fs::path& path) {
    const std::u8string name = path.u8string();
    return {name.begin(), name.end()};
}

// Nobody else's file has that name.
fs::path besideOf(const fs::path& target) {
    std::random_device random;
    fs::path beside = target;
    beside += ".zulstat-" + std::to_string(random()) + ".tmp";
    return beside;
}

// Where a link leads to, be there a file or not. Names of open descriptors are links, too, but not to be followed: the
// descriptor knows where in the file it stands.
fs::path endOfLinks(fs::path path) {
    constexpr int kMostLinks = 40;
    std::error_code error;
    for (int count = 0; count < kMostLinks && !descriptorNamed(path) && fs::is_symlink(path, error); ++count) {
        const fs::path next = fs::read_symlink(path, error);
        if (error) {
            break;
        }
        path = path.parent_path() / next;
    }
    return path;
}

std::string whyNot() {
    return errno == 0 ? std::string("unknown error") : std::generic_category().message(errno);
}

std::optional<std::string> writeFile(const fs::path& path, const std::string_view text,
                                     const std::ios::openmode mode = std::ios::trunc) {
    errno = 0;
    std::ofstream file(path, std::ios::binary | mode);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    return file ? std::nullopt : std::optional(whyNot());
}

// The work makes the file beside the target that takes its place.
template <class Work>
std::optional<std::string> replaceOrdinaryFile(const fs::path& target, const Work& work) {
    std::error_code error;
    if (fs::is_symlink(target, error)) {
        return std::make_error_code(std::errc::too_many_symbolic_link_levels).message();
    }
    const fs::path beside = besideOf(target);
    std::optional<std::string> fault = work(beside);
    if (!fault) {
        fs::rename(beside, target, error);
        fault = error ? std::optional(error.message()) : std::nullopt;
    }
    if (fault) {
        fs::remove(beside, error);
    }
    return fault;
}

// How far the output has come: what tells output that nobody takes from output that only takes its time.
std::atomic<uint64_t> outputSteps{0};
std::atomic<bool> isOutputUnderWay{false};

class OutputUnderWay {
  public:
    OutputUnderWay() {
        ++outputSteps;
        isOutputUnderWay = true;
    }
    ~OutputUnderWay() {
        isOutputUnderWay = false;
        ++outputSteps;
    }
    OutputUnderWay(const OutputUnderWay&) = delete;
    OutputUnderWay& operator=(const OutputUnderWay&) = delete;
};

WriteOutcome outcomeOf(const bool isWritten) {
    if (isWritten) {
        return {};
    }
    const int error = errno == 0 ? EIO : errno;
    return {error, isReaderGone(error)};
}

}  // namespace

bool standardOutputTakesColour() {
    const std::optional<std::string> noColour = environmentVariable("NO_COLOR");
    const bool isUnwanted = noColour && !noColour->empty();
    return !isUnwanted && standardOutputIsColourTerminal();
}

std::variant<std::string, Fault> readWholeFile(const std::string& name) {
    errno = 0;
    std::string content;
    if (name == "-") {
        constexpr size_t kBlock = 65536;
        std::string block(kBlock, '\0');
        size_t count = 0;
        while ((count = std::fread(block.data(), 1, block.size(), stdin)) > 0) {
            content.append(block, 0, count);
        }
        if (std::ferror(stdin) != 0) {
            return Fault{"standard input cannot be read: " + whyNot() + "."};
        }
        return content;
    }
    std::error_code error;
    if (fs::is_directory(pathOf(name), error)) {
        return Fault{"the file " + quoteText(name) + " cannot be read: it is a folder."};
    }
    std::ifstream file(pathOf(name), std::ios::binary);
    content.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (!file) {
        return Fault{"the file " + quoteText(name) + " cannot be read: " + whyNot() + "."};
    }
    return content;
}

WriteOutcome writeSomeOutput(const std::string_view text) {
    constexpr size_t kStep = 4096;
    const OutputUnderWay underWay;
    errno = 0;
    bool isWritten = true;
    for (size_t start = 0; start < text.size() && isWritten; start += kStep) {
        const std::string_view part = text.substr(start, kStep);
        isWritten = std::fwrite(part.data(), 1, part.size(), stdout) == part.size() && std::fflush(stdout) == 0;
        ++outputSteps;
    }
    return outcomeOf(isWritten);
}

WriteOutcome writeAllOutput(const std::string_view text) {
    const WriteOutcome outcome = writeSomeOutput(text);
    if (outcome.error != 0) {
        return outcome;
    }
    errno = 0;
    if (std::fclose(stdout) != 0) {
        return {errno == 0 ? EIO : errno, false};
    }
    return {};
}

std::optional<std::string> replaceFile(const std::string& name, const std::string_view text) {
    const fs::path target = endOfLinks(pathOf(name));
    if (const auto descriptor = descriptorNamed(target)) {
        return writeToDescriptor(*descriptor, text);
    }
    if (isNoOrdinaryFile(target)) {
        return writeFile(target, text);
    }
    return replaceOrdinaryFile(target, [&](const fs::path& beside) { return writeNewFile(beside, text, target); });
}

std::optional<std::string> replaceFileBy(const std::string& name, const FileWriter& write) {
    const fs::path target = endOfLinks(pathOf(name));
    if (descriptorNamed(target) || isNoOrdinaryFile(target)) {
        return write(name);
    }
    return replaceOrdinaryFile(target, [&](const fs::path& beside) {
        const auto fault = writeNewFile(beside, "", target);
        return fault ? fault : write(nameOf(beside));
    });
}

std::optional<std::string> appendToFile(const std::string& name, const std::string_view text) {
    return writeFile(pathOf(name), text, std::ios::app);
}

void endProcessWhenInterrupted() {
    whenInterrupted([](const Interruption interruption) {
        if (interruption != Interruption::resized) {
            endProcess(kExitInterrupted);
        }
    });
}

bool StallDetector::isStalled() {
    // Output is not waited for long; what ends by itself within its own limits, such as a goodbye, takes longer.
    constexpr std::chrono::seconds kLongestStep{1};
    constexpr std::chrono::seconds kLongestEnding{5};
    const auto now = std::chrono::steady_clock::now();
    const uint64_t steps = outputSteps;
    if (steps_ != steps) {
        steps_ = steps;
        lastMove_ = now;
    }
    return now - lastMove_ >= (isOutputUnderWay ? kLongestStep : kLongestEnding);
}

// Nothing is flushed: another thread may hold the stream while it waits.
void endStalledProcess(const Interruption reason) {
    giveScreenBackAtOnce();
    if (reason == Interruption::quit) {
        quitProcess();
    }
    std::_Exit(reason == Interruption::wanted ? kExitInterrupted : kExitTerminated);
}

void endProcess(const int exitCode) {
    std::fflush(stderr);
    std::_Exit(exitCode);
}

}  // namespace zulstat
