#include "argument_list.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "nearest.h"
#include "text_escape.h"

namespace zulstat {
namespace {

using Texts = std::vector<std::string>;

std::string suggest(const std::string_view text, const std::vector<std::string>& candidates) {
    const auto longer = findShortestBeginningWith(text, candidates);
    const auto nearest = longer ? longer : findNearest(text, candidates);
    return nearest ? " Did you mean " + quoteText(*nearest) + "?" : "";
}

// An option, and no negative number: "-x", "--host", but not "-", "-5" or "-.5".
bool looksLikeOption(const std::string& text) {
    constexpr std::string_view kStartsOfNumbers = "0123456789.:";
    return text.size() > 1 && text[0] == '-' && kStartsOfNumbers.find(text[1]) == std::string_view::npos;
}

class ArgumentParser {
  public:
    explicit ArgumentParser(const std::vector<std::string>& arguments) : arguments_(arguments) {}

    // Goes on behind the first fault, to find the command.
    std::variant<ArgumentList, ArgumentFault> parse() {
        while (position_ < arguments_.size()) {
            const std::string& argument = arguments_[position_++];
            if (!onlyPositionals_ && argument == "--") {
                onlyPositionals_ = true;
            } else if (!onlyPositionals_ && argument.starts_with("--")) {
                takeLong(argument);
            } else if (!onlyPositionals_ && argument.size() > 1 && argument[0] == '-') {
                takeLetters(argument);
            } else {
                takePositional(argument);
            }
        }
        if (!fault_ && list_.command != nullptr) {
            checkThatOptionsFit();
        }
        if (fault_) {
            return ArgumentFault{*fault_, list_.command};
        }
        return std::move(list_);
    }

  private:
    void fail(std::string message) {
        fault_ = fault_ ? fault_ : std::optional(std::move(message));
    }

    void takeLong(const std::string& argument) {
        const size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        const auto options = optionTable();
        const auto found = std::find_if(options.begin(), options.end(),
                                        [&](const OptionEntry& option) { return option.name == name; });
        lastOption_ = found == options.end() ? lastOption_ : &*found;
        if (found == options.end()) {
            failUnknownOption(name);
        } else if (equals == std::string::npos) {
            takeOption(*found, name);
        } else if (found->values == Values::none) {
            fail(name + " takes no value.");
        } else {
            list_.values[found->option].push_back(argument.substr(equals + 1));
        }
    }

    void failUnknownOption(const std::string& name) {
        std::vector<std::string> names;
        for (const OptionEntry& option : optionTable()) {
            names.emplace_back(option.name);
        }
        fail("there is no option " + quoteText(name) + "." + suggest(name, names));
    }

    void takeLetters(const std::string& argument) {
        for (size_t place = 1; place < argument.size(); ++place) {
            const auto options = optionTable();
            const auto found = std::find_if(options.begin(), options.end(), [&](const OptionEntry& option) {
                return option.letter != 0 && option.letter == argument[place];
            });
            const std::string name = argument.substr(0, 1) + argument.substr(place, 1);
            if (found == options.end()) {
                fail("there is no option " + quoteText(place == 1 ? argument : name) + "." + howToWrite(argument));
                return;
            } else if (found->values == Values::none || place + 1 == argument.size()) {
                takeOption(*found, name);
            } else {
                list_.values[found->option].push_back(argument.substr(place + 1));
                return;
            }
        }
    }

    // It may have been meant as an id.
    std::string howToWrite(const std::string& argument) const {
        if (lastOption_ != nullptr && lastOption_->values == Values::several) {
            const std::string name(lastOption_->name);
            return " If it is meant as a value of " + name + ", write " + name + "=" + escapeText(argument) + ".";
        }
        if (lastOption_ == nullptr && list_.command != nullptr && !list_.command->positionals.empty()) {
            return " If it is meant as " + std::string(list_.command->positionals) + ", write it behind \"--\".";
        }
        return "";
    }

