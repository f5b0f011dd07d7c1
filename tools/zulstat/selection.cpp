#include "selection.h"

#include <algorithm>

#include "glob.h"
#include "number.h"

namespace zulstat {
namespace {

bool isBefore(const Entry& left, const Entry& right, const SortOrder order) {
    return order == SortOrder::byValue ? isValueBefore(left.value, right.value) : left.id < right.id;
}

void sortResult(QueryResult& result, const SortOrder order) {
    for (Element& element : result.elements) {
        std::stable_sort(element.entries.begin(), element.entries.end(),
                         [&](const Entry& left, const Entry& right) { return isBefore(left, right, order); });
    }
    std::stable_sort(result.elements.begin(), result.elements.end(), [&](const Element& left, const Element& right) {
        if (left.entries.empty() || right.entries.empty()) {
            return !left.entries.empty();
        }
        return isBefore(left.entries.front(), right.entries.front(), order);
    });
}

void selectEntries(QueryResult& result, const std::vector<std::string>& patterns) {
    std::erase_if(result.elements, [&](Element& element) {
        const bool hadEntries = !element.entries.empty();
        std::erase_if(element.entries, [&](const Entry& entry) { return !isSelected(entry.id, patterns); });
        return element.entries.empty() && (hadEntries || !isFailed(element));
    });
}

}  // namespace

bool isValueBefore(const std::string_view left, const std::string_view right) {
    const bool isLeftNumber = parseNumber(left).has_value();
    const bool isRightNumber = parseNumber(right).has_value();
    if (isLeftNumber && isRightNumber) {
        return compareNumbers(left, right) < 0;
    }
    return isLeftNumber != isRightNumber ? isLeftNumber : left < right;
}

void applySelection(Report& report, const Selection& selection) {
    for (QueryResult& result : report.results) {
        if (!selection.patterns.empty()) {
            selectEntries(result, selection.patterns);
        }
        if (selection.order != SortOrder::asAnswered) {
            sortResult(result, selection.order);
        }
    }
}

}  // namespace zulstat
