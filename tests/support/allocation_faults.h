// Makes allocations fail, and counts those that are not released. Only those of code that is linked into the test
// program itself are seen: the internal library's (which all go through calloc) and the test's own.
#ifndef ZULSTATS_TESTS_SUPPORT_ALLOCATION_FAULTS_H
#define ZULSTATS_TESTS_SUPPORT_ALLOCATION_FAULTS_H

#include <cstdint>

namespace test_support {

// While it lives, the calling thread's n-th allocation (from 1) from now on fails, and with andAllLater every one after
// it. One at a time in each thread.
class AllocationFault {
  public:
    explicit AllocationFault(int64_t n, bool andAllLater = false);
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    // Whether an allocation has been made to fail, and how many have.
    bool hasStruck() const;
    int64_t strikes() const;
};

// While it lives, knows which of the blocks that the calling thread has allocated meanwhile are not released yet, by
// whichever thread. One at a time in the program.
class AllocationLedger {
  public:
    AllocationLedger();
    ~AllocationLedger();
    AllocationLedger(const AllocationLedger&) = delete;
    AllocationLedger& operator=(const AllocationLedger&) = delete;

    int64_t outstanding() const;
};

// The calling thread's allocations since the last call.
int64_t takeAllocationCount();

}  // namespace test_support

#endif
