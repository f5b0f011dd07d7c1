#ifndef ZULSTATS_TOOLS_ZULSTAT_OPENMETRICS_OUTPUT_H
#define ZULSTATS_TOOLS_ZULSTAT_OPENMETRICS_OUTPUT_H

#include <string>

#include "report.h"

namespace zulstat {

// Metrics that both OpenMetrics and the older text format take: the values that are numbers as one family with labels
// for gateway, element and id, whether each gateway was up, and how long it took. With texts, the other values come as
// labels of a further family. A statistic that was answered twice under the same labels comes once.
std::string renderOpenMetrics(const Reports& reports, bool withTexts);

}  // namespace zulstat

#endif
