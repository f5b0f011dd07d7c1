#ifndef ZULSTATS_TOOLS_ZULSTAT_COMMAND_LINE_H
#define ZULSTATS_TOOLS_ZULSTAT_COMMAND_LINE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "check.h"
#include "command_table.h"
#include "condition.h"
#include "gateway_address.h"
#include "report.h"
#include "selection.h"

namespace zulstat {

inline constexpr std::chrono::milliseconds kDefaultTimeLimit{10000};
inline constexpr std::chrono::milliseconds kDefaultPingTimeLimit{3000};

enum class OutputFormat { table, json, csv, openmetrics };

enum class ColorChoice { automatic, always, never };

struct CommandLine {
    Command command = Command::groups;
    std::vector<Gateway> gateways{{"", kDefaultHost, kDefaultPort}};
    std::chrono::milliseconds timeLimit = kDefaultTimeLimit;  // 0: none
    std::optional<int32_t> traceLevel;
    std::optional<std::string> traceFile;
    std::vector<Query> queries;

    OutputFormat format = OutputFormat::table;
    std::optional<std::string> outputFile;
    Selection selection;
    bool isWide = false;
    bool hasHeader = true;
    ColorChoice color = ColorChoice::automatic;
    bool withTexts = false;

    std::chrono::milliseconds interval{0};
    std::optional<int64_t> count;
    std::optional<Condition> until;
    std::vector<std::string> counters;
    bool isQuiet = false;
    CheckRequest check;
    std::string dumpFile;
    std::string completionFor;  // a shell, or "man"
};

// The run is over before it began: help or version text to standard output, or what is wrong to standard error.
struct EarlyEnd {
    int exitCode = 0;
    std::string standardOutput;
    std::string standardError;
};

// What reading a command line needs of its surroundings.
struct Surroundings {
    std::function<std::string()> versionText;
    // Nothing when the variable is not set.
    std::function<std::optional<std::string>(const std::string& name)> environment;
    // "-" is standard input.
    std::function<std::variant<std::string, Fault>(const std::string& name)> readFile;
};

// `arguments` are without the program's name.
std::variant<CommandLine, EarlyEnd> parseCommandLine(const std::vector<std::string>& arguments,
                                                     const Surroundings& surroundings);

}  // namespace zulstat

#endif
