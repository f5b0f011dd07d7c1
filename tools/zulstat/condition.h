#ifndef ZULSTATS_TOOLS_ZULSTAT_CONDITION_H
#define ZULSTATS_TOOLS_ZULSTAT_CONDITION_H

#include <optional>
#include <string>
#include <string_view>

#include "report.h"

namespace zulstat {

// What a statistic has to be for a wait to end.
struct Condition {
    enum class Operator { equal, notEqual, less, lessOrEqual, greater, greaterOrEqual };

    std::string id;
    Operator op = Operator::equal;
    std::string value;
};

// "ID OP VALUE", OP being = != < <= > or >=; blanks around it are optional. Sizes are for numbers alone.
std::optional<Condition> parseCondition(std::string_view text);

// Texts that are both numbers are compared as such, to the last digit. A size that is asked of a text does not hold.
bool holds(const Condition& condition, std::string_view value);

// Whether the statistic is there and the condition holds.
bool holdsIn(const Report& report, const Condition& condition);

}  // namespace zulstat

#endif
