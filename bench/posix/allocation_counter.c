/* In the places of the C library's functions, which are called by their other names. */
#include "allocation_counter.h"

#include <stddef.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);

void* malloc(size_t size);
void* calloc(size_t count, size_t size);
void* realloc(void* block, size_t size);
void free(void* block);

static AllocationCounts counted;

static void count(uint64_t* counter, uint64_t more) {
    __atomic_fetch_add(counter, more, __ATOMIC_RELAXED);
}

static void countAllocation(size_t size) {
    count(&counted.allocations, 1);
    count(&counted.bytes, size);
}

void* malloc(size_t size) {
    countAllocation(size);
    return __libc_malloc(size);
}

void* calloc(size_t blocks, size_t size) {
    countAllocation(blocks * size);
    return __libc_calloc(blocks, size);
}

void* realloc(void* block, size_t size) {
    countAllocation(size);
    return __libc_realloc(block, size);
}

void free(void* block) {
    count(&counted.releases, block != NULL ? 1 : 0);
    __libc_free(block);
}

void allocationCounts(AllocationCounts* counts) {
    *counts = counted;
}
