#include "condition.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "number.h"

namespace zulstat {
namespace {

struct OperatorName {
    std::string_view name;
    Condition::Operator op;
};

// A name that begins with another one stands before it.
constexpr std::array kOperators{
    OperatorName{"!=", Condition::Operator::notEqual},       OperatorName{"<=", Condition::Operator::lessOrEqual},
    OperatorName{">=", Condition::Operator::greaterOrEqual}, OperatorName{"==", Condition::Operator::equal},
    OperatorName{"=", Condition::Operator::equal},           OperatorName{"<", Condition::Operator::less},
    OperatorName{">", Condition::Operator::greater},
};

std::string_view trim(const std::string_view text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

template <class Value>
bool compare(const Value& left, const Condition::Operator op, const Value& right) {
    switch (op) {
        case Condition::Operator::equal:
            return left == right;
        case Condition::Operator::notEqual:
            return left != right;
        case Condition::Operator::less:
            return left < right;
        case Condition::Operator::lessOrEqual:
            return left <= right;
        case Condition::Operator::greater:
            return left > right;
        case Condition::Operator::greaterOrEqual:
            break;
    }
    return left >= right;
}

}  // namespace

std::optional<Condition> parseCondition(const std::string_view text) {
    const size_t place = text.find_first_of("!<>=");
    if (place == std::string_view::npos) {
        return std::nullopt;
    }
    const auto found = std::find_if(kOperators.begin(), kOperators.end(), [&](const OperatorName& each) {
        return text.substr(place).starts_with(each.name);
    });
    if (found == kOperators.end()) {
        return std::nullopt;
    }
    const Condition condition{std::string(trim(text.substr(0, place))), found->op,
                              std::string(trim(text.substr(place + found->name.size())))};
    const bool isOfSize = found->op != Condition::Operator::equal && found->op != Condition::Operator::notEqual;
    if (condition.id.empty() || (isOfSize && !parseNumber(condition.value))) {
        return std::nullopt;
    }
    return condition;
}

bool holds(const Condition& condition, const std::string_view value) {
    if (parseNumber(value) && parseNumber(condition.value)) {
        return compare(compareNumbers(value, condition.value), condition.op, 0);
    }
    if (condition.op == Condition::Operator::equal || condition.op == Condition::Operator::notEqual) {
        return compare(value, condition.op, std::string_view(condition.value));
    }
    return false;
}

bool holdsIn(const Report& report, const Condition& condition) {
    bool hasElementOfItsOwn = false;
    bool holdsInAny = false;
    bool holdsInItsOwn = false;
    for (const QueryResult& result : report.results) {
        for (const Element& element : result.elements) {
            const bool isItsOwn = element.text == condition.id;
            hasElementOfItsOwn = hasElementOfItsOwn || isItsOwn;
            for (const Entry& entry : element.entries) {
                const bool isMet = entry.id == condition.id && holds(condition, entry.value);
                holdsInAny = holdsInAny || isMet;
                holdsInItsOwn = holdsInItsOwn || (isMet && isItsOwn);
            }
        }
    }
    // A statistic that was asked for by its id is answered by the element that bears it, and by no other.
    return hasElementOfItsOwn ? holdsInItsOwn : holdsInAny;
}

}  // namespace zulstat
