#ifndef ZULSTATS_TOOLS_ZULSTAT_TABLE_OUTPUT_H
#define ZULSTATS_TOOLS_ZULSTAT_TABLE_OUTPUT_H

#include <string>

#include "report.h"

namespace zulstat {

// One aligned table for each query that has anything to show, with an empty line between two. Every value is shown
// whole, on one line, escaped.
std::string renderTables(const Report& report, bool withColour);

}  // namespace zulstat

#endif
