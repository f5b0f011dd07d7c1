#include "command_table.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace zulstat {
namespace {

template <class... Commands>
constexpr uint32_t bits(const Commands... commands) {
    return (static_cast<uint32_t>(commands) | ...);
}

constexpr uint32_t kEvery = 0xFFFFFFFF;
constexpr uint32_t kQueries = bits(Command::groups, Command::ids, Command::stats);
constexpr uint32_t kShowing = kQueries | bits(Command::watch);
constexpr uint32_t kTalking = kShowing | bits(Command::check, Command::ping, Command::doctor, Command::dump);
constexpr uint32_t kSeveralGateways = kShowing | bits(Command::check, Command::ping);

constexpr std::array kOptions{
    OptionEntry{Option::host, "--host", 'H', Values::one, "HOST", kTalking,
                "name or address of the gateway's host, or HOST:PORT (default: 127.0.0.1)", ""},
    OptionEntry{Option::port, "--port", 'p', Values::one, "PORT", kTalking, "port of the gateway (default: 2980)", ""},
    OptionEntry{Option::gateway, "--gateway", 0, Values::one, "[NAME=]HOST[:PORT]", kTalking,
                "a gateway; give it again for each further one", ""},
    OptionEntry{Option::config, "--config", 0, Values::one, "FILE", kSeveralGateways,
                "a file with a line NAME = HOST[:PORT] for each gateway", ""},
    OptionEntry{Option::timeout, "--timeout", 't', Values::one, "SECONDS", kTalking,
                "give up after that time, connecting included; 0 waits as the library does (default: 10, ping: 3)", ""},
    OptionEntry{Option::group, "--group", 0, Values::several, "GROUP", bits(Command::stats, Command::watch),
                "the statistics of these resource groups; @FILE takes them from a file, @- from standard input", ""},
    OptionEntry{Option::id, "--id", 0, Values::several, "ID", bits(Command::stats, Command::watch),
                "the statistics with these ids, or @FILE", ""},
    OptionEntry{Option::format, "--format", 'f', Values::one, "FORMAT", kShowing | bits(Command::ping, Command::doctor),
                "{} (default: table)", "table json csv openmetrics"},
    OptionEntry{Option::output, "--output", 0, Values::one, "FILE", kQueries,
                "write the result to this file, which is replaced as a whole when all is written; - is standard output",
                ""},
    OptionEntry{Option::match, "--match", 0, Values::one, "GLOB", kShowing,
                "show only ids that match, as in 'pool.*'; with '!GLOB' those that do not; may be repeated", ""},
    OptionEntry{Option::sort, "--sort", 0, Values::one, "ORDER", kShowing, "{}; without it the gateway's order",
                "id value change"},
    OptionEntry{Option::wide, "--wide", 0, Values::none, "", kShowing, "show long values whole on a terminal, too", ""},
    OptionEntry{Option::noHeader, "--no-header", 0, Values::none, "", kShowing, "leave out the line of titles", ""},
    OptionEntry{Option::color, "--color", 0, Values::one, "WHEN", kShowing,
                "{} (default: auto: on a terminal, unless NO_COLOR is set and not empty)", "auto always never"},
    OptionEntry{Option::withTexts, "--with-texts", 0, Values::none, "", bits(Command::stats),
                "openmetrics: values that are no numbers, too, as labels", ""},
    OptionEntry{Option::interval, "--interval", 'i', Values::one, "SECONDS",
                bits(Command::watch, Command::check, Command::ping),
                "time between two samples (default: watch 2, check and ping 1)", ""},
    OptionEntry{Option::count, "--count", 'n', Values::one, "N", bits(Command::watch, Command::ping),
                "end after N samples (ping: default 1)", ""},
    OptionEntry{Option::until, "--until", 0, Values::one, "'ID OP VALUE'", bits(Command::watch),
                "end when this holds; OP is = != < <= > or >=", ""},
    OptionEntry{Option::counter, "--counter", 0, Values::one, "GLOB", bits(Command::watch),
                "ids that count upwards: a fall is a reset, and a rate is shown; may be repeated", ""},
    OptionEntry{Option::warning, "--warning", 'w', Values::one, "[METRIC=]RANGE", bits(Command::check),
                "WARNING when a metric is outside this range; may be repeated", ""},
    OptionEntry{Option::critical, "--critical", 'c', Values::one, "[METRIC=]RANGE", bits(Command::check),
                "CRITICAL when a metric is outside this range; may be repeated", ""},
    OptionEntry{Option::okIfMissing, "--ok-if-missing", 0, Values::none, "", bits(Command::check),
                "a statistic that the gateway cannot answer is OK instead of UNKNOWN", ""},
    OptionEntry{Option::quiet, "--quiet", 'q', Values::none, "", bits(Command::ping), "show nothing, only exit", ""},
    OptionEntry{Option::traceLevel, "--trace-level", 0, Values::one, "N", kTalking,
                "trace the library, from 0 (nothing) to 5 (everything), to standard error", "0 1 2 3 4 5"},
    OptionEntry{Option::traceFile, "--trace-file", 0, Values::one, "FILE", kTalking,
                "append the trace to this file instead; needs --trace-level", ""},
    OptionEntry{Option::version, "--version", 'v', Values::none, "", kEvery,
                "show the versions of the program and of the library's interface", ""},
    OptionEntry{Option::help, "--help", 'h', Values::none, "", kEvery, "show this text", ""},
};

// Choices of a value that not every command with that option takes.
struct LimitedChoice {
    Option option;
    std::string_view choice;
    uint32_t commands;
};

constexpr std::array kLimitedChoices{
    LimitedChoice{Option::format, "csv", kShowing},
    LimitedChoice{Option::format, "openmetrics", bits(Command::stats)},
    LimitedChoice{Option::sort, "change", bits(Command::watch)},
};

constexpr std::array kCommands{
    CommandEntry{Command::groups, "groups", "", "", "the ids of all resource groups",
                 "Shows the ids of all resource groups.", "zulstat groups\nzulstat --gateway gateway1:2981 groups\n"},
    CommandEntry{Command::ids, "ids", "[GROUP...]", "GROUP", "the ids of all statistics, or of those of some groups",
                 "Shows the ids of all statistics, or of those of these resource groups. An id that begins with \"-\" "
                 "is written behind \"--\", one that begins with \"@\" with a second \"@\".",
                 "zulstat ids\nzulstat ids memory pool.workers\nzulstat ids @groups.txt\n"},
    CommandEntry{Command::stats, "stats", "[--group GROUP...] [--id ID...]", "",
                 "statistics with their values, all or those of some groups or ids",
                 "Shows all statistics with their values, those of some resource groups, or those with some ids. With "
                 "--group and --id two queries are made, groups first. An id that begins with \"-\" needs \"=\", as in "
                 "--id=-x; one that begins with \"@\" is written with a second \"@\".",
                 "zulstat stats --group memory pool.workers\nzulstat stats --id requests.total --format json\n"
                 "zulstat stats --match 'pool.*' --sort value\n"
                 "zulstat stats --format openmetrics --output /var/lib/metrics/gateway.prom\n"},
    CommandEntry{Command::watch, "watch", "[--group GROUP...] [--id ID...]", "",
                 "statistics again and again, with what changes",
                 "Shows statistics again and again on one connection: value, change since the last sample, rate per "
                 "second and the last samples as a line. On a terminal the picture is redrawn in place (q quits, p "
                 "pauses, arrows scroll, / filters); elsewhere lines are added, and --format json gives one document a "
                 "line. A gateway that is lost is shown as down and tried again with growing pauses.",
                 "zulstat watch --group requests --counter 'requests.*'\n"
                 "zulstat watch --id pool.used --interval 0.5 --until 'pool.used < 10'\n"},
    CommandEntry{Command::check, "check", "METRIC... [-w RANGE] [-c RANGE]", "METRIC", "a check for monitoring systems",
                 "Checks statistics as a plugin of a monitoring system. A METRIC is the id of a statistic, or rate:ID "
                 "for its growth per second between two samples. A RANGE is the good one: 10 is 0 to 10, 10: is 10 and "
                 "more, ~:10 is 10 and less, 10:20 is both, and @10:20 turns it over. Behind METRIC= it is for this "
                 "metric alone.",
                 "zulstat check pool.used -w 80 -c 95\n"
                 "zulstat check pool.used rate:requests.failed -w pool.used=80 -c rate:requests.failed=0.5\n"},
    CommandEntry{Command::ping, "ping", "", "", "whether it is a gateway that answers, and how fast",
                 "Connects and asks, and tells how long that took. All gateways are asked at once.",
                 "zulstat ping\nzulstat ping --gateway gateway1:2981 -n 5 -i 0.2\nzulstat ping -q && echo up\n"},
    CommandEntry{Command::doctor, "doctor", "", "", "what is wrong with a connection, step by step",
                 "Goes from the name of the host to the first values step by step, tells how long each took, what was "
                 "seen where one failed, and what to do next.",
                 "zulstat doctor\nzulstat doctor --host gateway1\n"},
    CommandEntry{Command::dump, "dump", "FILE", "FILE", "the library's state and all statistics, as hexadecimal dumps",
                 "Asks for all statistics and writes the state of the library and the bytes of the answer to a file, "
                 "for a report of an error.",
                 "zulstat dump gateway.dump\n"},
    CommandEntry{Command::completion, "completion", "bash|zsh|fish|man", "SHELL",
                 "a completion script for a shell, or the manual page",
                 "Writes a script that completes the commands and options of zulstat, or its manual page, to standard "
                 "output.",
                 "zulstat completion bash > ~/.local/share/bash-completion/completions/zulstat\n"},
};

constexpr std::string_view kWrongUsage = "wrong usage, or the trace file could not be opened";
constexpr std::string_view kOutputFailed = "the output could not be written";

constexpr std::array kExitCodes{
    ExitCodeEntry{0, "everything asked for was answered"},
    ExitCodeEntry{1, "the gateway could not answer some query elements; the rest is shown"},
    ExitCodeEntry{2, kWrongUsage},
    ExitCodeEntry{3, "no connection to the gateway"},
    ExitCodeEntry{4, "a query failed, the connection was lost or the time limit passed; what was answered is shown"},
    ExitCodeEntry{5, kOutputFailed},
    ExitCodeEntry{130, "interrupted, or asked to end; what was answered is shown"},
};

constexpr std::array kWatchExitCodes{
    ExitCodeEntry{0, "--until held, --count was reached, or the user quit"},
    ExitCodeEntry{1, "the gateway could not answer some query elements, or --count ended before --until held"},
    ExitCodeEntry{2, kWrongUsage},
    ExitCodeEntry{3, "--count ended, and there was no connection to a gateway"},
    ExitCodeEntry{4, "--count ended, and a query had failed, or the connection was lost"},
    ExitCodeEntry{5, kOutputFailed},
    ExitCodeEntry{130, "interrupted"},
    ExitCodeEntry{143, "asked to end"},
};

constexpr std::array kCheckExitCodes{
    ExitCodeEntry{0, "OK"},
    ExitCodeEntry{1, "WARNING"},
    ExitCodeEntry{2, "CRITICAL, also when a gateway does not answer"},
    ExitCodeEntry{3, "UNKNOWN: a statistic is missing or no number, wrong usage, or this machine lacks something"},
    ExitCodeEntry{130, "interrupted, or asked to end"},
};

constexpr std::array kPingExitCodes{
    ExitCodeEntry{0, "the gateway answered, each time"},
    ExitCodeEntry{1, "some of several times, or some of several gateways"},
    ExitCodeEntry{2, kWrongUsage},
    ExitCodeEntry{3, "nothing listens there, or the host is unknown or out of reach"},
    ExitCodeEntry{4, "something listens, but does not answer as a gateway, or not in time"},
    ExitCodeEntry{5, kOutputFailed},
    ExitCodeEntry{130, "interrupted, or asked to end"},
};

}  // namespace

