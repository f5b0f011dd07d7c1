/* A library that is loaded before all others (LD_PRELOAD) and counts the allocations of the process. */
#ifndef ZULSTATS_BENCH_ALLOCATION_COUNTER_H
#define ZULSTATS_BENCH_ALLOCATION_COUNTER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct AllocationCounts {
    uint64_t allocations;
    uint64_t releases; /* of blocks; a release of nothing does not count */
    uint64_t bytes;    /* asked for */
} AllocationCounts;

void allocationCounts(AllocationCounts* counts);

#ifdef __cplusplus
}
#endif

#endif
