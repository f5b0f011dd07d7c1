#include "allocation_faults.h"

#include <atomic>
#include <cstddef>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

namespace {

struct FaultState {
    int64_t countdown;  // 0: no fault is set
    bool andAllLater;
    bool struck;
    int64_t allocations;
};

#if defined(_WIN32)
// A thread_local variable is itself allocated on its first use there, which would come back here.
constexpr size_t kMostThreads = 4096;
FaultState states[kMostThreads];
std::atomic<size_t> statesUsed{0};
std::atomic<DWORD> stateSlot{TLS_OUT_OF_INDEXES};

DWORD slotOfStates() {
    DWORD slot = stateSlot.load();
    if (slot == TLS_OUT_OF_INDEXES) {
        const DWORD fresh = TlsAlloc();
        if (stateSlot.compare_exchange_strong(slot, fresh)) {
            slot = fresh;
        } else {
            TlsFree(fresh);
        }
    }
    return slot;
}

FaultState& threadState() {
    const DWORD lastError = GetLastError();  // which the calls below change
    const DWORD slot = slotOfStates();
    auto* found = static_cast<FaultState*>(TlsGetValue(slot));
    if (found == nullptr) {
        found = &states[statesUsed.fetch_add(1) % kMostThreads];
        TlsSetValue(slot, found);
    }
    SetLastError(lastError);
    return *found;
}
#else
FaultState& threadState() {
    thread_local FaultState state = {};
    return state;
}
#endif

bool shallFail() {
    ++threadState().allocations;
    bool fails = threadState().struck && threadState().andAllLater;
    if (threadState().countdown > 0) {
        --threadState().countdown;
        if (threadState().countdown == 0) {
            threadState().struck = true;
            fails = true;
        }
    }
    return fails;
}

}  // namespace

extern "C" {

// Names that the linker's wrapping prescribes.
void* __real_calloc(size_t count, size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __real_realloc(void* block, size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __wrap_calloc(size_t count, size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __wrap_realloc(void* block, size_t size);  // NOLINT(bugprone-reserved-identifier)

void* __wrap_calloc(size_t count, size_t size) {
    return shallFail() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, size_t size) {
    return shallFail() ? nullptr : __real_realloc(block, size);
}

}  // extern "C"

namespace test_support {

AllocationFault::AllocationFault(int64_t n, bool andAllLater) {
    threadState().countdown = n;
    threadState().andAllLater = andAllLater;
    threadState().struck = false;
}

AllocationFault::~AllocationFault() {
    threadState().countdown = 0;
    threadState().andAllLater = false;
    threadState().struck = false;
}

bool AllocationFault::hasStruck() const {
    return threadState().struck;
}

int64_t takeAllocationCount() {
    const int64_t count = threadState().allocations;
    threadState().allocations = 0;
    return count;
}

}  // namespace test_support
