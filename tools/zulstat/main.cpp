#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <variant>

#include "command_line.h"
#include "console.h"
#include "exit_codes.h"
#include "json_output.h"
#include "messages.h"
#include "report.h"
#include "report_under_way.h"
#include "session.h"
#include "table_output.h"
#include "text_escape.h"
#include "zulstats64.h"

namespace zulstat {
namespace {

// Closing waits for the gateway's goodbye; nobody who has the answer should wait for it long.
constexpr std::chrono::seconds kCloseLimit{2};

void printError(const std::string& message) {
    const std::string line = "zulstat: " + message + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string apiVersion() {
    char* version = nullptr;
    return getStatsAPIVersion(&version) == STAPI_RC_OK ? version : "unknown";
}

std::string versionText() {
    return "zulstat " ZULSTAT_VERSION " (library API " + apiVersion() + ")";
}

// The output's own failure wins over every other exit code.
int writeOutput(const std::string& text, const int exitCode) {
    const WriteOutcome outcome = writeAllOutput(text);
    if (outcome.error == 0) {
        return exitCode;
    }
    if (!outcome.isReaderGone) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody else calls it; the library has its own.
        printError("the output cannot be written: " + std::string(std::strerror(outcome.error)) +
                   ". Is the disk full, or standard output closed?");
    }
    return kExitOutputFailed;
}

// The file comes first, so that not a single line goes to standard error.
bool startTrace(const CommandLine& commandLine) {
    int32_t code = STAPI_RC_OK;
    std::string action;
    if (commandLine.traceFile) {
        action = "trace to " + quoteText(*commandLine.traceFile);
        const std::optional<std::string> name = fileNameForLibrary(*commandLine.traceFile);
        code = name ? setAPITraceFile(name->c_str()) : STAPI_RC_TRACE_FILE_FAILED;
    }
    if (code == STAPI_RC_OK && commandLine.traceLevel) {
        action = "set the trace level";
        code = setAPITraceLevel(*commandLine.traceLevel);
    }
    if (code != STAPI_RC_OK) {
        printError("cannot " + action + ": " + describeCode(code));
    }
    return code == STAPI_RC_OK;
}

int exitCodeOf(const Report& report) {
    if (report.failure) {
        return report.failure->stage == Failure::Stage::connecting ? kExitCannotConnect : kExitQueryFailed;
    }
    return countFailedElements(report) == 0 ? kExitOk : kExitElementFailed;
}

std::string render(const Report& report, const OutputFormat format) {
    if (format == OutputFormat::json) {
        return renderJson(report, {ZULSTAT_VERSION, apiVersion()});
    }
    return renderTables(report, standardOutputTakesColour());
}

int showReport(const Report& report, const OutputFormat format) {
    const int exitCode = writeOutput(render(report, format), exitCodeOf(report));
    for (const std::string& remark : describeRemarks(report)) {
        printError(remark);
    }
    if (report.failure) {
        printError(describeFailure(*report.failure, report.host, report.port));
    }
    return exitCode;
}

int showSession(ReportUnderWay& underWay, const CommandLine& commandLine) {
    const Report report = underWay.waitForReport(std::chrono::seconds(commandLine.timeLimitSeconds));
    const int exitCode = showReport(report, commandLine.format);
    if (!underWay.isAnswered() || !underWay.waitUntilFinished(kCloseLimit)) {
        endProcess(exitCode);
    }
    return exitCode;
}

int run(const CommandLine& commandLine) {
    if (!startTrace(commandLine)) {
        return kExitUsage;
    }
    const auto underWay = std::make_shared<ReportUnderWay>(commandLine.host, commandLine.port);
    std::thread talker([=] { runSession(commandLine.host, commandLine.port, commandLine.queries, *underWay); });
    try {
        const int exitCode = showSession(*underWay, commandLine);
        talker.join();
        return exitCode;
    } catch (...) {
        talker.detach();
        throw;
    }
}

int runProgram(const std::vector<std::string>& arguments) {
    const auto parsed = parseCommandLine(arguments, versionText);
    if (const auto* const end = std::get_if<EarlyEnd>(&parsed)) {
        std::fwrite(end->standardError.data(), 1, end->standardError.size(), stderr);
        return writeOutput(end->standardOutput, end->exitCode);
    }
    return run(std::get<CommandLine>(parsed));
}

}  // namespace
}  // namespace zulstat

int main(int argc, char** argv) {
    try {
        zulstat::prepareConsole();
        return zulstat::runProgram(zulstat::programArguments(argc, argv));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zulstat: cannot go on: %s\n", error.what());
        zulstat::endProcess(zulstat::kExitQueryFailed);
    }
}
