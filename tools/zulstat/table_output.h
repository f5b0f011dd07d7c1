#ifndef ZULSTATS_TOOLS_ZULSTAT_TABLE_OUTPUT_H
#define ZULSTATS_TOOLS_ZULSTAT_TABLE_OUTPUT_H

#include <cstddef>
#include <string>

#include "report.h"

namespace zulstat {

struct TableStyle {
    bool withColour = false;
    bool withHeader = true;
    size_t width = 0;  // columns; 0: every value is shown whole
};

// One aligned table for each query that has anything to show, with an empty line between two. Every value stands on one
// line, escaped. With several gateways, a column says which.
std::string renderTables(const Reports& reports, const TableStyle& style);

}  // namespace zulstat

#endif