    void takeOption(const OptionEntry& option, const std::string& name) {
        lastOption_ = &option;
        std::vector<std::string>& values = list_.values[option.option];
        if (option.values == Values::none) {
            values.emplace_back();
            return;
        }
        const size_t before = values.size();
        do {
            if (position_ == arguments_.size() || looksLikeOption(arguments_[position_])) {
                break;
            }
            values.push_back(arguments_[position_++]);
        } while (option.values == Values::several);
        if (values.size() == before) {
            const std::string longName(option.name);
            fail(name + (option.values == Values::several ? " needs at least one " : " needs a ") +
                 std::string(option.value) + ", but none follows. One that begins with \"-\" is written " + longName +
                 "=" + std::string(option.value) + ".");
        }
    }

    void takePositional(const std::string& argument) {
        lastOption_ = nullptr;
        if (std::exchange(hasCommandWord_, true)) {
            list_.positionals.push_back(argument);
            return;
        }
        const auto commands = commandTable();
        const auto found = std::find_if(commands.begin(), commands.end(),
                                        [&](const CommandEntry& command) { return command.name == argument; });
        if (found != commands.end()) {
            list_.command = &*found;
            return;
        }
        std::vector<std::string> names;
        for (const CommandEntry& command : commands) {
            names.emplace_back(command.name);
        }
        const std::string suggestion = suggest(argument, names);
        fail("there is no command " + quoteText(argument) + "." +
             (suggestion.empty() ? " There are " + listCommands() + "." : suggestion));
    }

    void checkThatOptionsFit() {
        for (const OptionEntry& option : optionTable()) {
            if (list_.has(option.option) && !takesOption(list_.command->command, option)) {
                fail(std::string(option.name) + " does not go with \"" + std::string(list_.command->name) + "\".");
            }
        }
        if (!list_.positionals.empty() && list_.command->positionals.empty()) {
            fail("\"" + std::string(list_.command->name) + "\" takes no argument, but there is " +
                 quoteText(list_.positionals.front()) + ".");
        }
    }

    const std::vector<std::string>& arguments_;
    size_t position_ = 0;
    bool onlyPositionals_ = false;
    ArgumentList list_;
    bool hasCommandWord_ = false;              // be there such a command or not
    const OptionEntry* lastOption_ = nullptr;  // of which this may be a further value
    std::optional<std::string> fault_;
};

}  // namespace

std::optional<std::string> ArgumentList::last(const Option option) const {
    const auto found = values.find(option);
    return found == values.end() || found->second.empty() ? std::nullopt : std::optional(found->second.back());
}

std::vector<std::string> ArgumentList::all(const Option option) const {
    const auto found = values.find(option);
    return found == values.end() ? std::vector<std::string>() : found->second;
}

std::variant<ArgumentList, ArgumentFault> parseArguments(const std::vector<std::string>& arguments) {
    return ArgumentParser(arguments).parse();
}

std::string describeMissingCommand(const ArgumentList& list) {
    for (const OptionEntry& option : optionTable()) {
        for (const std::string& value : option.values == Values::several ? list.all(option.option) : Texts()) {
            const auto commands = commandTable();
            if (std::any_of(commands.begin(), commands.end(),
                            [&](const CommandEntry& command) { return command.name == value; })) {
                return "a command is missing: " + quoteText(value) + " was taken for a " + std::string(option.value) +
                       " of " + std::string(option.name) + ". Write the command before it: zulstat " + value + " " +
                       std::string(option.name) + " " + std::string(option.value) + ".";
            }
        }
    }
    return "a command is missing: " + listCommands() + ".";
}

std::string listCommands() {
    std::string list;
    const auto commands = commandTable();
    for (const CommandEntry& command : commands) {
        const bool isLast = &command == &commands.back();
        list.append(list.empty() ? "" : isLast ? " or " : ", ").append(command.name);
    }
    return list;
}

}  // namespace zulstat
