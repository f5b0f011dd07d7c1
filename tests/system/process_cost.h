#ifndef ZULSTATS_TESTS_SYSTEM_PROCESS_COST_H
#define ZULSTATS_TESTS_SYSTEM_PROCESS_COST_H

#include <chrono>
#include <cstdint>

namespace system_test {

// What this process costs from the beginning of an object's life on.
class ProcessCost {
  public:
    ProcessCost();

    // In all threads, for the process and by the system on its behalf.
    std::chrono::milliseconds processorTime() const;
    // By how much the process's highest resident size has exceeded the size at the beginning. On Windows a peak that
    // lies before the beginning hides a lower one that lies behind it.
    int64_t memoryGrowth() const;

  private:
    std::chrono::milliseconds processorTimeBefore_;
    int64_t memoryBefore_;
};

}  // namespace system_test

#endif
