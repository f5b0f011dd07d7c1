#define PSAPI_VERSION 2
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <stdexcept>

#include "process_cost.h"

namespace system_test {

namespace {

using std::chrono::milliseconds;

// In units of 100 nanoseconds.
int64_t unitsOf(const FILETIME& time) {
    return static_cast<int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

milliseconds processorTimeUsed() {
    FILETIME creation{};
    FILETIME end{};
    FILETIME kernel{};
    FILETIME user{};
    if (GetProcessTimes(GetCurrentProcess(), &creation, &end, &kernel, &user) == 0) {
        throw std::runtime_error("the system does not tell the process's times");
    }
    return milliseconds((unitsOf(kernel) + unitsOf(user)) / 10'000);
}

int64_t peakSize() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) == 0) {
        throw std::runtime_error("the system does not tell the process's memory");
    }
    return static_cast<int64_t>(counters.PeakWorkingSetSize);
}

}  // namespace

ProcessCost::ProcessCost() : processorTimeBefore_(processorTimeUsed()), memoryBefore_(peakSize()) {}

milliseconds ProcessCost::processorTime() const {
    return processorTimeUsed() - processorTimeBefore_;
}

int64_t ProcessCost::memoryGrowth() const {
    return peakSize() - memoryBefore_;
}

}  // namespace system_test
