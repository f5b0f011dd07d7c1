#ifndef ZULSTATS_TOOLS_ZULSTAT_CSV_OUTPUT_H
#define ZULSTATS_TOOLS_ZULSTAT_CSV_OUTPUT_H

#include <string>
#include <string_view>

#include "report.h"

namespace zulstat {

// A cell, in quotes where it needs them. Its text is escaped first, so that it stays on one line.
std::string csvCell(std::string_view text);

// One line for each entry, failed element and element without entries, with the columns time, gateway, query, element,
// code, id and value.
std::string renderCsv(const Reports& reports, bool withHeader);

}  // namespace zulstat

#endif
