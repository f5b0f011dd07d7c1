#include "allocation_faults.h"

#include <cstddef>

namespace {

struct FaultState {
    std::int64_t countdown;  // 0: no fault is set
    bool andAllLater;
    bool struck;
    std::int64_t allocations;
};

thread_local FaultState state = {};

bool shallFail() {
    ++state.allocations;
    bool fails = state.struck && state.andAllLater;
    if (state.countdown > 0) {
        --state.countdown;
        if (state.countdown == 0) {
            state.struck = true;
            fails = true;
        }
    }
    return fails;
}

}  // namespace

extern "C" {

// Names that the linker's wrapping prescribes.
void* __real_calloc(std::size_t count, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __real_realloc(void* block, std::size_t size);       // NOLINT(bugprone-reserved-identifier)
void* __wrap_calloc(std::size_t count, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __wrap_realloc(void* block, std::size_t size);       // NOLINT(bugprone-reserved-identifier)

void* __wrap_calloc(std::size_t count, std::size_t size) {
    return shallFail() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, std::size_t size) {
    return shallFail() ? nullptr : __real_realloc(block, size);
}

}  // extern "C"

namespace test_support {

AllocationFault::AllocationFault(std::int64_t n, bool andAllLater) {
    state.countdown = n;
    state.andAllLater = andAllLater;
    state.struck = false;
}

AllocationFault::~AllocationFault() {
    state.countdown = 0;
    state.andAllLater = false;
    state.struck = false;
}

bool AllocationFault::hasStruck() const {
    return state.struck;
}

std::int64_t takeAllocationCount() {
    const std::int64_t count = state.allocations;
    state.allocations = 0;
    return count;
}

}  // namespace test_support
