// Arguments taken apart into a command, its options and the rest, by the tables of commands and options.
#ifndef ZULSTATS_TOOLS_ZULSTAT_ARGUMENT_LIST_H
#define ZULSTATS_TOOLS_ZULSTAT_ARGUMENT_LIST_H

#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "command_table.h"
#include "gateway_address.h"

namespace zulstat {

struct ArgumentList {
    const CommandEntry* command = nullptr;
    std::map<Option, std::vector<std::string>> values;  // in order; one empty text for an option without value
    std::vector<std::string> positionals;

    bool has(Option option) const {
        return values.count(option) != 0;
    }
    // The last one wins.
    std::optional<std::string> last(Option option) const;
    std::vector<std::string> all(Option option) const;
};

struct ArgumentFault {
    std::string message;
    const CommandEntry* command = nullptr;  // where one was named
};

// A command may be missing; everything else that cannot be understood is a fault.
std::variant<ArgumentList, ArgumentFault> parseArguments(const std::vector<std::string>& arguments);

// What is wrong with a command line without a command.
std::string describeMissingCommand(const ArgumentList& list);

// "groups, ids, stats or watch"
std::string listCommands();

}  // namespace zulstat

#endif
