#include "command_line.h"

#include <CLI/CLI.hpp>
#include <cstddef>

#include "exit_codes.h"
#include "id_list.h"
#include "text_escape.h"

namespace zulstat {
namespace {

constexpr const char* kHelpText = R"(Shows resource groups, statistic ids and statistics of a gateway daemon.

Usage:
  zulstat [OPTION...] groups
  zulstat [OPTION...] ids [GROUP...]
  zulstat [OPTION...] stats [--group GROUP...] [--id ID...]

Commands:
  groups              the ids of all resource groups
  ids [GROUP...]      the ids of the statistics of these resource groups, or of all statistics
  stats               all statistics with their values, or:
    --group GROUP...  the statistics of these resource groups
    --id ID...        the statistics with these ids; together with --group two queries are made

Options:
  --host HOST         name or numeric address of the gateway's host (default: 127.0.0.1)
  --port PORT         port of the gateway (default: 2980)
  --format FORMAT     table or json (default: table)
  --timeout SECONDS   give up after that time; 0 waits as the library does (default: 90)
  --trace-level N     trace the library, from 0 (nothing) to 5 (everything), to standard error
  --trace-file FILE   append the trace to this file instead; needs --trace-level
  --version           show the versions of the program and of the library's interface
  --help              show this text

Results go to standard output, everything else to standard error. On a terminal the table is coloured, unless the
environment variable NO_COLOR is set.

Exit codes:
  0  everything asked for was answered
  1  the gateway could not answer some query elements; the rest is shown
  2  wrong usage, or the trace file could not be opened
  3  no connection to the gateway
  4  a query failed, the connection was lost or the time limit passed; what was answered before is shown
  5  the output could not be written

Examples:
  zulstat groups
  zulstat --host gateway1 stats --group SERVER POOL
  zulstat stats --id SERVER.REQUESTS --format json
)";

// Takes ids as they stand: without "extra" arguments, an id such as "[a,b]" is not taken apart.
void addIdOption(CLI::App& command, const std::string& name, std::vector<std::string>& ids) {
    constexpr int kAnyNumber = 1 << 20;
    const auto take = [&ids](const CLI::results_t& results) {
        ids = results;
        return true;
    };
    command.add_option(name, take)
        ->type_name("ID")
        ->expected(1, kAnyNumber)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
}

// As addIdOption. A positional option without "extra" arguments takes a single one, so each id has an option of its
// own.
void addIdPositionals(CLI::App& command, const size_t number, std::vector<std::string>& ids) {
    const auto take = [&ids](const CLI::results_t& results) {
        ids.insert(ids.end(), results.begin(), results.end());
        return true;
    };
    for (size_t index = 0; index < number; ++index) {
        command.add_option("GROUP" + std::to_string(index), take);
    }
}

void addCommonOptions(CLI::App& app, CommandLine& commandLine, std::string& format) {
    constexpr int32_t kLongestTimeLimit = 86400;
    constexpr int32_t kHighestPort = 65535;
    constexpr int32_t kHighestTraceLevel = 5;
    app.add_option("--host", commandLine.host);
    app.add_option("--port", commandLine.port)->check(CLI::Range(1, kHighestPort));
    app.add_option("--format", format)->check(CLI::IsMember({"table", "json"}));
    app.add_option("--timeout", commandLine.timeLimitSeconds)->check(CLI::Range(0, kLongestTimeLimit));
    CLI::Option* const traceLevel =
        app.add_option("--trace-level", commandLine.traceLevel)->check(CLI::Range(0, kHighestTraceLevel));
    app.add_option("--trace-file", commandLine.traceFile)->needs(traceLevel);
}

struct Ids {
    std::vector<std::string> groups;
    std::vector<std::string> statistics;
};

std::vector<Query> makeQueries(const QueryKind kind, const Ids& ids) {
    std::vector<Query> queries;
    if (!ids.groups.empty()) {
        queries.push_back({kind, AskedBy::group, ids.groups});
    }
    if (!ids.statistics.empty()) {
        queries.push_back({kind, AskedBy::statisticId, ids.statistics});
    }
    if (queries.empty()) {
        queries.push_back({kind, AskedBy::all, {}});
    }
    return queries;
}

EarlyEnd usageError(const std::string& message) {
    return {kExitUsage, "", "zulstat: " + message + "\nTry \"zulstat --help\".\n"};
}

std::string describeMissingCommand(const std::vector<std::string>& unknown) {
    const std::string commands = "groups, ids or stats.";
    if (unknown.empty()) {
        return "a command is missing: " + commands;
    }
    if (unknown.front().starts_with("-")) {
        return "there is no option " + quoteText(unknown.front()) + ".";
    }
    return "there is no command " + quoteText(unknown.front()) + ", only " + commands;
}

std::optional<std::string> findFault(const CommandLine& commandLine, const Ids& ids) {
    if (commandLine.host.empty()) {
        return "--host must not be empty.";
    }
    if (auto fault = findIdFault(ids.groups, "group id")) {
        return fault;
    }
    return findIdFault(ids.statistics, "statistic id");
}

}  // namespace

std::variant<CommandLine, EarlyEnd> parseCommandLine(const std::vector<std::string>& arguments,
                                                     const std::function<std::string()>& versionText) {
    CommandLine commandLine;
    std::string format = "table";
    Ids ids;
    CLI::App app("", "zulstat");
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", versionText);
    addCommonOptions(app, commandLine, format);
    const CLI::App* const groupsCommand = app.add_subcommand("groups");
    CLI::App* const idsCommand = app.add_subcommand("ids");
    addIdPositionals(*idsCommand, arguments.size(), ids.groups);
    CLI::App* const statsCommand = app.add_subcommand("stats");
    addIdOption(*statsCommand, "--group", ids.groups);
    addIdOption(*statsCommand, "--id", ids.statistics);

    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        return EarlyEnd{kExitOk, kHelpText, ""};
    } catch (const CLI::CallForVersion& version) {
        return EarlyEnd{kExitOk, std::string(version.what()) + "\n", ""};
    } catch (const CLI::RequiredError&) {
        return usageError(describeMissingCommand(app.remaining()));
    } catch (const CLI::ParseError& error) {
        return usageError(error.what());
    }
    if (const auto fault = findFault(commandLine, ids)) {
        return usageError(*fault);
    }
    const QueryKind kind = groupsCommand->parsed() ? QueryKind::resourceGroups
                           : idsCommand->parsed()  ? QueryKind::statisticIds
                                                   : QueryKind::statistics;
    commandLine.format = format == "json" ? OutputFormat::json : OutputFormat::table;
    commandLine.queries = makeQueries(kind, ids);
    return commandLine;
}

}  // namespace zulstat
