// Help and manual page, made from the tables of commands and options.
#include <algorithm>
#include <cstddef>
#include <vector>

#include "command_table.h"

namespace zulstat {
namespace {

constexpr size_t kLineWidth = 100;

std::vector<std::string> wrap(const std::string_view text, const size_t width) {
    std::vector<std::string> lines{""};
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find(' ', start), text.size());
        const std::string_view word = text.substr(start, end - start);
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > width) {
            lines.emplace_back();
        }
        lines.back().append(lines.back().empty() ? "" : " ").append(word);
        start = end + 1;
    }
    return lines;
}

struct Row {
    std::string name;
    std::string_view text;
};

std::string rows(const std::vector<Row>& all) {
    constexpr size_t kMargin = 2;
    constexpr size_t kWidestName = 30;
    size_t column = 0;
    for (const Row& row : all) {
        column = std::max(column, std::min(row.name.size(), kWidestName));
    }
    column += 2 * kMargin;
    std::string text;
    for (const Row& row : all) {
        std::string line = std::string(kMargin, ' ') + row.name;
        if (row.name.size() > kWidestName) {
            text += line + "\n";
            line.clear();
        }
        for (const std::string& part : wrap(row.text, kLineWidth - column)) {
            line.resize(column, ' ');
            text += line + part + "\n";
            line.clear();
        }
    }
    return text;
}

std::string usageOf(const CommandEntry& command) {
    const std::string arguments(command.arguments);
    return "zulstat [OPTION...] " + std::string(command.name) + (arguments.empty() ? "" : " " + arguments);
}

std::string nameOf(const OptionEntry& option) {
    std::string name = option.letter == 0 ? "    " : std::string("-") + option.letter + ", ";
    name += option.name;
    name += option.values == Values::none ? "" : " ";
    name += option.value;
    name += option.values == Values::several ? "..." : "";
    return name;
}

template <class Predicate>
std::vector<Row> optionRows(const Predicate& isWanted) {
    std::vector<Row> all;
    for (const OptionEntry& option : optionTable()) {
        if (isWanted(option)) {
            all.push_back({nameOf(option), option.help});
        }
    }
    return all;
}

std::string paragraph(const std::string_view text) {
    std::string all;
    for (const std::string& line : wrap(text, kLineWidth)) {
        all += line + "\n";
    }
    return all;
}

std::string exitCodes() {
    std::vector<Row> all;
    for (const ExitCodeEntry& entry : exitCodeTable()) {
        all.push_back({std::to_string(entry.code), entry.meaning});
    }
    return rows(all);
}

std::string indented(std::string_view lines) {
    std::string text;
    while (!lines.empty()) {
        const size_t end = lines.find('\n') + 1;
        text.append("  ").append(lines.substr(0, end));
        lines.remove_prefix(end);
    }
    return text;
}

constexpr std::string_view kEnvironment =
    "ZULSTAT_GATEWAY holds gateways, as for --gateway and separated by commas, that are used when the command line names "
    "none; ZULSTAT_TIMEOUT the time limit in seconds. A NO_COLOR that is not empty turns colours off.";

// Text of roff: a backslash, a dash that may be copied, and a dot that begins no request.
std::string roff(const std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        if (character == '\\') {
            escaped += "\\e";
        } else if (character == '-') {
            escaped += "\\-";
        } else if ((character == '.' || character == '\'') && (escaped.empty() || escaped.back() == '\n')) {
            escaped.append("\\&").push_back(character);
        } else {
            escaped += character;
        }
    }
    return escaped;
}

std::string manualCommand(const CommandEntry& command) {
    std::string text = ".SS " + roff(usageOf(command)) + "\n" + roff(command.description) + "\n";
    text += ".PP\n.nf\n" + roff(indented(command.examples)) + ".fi\n";
    return text;
}

}  // namespace

std::string helpText() {
    std::vector<Row> commands;
    for (const CommandEntry& command : commandTable()) {
        commands.push_back({std::string(command.name), command.summary});
    }
    const uint32_t talking = static_cast<uint32_t>(Command::stats) | static_cast<uint32_t>(Command::doctor) |
                             static_cast<uint32_t>(Command::check);
    std::string text = "Shows resource groups, statistic ids and statistics of gateway daemons.\n\nUsage:\n";
    text += "  zulstat [OPTION...] COMMAND [ARGUMENT...]\n  zulstat COMMAND --help\n\nCommands:\n" + rows(commands);
    text += "\nOptions of all commands that talk with a gateway (COMMAND --help shows its own):\n";
    text += rows(optionRows([&](const OptionEntry& option) {
        return (option.commands & talking) == talking || option.option == Option::config ||
               option.option == Option::format;
    }));
    text += "\n" +
            paragraph("Results go to standard output, everything else to standard error. " + std::string(kEnvironment));
    text += "\nExit codes (check has its own):\n" + exitCodes();
    text += "\nExamples:\n";
    for (const CommandEntry& command : commandTable()) {
        const std::string_view examples = command.examples;
        text += "  " + std::string(examples.substr(0, examples.find('\n') + 1));
    }
    return text;
}

std::string helpText(const CommandEntry& command) {
    std::string text = paragraph(command.description) + "\nUsage:\n  " + usageOf(command) + "\n\nOptions:\n";
    text += rows(optionRows([&](const OptionEntry& option) { return takesOption(command.command, option); }));
    if (command.command != Command::check && command.command != Command::completion) {
        text += "\nExit codes:\n" + exitCodes();
    }
    return text + "\nExamples:\n" + indented(command.examples);
}

std::string manualPage(const std::string_view version) {
    std::string text = ".TH ZULSTAT 1 \"\" \"zulstat " + std::string(version) + "\" \"User Commands\"\n";
    text += ".SH NAME\nzulstat \\- show resource groups, statistic ids and statistics of gateway daemons\n";
    text += ".SH SYNOPSIS\n.B zulstat\n[OPTION...] COMMAND [ARGUMENT...]\n.SH COMMANDS\n";
    for (const CommandEntry& command : commandTable()) {
        text += manualCommand(command);
    }
    text += ".SH OPTIONS\n";
    for (const OptionEntry& option : optionTable()) {
        const std::string name = nameOf(option);
        text += ".TP\n.B " + roff(std::string_view(name).substr(name.find_first_not_of(' '))) + "\n" +
                roff(option.help) + "\n";
    }
    text += ".SH ENVIRONMENT\n" + roff(kEnvironment) + "\n.SH EXIT STATUS\n";
    for (const ExitCodeEntry& entry : exitCodeTable()) {
        text += ".TP\n.B " + std::to_string(entry.code) + "\n" + roff(entry.meaning) + "\n";
    }
    return text + ".PP\n.B check\nends with 0 OK, 1 WARNING, 2 CRITICAL or 3 UNKNOWN.\n";
}

}  // namespace zulstat
