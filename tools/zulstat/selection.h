// Which entries of a report are shown, and in which order.
#ifndef ZULSTATS_TOOLS_ZULSTAT_SELECTION_H
#define ZULSTATS_TOOLS_ZULSTAT_SELECTION_H

#include <string>
#include <string_view>
#include <vector>

#include "report.h"

namespace zulstat {

enum class SortOrder { asAnswered, byId, byValue, byChange };

struct Selection {
    std::vector<std::string> patterns;
    SortOrder order = SortOrder::asAnswered;
};

// Numbers before texts, numbers by size.
bool isValueBefore(std::string_view left, std::string_view right);

// Takes away the entries that are not selected, and the elements that lose all of theirs; sorts what stays within each
// element, and the elements by their first entry.
void applySelection(Report& report, const Selection& selection);

}  // namespace zulstat

#endif
