// Completion scripts, made from the tables of commands and options.
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

// What the value of an option may be, as cases of a shell's case statement.
std::string valueCases(const std::string_view setChoices, const std::string_view setFiles) {
    std::string cases;
    for (const OptionEntry& option : optionTable()) {
        if (!option.choices.empty()) {
            cases += "        " + pattern(option) + ") " + std::string(setChoices) + " " + "'" +
                     std::string(option.choices) + "'; return;;\n";
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
    text += "    case $previous in\n" + valueCases("_zulstat_words", "_zulstat_files") + "    esac\n";
    text += "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n        case \" " + commandNames() +
            " \" in *\" $word \"*) command=$word; break;; esac\n    done\n";
    text +=
        "    case $command in\n        '') words='" + commandNames() + " --help --version --host --port --gateway';;\n";
    text += commandCases("words") + "    esac\n    _zulstat_words \"$words\"\n}\ncomplete -F _zulstat zulstat\n";
    return text;
}

std::string zshScript() {
    std::string text = "#compdef zulstat\n# Completion of zulstat for zsh.\n_zulstat() {\n";
    text += "    local previous=${words[CURRENT-1]} word command= found=\n";
    text += "    _zulstat_words() { compadd -- ${=1}; }\n    case $previous in\n";
    text += valueCases("_zulstat_words", "_files") + "    esac\n";
    text += "    for word in ${words[2,CURRENT-1]}; do\n        case \" " + commandNames() +
            " \" in *\" $word \"*) command=$word; break;; esac\n    done\n";
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
    std::string commands;
    for (const CommandEntry& command : commandTable()) {
        if (takesOption(command.command, option)) {
            commands.append(" ").append(command.name);
        }
    }
    std::string line =
        "complete -c zulstat -n '__fish_seen_subcommand_from" + commands + "' -l " + std::string(option.name.substr(2));
    line += option.letter == 0 ? "" : std::string(" -s ") + option.letter;
    if (!option.choices.empty()) {
        line += " -x -a " + quoted(option.choices);
    } else if (option.values != Values::none) {
        line += takesFile(option) ? " -r -F" : " -x";
    }
    return line + " -d " + quoted(option.help) + "\n";
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
