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
    std::string text;
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

// "a, b or c"
std::string listOf(const std::vector<std::string>& texts) {
    std::string list;
    for (size_t index = 0; index < texts.size(); ++index) {
        list.append(index == 0 ? "" : index + 1 == texts.size() ? " or " : ", ").append(texts[index]);
    }
    return list;
}

// Those of an option, with the commands that take one where not all do: "csv (stats, watch)".
std::vector<std::string> choicesOfAll(const OptionEntry& option) {
    std::vector<std::string> all;
    for (size_t start = 0; start < option.choices.size();) {
        const size_t end = std::min(option.choices.find(' ', start), option.choices.size());
        const std::string choice(option.choices.substr(start, end - start));
        start = end + 1;
        std::string takers;
        bool isForAll = true;
        for (const CommandEntry& command : commandTable()) {
            if (takesOption(command.command, option)) {
                const auto choices = choicesFor(command.command, option);
                const bool takesIt = std::find(choices.begin(), choices.end(), choice) != choices.end();
                isForAll = isForAll && takesIt;
                takers += takesIt ? (takers.empty() ? "" : ", ") + std::string(command.name) : "";
            }
        }
        all.push_back(isForAll ? choice : choice + " (" + takers + ")");
    }
    return all;
}

std::string withChoices(const OptionEntry& option, const std::vector<std::string>& choices) {
    std::string text(option.help);
    const size_t mark = text.find(kChoicesMark);
    return mark == std::string::npos ? text : text.replace(mark, kChoicesMark.size(), listOf(choices));
}

std::string helpOf(const OptionEntry& option) {
    return withChoices(option, choicesOfAll(option));
}

std::string helpOf(const OptionEntry& option, const Command command) {
    return withChoices(option, choicesFor(command, option));
}

std::string paragraph(const std::string_view text) {
    std::string all;
    for (const std::string& line : wrap(text, kLineWidth)) {
        all += line + "\n";
    }
    return all;
}

std::string exitCodes(const std::span<const ExitCodeEntry> entries) {
    std::vector<Row> all;
    for (const ExitCodeEntry& entry : entries) {
        all.push_back({std::to_string(entry.code), std::string(entry.meaning)});
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

std::string manualExitCodes(const std::span<const ExitCodeEntry> entries) {
    std::string text;
    for (const ExitCodeEntry& entry : entries) {
        text += ".TP\n.B " + std::to_string(entry.code) + "\n" + roff(entry.meaning) + "\n";
    }
    return text;
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
        commands.push_back({std::string(command.name), std::string(command.summary)});
    }
    const uint32_t talking = static_cast<uint32_t>(Command::stats) | static_cast<uint32_t>(Command::doctor) |
                             static_cast<uint32_t>(Command::check);
    std::string text = "Shows resource groups, statistic ids and statistics of gateway daemons.\n\nUsage:\n";
    text += "  zulstat [OPTION...] COMMAND [ARGUMENT...]\n  zulstat COMMAND --help\n\nCommands:\n" + rows(commands);
    text += "\nOptions of all commands that talk with a gateway (COMMAND --help shows its own):\n";
    std::vector<Row> options;
    for (const OptionEntry& option : optionTable()) {
        if ((option.commands & talking) == talking || option.option == Option::config ||
            option.option == Option::format) {
            options.push_back({nameOf(option), helpOf(option)});
        }
    }
    text += rows(options);
    text += "\n" +
            paragraph("Results go to standard output, everything else to standard error. " + std::string(kEnvironment));
    text += "\nExit codes (check, ping and watch have their own, COMMAND --help shows them):\n";
    text += exitCodes(exitCodeTable());
    text += "\nExamples:\n";
    for (const CommandEntry& command : commandTable()) {
        const std::string_view examples = command.examples;
        text += "  " + std::string(examples.substr(0, examples.find('\n') + 1));
    }
    return text;
}

std::string helpText(const CommandEntry& command) {
    std::string text = paragraph(command.description) + "\nUsage:\n  " + usageOf(command) + "\n\nOptions:\n";
    std::vector<Row> options;
    for (const OptionEntry& option : optionTable()) {
        if (takesOption(command.command, option)) {
            options.push_back({nameOf(option), helpOf(option, command.command)});
        }
    }
    text += rows(options);
    if (const auto codes = exitCodeTable(command.command); !codes.empty()) {
        text += "\nExit codes:\n" + exitCodes(codes);
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
                roff(helpOf(option)) + "\n";
    }
    text += ".SH ENVIRONMENT\n" + roff(kEnvironment) + "\n.SH EXIT STATUS\n" + manualExitCodes(exitCodeTable());
    for (const CommandEntry& command : commandTable()) {
        const auto codes = exitCodeTable(command.command);
        if (!codes.empty() && codes.data() != exitCodeTable().data()) {
            text += ".SS Of " + std::string(command.name) + "\n" + manualExitCodes(codes);
        }
    }
    return text;
}

}  // namespace zulstat
