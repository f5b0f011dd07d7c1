#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <variant>

#include "command_line.h"
#include "command_table.h"
#include "console.h"
#include "doctor.h"
#include "exit_codes.h"
#include "messages.h"
#include "one_shot.h"
#include "ping.h"
#include "probe_socket.h"
#include "program_output.h"
#include "text_escape.h"
#include "watch.h"
#include "zulstats64.h"

namespace zulstat {
namespace {

std::string versionText() {
    return "zulstat " + programVersion() + " (library API " + apiVersion() + ")";
}

// The file comes first, so that not a single line goes to standard error. What went wrong, if anything did.
std::optional<std::string> startTrace(const CommandLine& commandLine) {
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
    return code == STAPI_RC_OK ? std::nullopt : std::optional("cannot " + action + ": " + describeCode(code));
}

// Every gateway has a connection at the same time.
std::optional<std::string> findLackOfDescriptors(const CommandLine& commandLine) {
    constexpr size_t kOthers = 8;  // the trace, the output, the name service
    const size_t wanted = commandLine.gateways.size() + kOthers;
    const size_t room = roomForDescriptors();
    if (commandLine.gateways.size() == 1 || room >= wanted) {
        return std::nullopt;
    }
    return std::to_string(commandLine.gateways.size()) + " gateways at a time need " + std::to_string(wanted) +
           " open files and connections, but zulstat may open only " + std::to_string(room) + ". " +
           std::string(kTooFewDescriptors);
}

// A check must be one whatever happens.
int giveUp(const std::string& reason, const bool isCheck, const int exitCode) {
    printError(reason);
    if (!isCheck) {
        return exitCode;
    }
    const CheckResult result = checkThatCannotBeMade(reason);
    writeOutput(result.text, std::nullopt, result.exitCode);
    return result.exitCode;
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

int runProgram(const std::vector<std::string>& arguments, bool& isCheck) {
    const auto parsed = parseCommandLine(arguments, {versionText, environmentVariable, readWholeFile});
    if (const auto* const end = std::get_if<EarlyEnd>(&parsed)) {
        std::fwrite(end->standardError.data(), 1, end->standardError.size(), stderr);
        const int exitCode = writeOutput(end->standardOutput, std::nullopt, end->exitCode);
        // No other command ends so early with that code.
        return end->exitCode == kCheckUnknown ? kCheckUnknown : exitCode;
    }
    const auto& commandLine = std::get<CommandLine>(parsed);
    isCheck = commandLine.command == Command::check;
    // The library's first call is made here, because two threads that make it at once may disturb each other.
    apiVersion();
    holdInterruptions();
    auto fault = startTrace(commandLine);
    if (!fault) {
        fault = findLackOfDescriptors(commandLine);
    }
    return fault ? giveUp(*fault, isCheck, kExitUsage) : runCommand(commandLine);
}

std::string describeException(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        return "cannot go on: not enough memory. Free some, or ask fewer gateways, or for fewer ids, at a time.";
    }
    const auto* const failed = dynamic_cast<const std::system_error*>(&error);
    if (failed != nullptr && failed->code() == std::errc::resource_unavailable_try_again) {
        return std::string("cannot go on: no thread can be started: ") + error.what() + ". " +
               std::string(kTooFewThreads);
    }
    return std::string("cannot go on: ") + error.what() + ".";
}

}  // namespace
}  // namespace zulstat

int main(int argc, char** argv) {
    bool isCheck = false;
    try {
        zulstat::prepareConsole();
        return zulstat::runProgram(zulstat::programArguments(argc, argv), isCheck);
    } catch (const std::exception& error) {
        zulstat::endProcess(zulstat::giveUp(zulstat::describeException(error), isCheck, zulstat::kExitQueryFailed));
    }
}