std::span<const OptionEntry> optionTable() {
    return kOptions;
}

std::span<const CommandEntry> commandTable() {
    return kCommands;
}

std::span<const ExitCodeEntry> exitCodeTable() {
    return kExitCodes;
}

std::span<const ExitCodeEntry> exitCodeTable(const Command command) {
    switch (command) {
        case Command::watch:
            return kWatchExitCodes;
        case Command::check:
            return kCheckExitCodes;
        case Command::ping:
            return kPingExitCodes;
        case Command::completion:
            return {};
        case Command::groups:
        case Command::ids:
        case Command::stats:
        case Command::doctor:
        case Command::dump:
            break;
    }
    return kExitCodes;
}

std::vector<std::string> choicesFor(const Command command, const OptionEntry& option) {
    std::vector<std::string> choices;
    for (size_t start = 0; start < option.choices.size();) {
        const size_t end = std::min(option.choices.find(' ', start), option.choices.size());
        const std::string_view choice = option.choices.substr(start, end - start);
        start = end + 1;
        const bool isRefused =
            std::any_of(kLimitedChoices.begin(), kLimitedChoices.end(), [&](const LimitedChoice& limited) {
                return limited.option == option.option && limited.choice == choice &&
                       (limited.commands & static_cast<uint32_t>(command)) == 0;
            });
        if (!isRefused) {
            choices.emplace_back(choice);
        }
    }
    return choices;
}

bool takesOption(const Command command, const OptionEntry& option) {
    return (option.commands & static_cast<uint32_t>(command)) != 0;
}

}  // namespace zulstat
