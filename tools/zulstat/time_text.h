#ifndef ZULSTATS_TOOLS_ZULSTAT_TIME_TEXT_H
#define ZULSTATS_TOOLS_ZULSTAT_TIME_TEXT_H

#include <chrono>
#include <string>

namespace zulstat {

// RFC 3339 in UTC with milliseconds: "2026-03-01T12:00:00.250Z".
std::string formatTime(std::chrono::system_clock::time_point time);

// The time of the day in UTC: "12:00:00Z".
std::string formatClock(std::chrono::system_clock::time_point time);

}  // namespace zulstat

#endif
