// Completion scripts, made from the tables of commands and options.
#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "command_table.h"

namespace zulstat {
namespace {

std::string commandNames() {
    std::string names;
    for (const CommandEntry& command : commandTable()) {
        names.append(names.empty() ? "" : " ").append(command.name);
    }
    return names;
}

std::string optionNames(const CommandEntry& command) {
    std::string names;
    for (const OptionEntry& option : optionTable()) {
        if (takesOption(command.command, option)) {
            names.append(names.empty() ? "" : " ").append(option.name);
        }
    }
    return names;
}

std::string pattern(const OptionEntry& option) {
    std::string text(option.name);
    if (option.letter != 0) {
        text.append("|-").push_back(option.letter);
    }
    return text;
}

bool takesFile(const OptionEntry& option) {
    return option.value == "FILE";
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all.append(all.empty() ? "" : " ").append(text);
    }
    return all;
}

// The commands that take an option, by what they take as its value, in the order of the tables.
std::vector<std::pair<std::string, std::vector<std::string>>> commandsByChoices(const OptionEntry& option) {
    std::vector<std::pair<std::string, std::vector<std::string>>> all;
    for (const CommandEntry& command : commandTable()) {
        if (!takesOption(command.command, option)) {
            continue;
        }
        const std::string choices = joined(choicesFor(command.command, option));
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const auto& entry) { return entry.first == choices; });
        std::vector<std::string>& names =
            found == all.end() ? all.emplace_back(choices, std::vector<std::string>()).second : found->second;
        names.emplace_back(command.name);
    }
    return all;
}

std::string quotedChoices(const std::string_view setChoices, const std::string_view choices) {
    return std::string(setChoices) + " '" + std::string(choices) + "'";
}

// As a case statement by the command where that decides.
std::string setChoicesOf(const OptionEntry& option, const std::string_view setChoices) {
    const auto groups = commandsByChoices(option);
    if (groups.size() == 1) {
        return quotedChoices(setChoices, option.choices);
    }
    std::string cases = "case $command in ";
    for (const auto& [choices, names] : groups) {
        std::string patterns;
        for (const std::string& name : names) {
            patterns.append(patterns.empty() ? "" : "|").append(name);
        }
        cases += patterns + ") " + quotedChoices(setChoices, choices) + ";; ";
    }
    return cases + "*) " + quotedChoices(setChoices, option.choices) + ";; esac";
}

// What the value of an option may be, as cases of a shell's case statement.
std::string valueCases(const std::string_view setChoices, const std::string_view setFiles) {
    std::string cases;
    for (const OptionEntry& option : optionTable()) {
        if (!option.choices.empty()) {
            cases += "        " + pattern(option) + ") " + setChoicesOf(option, setChoices) + "; return;;\n";
        } else if (takesFile(option)) {
            cases += "        " + pattern(option) + ") " + std::string(setFiles) + "; return;;\n";
        } else if (option.values == Values::one) {
            cases += "        " + pattern(option) + ") return;;\n";
        }
    }
    return cases;
}

std::string commandCases(const std::string_view variable) {
    std::string cases;
    for (const CommandEntry& command : commandTable()) {
        cases += "        " + std::string(command.name) + ") " + std::string(variable) + "='" + optionNames(command);
        cases += command.command == Command::completion ? " bash zsh fish man" : "";
        cases += "';;\n";
    }
    return cases;
}

std::string bashScript() {
    std::string text = "# Completion of zulstat for bash.\n_zulstat() {\n";
    text += "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} word command= words=\n";
    text += "    COMPREPLY=()\n    _zulstat_words() { mapfile -t COMPREPLY < <(compgen -W \"$1\" -- \"$current\"); }\n";
    text += "    _zulstat_files() { mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); }\n";
    text += "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n        case \" " + commandNames() +
            " \" in *\" $word \"*) command=$word; break;; esac\n    done\n";
    text += "    case $previous in\n" + valueCases("_zulstat_words", "_zulstat_files") + "    esac\n";
    text +=
        "    case $command in\n        '') words='" + commandNames() + " --help --version --host --port --gateway';;\n";
    text += commandCases("words") + "    esac\n    _zulstat_words \"$words\"\n}\ncomplete -F _zulstat zulstat\n";
    return text;
}

std::string zshScript() {
    std::string text = "#compdef zulstat\n# Completion of zulstat for zsh.\n_zulstat() {\n";
    text += "    local previous=${words[CURRENT-1]} word command= found=\n";
    text += "    _zulstat_words() { compadd -- ${=1}; }\n";
    text += "    for word in ${words[2,CURRENT-1]}; do\n        case \" " + commandNames() +
            " \" in *\" $word \"*) command=$word; break;; esac\n    done\n";
    text += "    case $previous in\n" + valueCases("_zulstat_words", "_files") + "    esac\n";
    text +=
        "    case $command in\n        '') found='" + commandNames() + " --help --version --host --port --gateway';;\n";
    text += commandCases("found") + "    esac\n    _zulstat_words \"$found\"\n}\n";
    // Found as a function file it is called at once, sourced it only registers itself.
    text += "if [ \"$funcstack[1]\" = _zulstat ]; then _zulstat \"$@\"; else compdef _zulstat zulstat; fi\n";
    return text;
}

std::string quoted(const std::string_view text) {
    std::string all = "'";
    for (const char character : text) {
        all.append(character == '\'' || character == '\\' ? "\\" : "").push_back(character);
    }
    return all + "'";
}

std::string fishOption(const OptionEntry& option) {
    std::string lines;
    for (const auto& [choices, names] : commandsByChoices(option)) {
        lines += "complete -c zulstat -n '__fish_seen_subcommand_from " + joined(names) + "' -l " +
                 std::string(option.name.substr(2));
        lines += option.letter == 0 ? "" : std::string(" -s ") + option.letter;
        if (!choices.empty()) {
            lines += " -x -a " + quoted(choices);
        } else if (option.values != Values::none) {
            lines += takesFile(option) ? " -r -F" : " -x";
        }
        std::string help(option.help);
        if (const size_t mark = help.find(kChoicesMark); mark != std::string::npos) {
            help.replace(mark, kChoicesMark.size(), choices);
        }
        lines += " -d " + quoted(help) + "\n";
    }
    return lines;
}

std::string fishScript() {
    std::string text = "# Completion of zulstat for fish.\ncomplete -c zulstat -f\n";
    for (const CommandEntry& command : commandTable()) {
        text += "complete -c zulstat -n __fish_use_subcommand -a " + std::string(command.name) + " -d " +
                quoted(command.summary) + "\n";
    }
    for (const OptionEntry& option : optionTable()) {
        text += fishOption(option);
    }
    return text + "complete -c zulstat -n '__fish_seen_subcommand_from completion' -a 'bash zsh fish man'\n";
}

}  // namespace

std::string completionScript(const Shell shell) {
    switch (shell) {
        case Shell::zsh:
            return zshScript();
        case Shell::fish:
            return fishScript();
        case Shell::bash:
            break;
    }
    return bashScript();
}

}  // namespace zulstat
