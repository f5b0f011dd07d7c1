// Every command and option, once: the command line is read, and help, manual page and completions are made from this.
#ifndef ZULSTATS_TOOLS_ZULSTAT_COMMAND_TABLE_H
#define ZULSTATS_TOOLS_ZULSTAT_COMMAND_TABLE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zulstat {

enum class Command : uint32_t {
    groups = 1,
    ids = 2,
    stats = 4,
    watch = 8,
    check = 16,
    ping = 32,
    doctor = 64,
    dump = 128,
    completion = 256,
};

enum class Option {
    host,
    port,
    gateway,
    config,
    timeout,
    group,
    id,
    format,
    output,
    match,
    sort,
    wide,
    noHeader,
    color,
    withTexts,
    interval,
    count,
    until,
    counter,
    warning,
    critical,
    okIfMissing,
    quiet,
    traceLevel,
    traceFile,
    version,
    help,
};

enum class Values { none, one, several };

struct OptionEntry {
    Option option;
    std::string_view name;  // with its dashes
    char letter;            // 0: it has no short form
    Values values;
    std::string_view value;    // what a value is called
    uint32_t commands;         // those that take it, as bits
    std::string_view help;     // kChoicesMark in it stands for the choices
    std::string_view choices;  // of the value, separated by blanks; empty when there is no list
};

inline constexpr std::string_view kChoicesMark = "{}";

struct CommandEntry {
    Command command;
    std::string_view name;
    std::string_view arguments;    // behind the name in the usage line
    std::string_view positionals;  // what they are called; empty when the command takes none
    std::string_view summary;
    std::string_view description;
    std::string_view examples;  // command lines, one a line
};

struct ExitCodeEntry {
    int code;
    std::string_view meaning;
};

std::span<const OptionEntry> optionTable();
std::span<const CommandEntry> commandTable();

// Of most commands.
std::span<const ExitCodeEntry> exitCodeTable();
// Of this one; none when it needs no list.
std::span<const ExitCodeEntry> exitCodeTable(Command command);

bool takesOption(Command command, const OptionEntry& option);

// What a command takes as the option's value.
std::vector<std::string> choicesFor(Command command, const OptionEntry& option);

std::string helpText();
std::string helpText(const CommandEntry& command);

// The manual page, in roff.
std::string manualPage(std::string_view version);

enum class Shell { bash, zsh, fish };
std::string completionScript(Shell shell);

}  // namespace zulstat

#endif
