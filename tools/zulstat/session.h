#ifndef ZULSTATS_TOOLS_ZULSTAT_SESSION_H
#define ZULSTATS_TOOLS_ZULSTAT_SESSION_H

#include <cstdint>
#include <string>
#include <vector>

#include "report.h"
#include "report_under_way.h"

namespace zulstat {

// Connects, makes the queries one after the other until one fails, tells everything to `report` and closes the
// connection. All in the calling thread, since a connection is bound to the thread that opened it.
void runSession(const std::string& host, int32_t port, const std::vector<Query>& queries, ReportUnderWay& report);

}  // namespace zulstat

#endif
