#include <sys/resource.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include "process_cost.h"

namespace system_test {

namespace {

using std::chrono::milliseconds;

milliseconds timeOf(const timeval& time) {
    return std::chrono::duration_cast<milliseconds>(std::chrono::seconds(time.tv_sec) +
                                                    std::chrono::microseconds(time.tv_usec));
}

milliseconds processorTimeUsed() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return timeOf(usage.ru_utime) + timeOf(usage.ru_stime);
}

// In bytes, of a line such as "VmHWM:     1234 kB".
int64_t statusValue(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stoll(line.substr(name.size() + 1)) * 1024;
        }
    }
    throw std::runtime_error("/proc/self/status has no " + name);
}

// The peak falls back to the present size.
void forgetPeak() {
    std::ofstream control("/proc/self/clear_refs");
    control << "5" << std::flush;
    if (!control) {
        throw std::runtime_error("/proc/self/clear_refs takes no 5");
    }
}

}  // namespace

ProcessCost::ProcessCost() {
    forgetPeak();
    processorTimeBefore_ = processorTimeUsed();
    memoryBefore_ = statusValue("VmRSS");
}

milliseconds ProcessCost::processorTime() const {
    return processorTimeUsed() - processorTimeBefore_;
}

int64_t ProcessCost::memoryGrowth() const {
    return statusValue("VmHWM") - memoryBefore_;
}

}  // namespace system_test
