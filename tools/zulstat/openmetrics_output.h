#ifndef ZULSTATS_TOOLS_ZULSTAT_OPENMETRICS_OUTPUT_H
#define ZULSTATS_TOOLS_ZULSTAT_OPENMETRICS_OUTPUT_H

#include <string>

#include "report.h"

namespace zulstat {

// Metrics that both OpenMetrics and the older text format take: the values that are numbers as one family with labels
// for gateway, element and id, whether each gateway was up, and how long it took. With texts, the other values come as
// labels of a further family. What two queries have answered alike comes once; equal ids within one element get a
// further label with their number, from the second one on.
std::string renderOpenMetrics(const Reports& reports, bool withTexts);

}  // namespace zulstat

#endif
