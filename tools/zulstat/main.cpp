#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <variant>

#include "command_line.h"
#include "command_table.h"
#include "console.h"
#include "doctor.h"
#include "exit_codes.h"
#include "messages.h"
#include "one_shot.h"
#include "ping.h"
#include "program_output.h"
#include "text_escape.h"
#include "watch.h"
#include "zulstats64.h"

namespace zulstat {
namespace {

std::string versionText() {
    return "zulstat " + programVersion() + " (library API " + apiVersion() + ")";
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

int showCompletion(const std::string& shell) {
    keepLineEnds();
    if (shell == "man") {
        return writeOutput(manualPage(programVersion()), std::nullopt, kExitOk);
    }
    const Shell wanted = shell == "zsh" ? Shell::zsh : shell == "fish" ? Shell::fish : Shell::bash;
    return writeOutput(completionScript(wanted), std::nullopt, kExitOk);
}

int runCommand(const CommandLine& commandLine) {
    switch (commandLine.command) {
        case Command::watch:
            return runWatch(commandLine);
        case Command::check:
            return runCheck(commandLine);
        case Command::ping:
            return runPing(commandLine);
        case Command::doctor:
            return runDoctor(commandLine);
        case Command::dump:
            return runDump(commandLine);
        case Command::completion:
            return showCompletion(commandLine.completionFor);
        case Command::groups:
        case Command::ids:
        case Command::stats:
            break;
    }
    return runOneShot(commandLine);
}

int runProgram(const std::vector<std::string>& arguments) {
    const auto parsed = parseCommandLine(arguments, {versionText, environmentVariable, readWholeFile});
    if (const auto* const end = std::get_if<EarlyEnd>(&parsed)) {
        std::fwrite(end->standardError.data(), 1, end->standardError.size(), stderr);
        return writeOutput(end->standardOutput, std::nullopt, end->exitCode);
    }
    const auto& commandLine = std::get<CommandLine>(parsed);
    // The library's first call is made here, because two threads that make it at once may disturb each other.
    apiVersion();
    holdInterruptions();
    return startTrace(commandLine) ? runCommand(commandLine) : kExitUsage;
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
