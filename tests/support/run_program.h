// Runs a program to its end, bounded in time, and tells what it wrote and how it ended.
#ifndef ZULSTATS_TESTS_SUPPORT_RUN_PROGRAM_H
#define ZULSTATS_TESTS_SUPPORT_RUN_PROGRAM_H

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

enum class OutputTarget {
    captured,    // a pipe, read to its end
    readerGone,  // a pipe whose reader has gone before the program starts
    file,        // the file that ProgramRun::outputFile names
    terminal,    // a pseudo-terminal, read to its end; POSIX only
    closed,      // no standard output at all; POSIX only
};

struct ProgramRun {
    std::vector<std::string> arguments;  // in UTF-8
    // Changes to this process's environment; no value takes the variable away.
    std::vector<std::pair<std::string, std::optional<std::string>>> environment;
    OutputTarget output = OutputTarget::captured;
    std::string outputFile;
    std::string inputFile;  // what standard input reads; empty: nothing
    std::chrono::seconds limit{60};
};

struct ProgramOutcome {
    bool wasKilled = false;  // it did not end within the limit
    int exitCode = -1;       // -1 also when a signal ended it
    std::string standardOutput;
    std::string standardError;
};

// Throws std::runtime_error when the program cannot be started.
ProgramOutcome runProgram(const std::string& program, const ProgramRun& run);

inline ProgramOutcome runProgram(const std::string& program, const std::vector<std::string>& arguments) {
    ProgramRun run;
    run.arguments = arguments;
    return runProgram(program, run);
}

}  // namespace test_support

#endif
