#ifndef ZULSTATS_TOOLS_ZULSTAT_COMMAND_LINE_H
#define ZULSTATS_TOOLS_ZULSTAT_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "report.h"

namespace zulstat {

inline constexpr int32_t kDefaultPort = 2980;
inline constexpr int32_t kDefaultTimeLimitSeconds = 90;

enum class OutputFormat { table, json };

struct CommandLine {
    std::string host = "127.0.0.1";
    int32_t port = kDefaultPort;
    int32_t timeLimitSeconds = kDefaultTimeLimitSeconds;  // 0: none
    OutputFormat format = OutputFormat::table;
    std::optional<int32_t> traceLevel;
    std::optional<std::string> traceFile;
    std::vector<Query> queries;
};

// The run is over before it began: help or version text to standard output, or what is wrong to standard error.
struct EarlyEnd {
    int exitCode = 0;
    std::string standardOutput;
    std::string standardError;
};

// `arguments` are without the program's name.
std::variant<CommandLine, EarlyEnd> parseCommandLine(const std::vector<std::string>& arguments,
                                                     const std::function<std::string()>& versionText);

}  // namespace zulstat

#endif
