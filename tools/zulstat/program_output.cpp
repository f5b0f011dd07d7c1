#include "program_output.h"

#include <cstdio>
#include <system_error>

#include "console.h"
#include "exit_codes.h"
#include "text_escape.h"
#include "zulstats64.h"

namespace zulstat {
namespace {

int outputFailed(const std::string& reason) {
    printError("the output cannot be written: " + reason);
    return kExitOutputFailed;
}

int exitCodeAfter(const WriteOutcome& outcome, const int exitCode) {
    if (outcome.error == 0) {
        return exitCode;
    }
    if (outcome.isReaderGone) {
        return kExitOutputFailed;
    }
    return outputFailed(std::generic_category().message(outcome.error) +
                        ". Is the disk full, or standard output closed?");
}

}  // namespace

void printError(const std::string& message) {
    const std::string line = "zulstat: " + message + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string programVersion() {
    return ZULSTAT_VERSION;
}

std::string apiVersion() {
    char* version = nullptr;
    return getStatsAPIVersion(&version) == STAPI_RC_OK ? version : "unknown";
}

bool takesColour(const ColorChoice choice) {
    return choice == ColorChoice::always || (choice == ColorChoice::automatic && standardOutputTakesColour());
}

int writeOutput(const std::string_view text, const std::optional<std::string>& file, const int exitCode) {
    if (file) {
        const auto fault = replaceFile(*file, text);
        return fault ? outputFailed("file " + quoteText(*file) + ": " + *fault + ".") : exitCode;
    }
    return exitCodeAfter(writeAllOutput(text), exitCode);
}

int writeMoreOutput(const std::string_view text) {
    return exitCodeAfter(writeSomeOutput(text), kExitOk);
}

int exitCodeOf(const Report& report) {
    if (report.failure) {
        if (report.failure->kind == Failure::Kind::interrupted) {
            return kExitInterrupted;
        }
        return report.failure->stage == Failure::Stage::connecting ? kExitCannotConnect : kExitQueryFailed;
    }
    return countFailedElements(report) == 0 ? kExitOk : kExitElementFailed;
}

}  // namespace zulstat
