#include "allocation_faults.h"

#include <algorithm>
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
    int64_t strikes;
    int64_t allocations;
    bool isLedgerKept;
};

// The blocks of a ledger. They are few, so a search from the start is fast enough.
constexpr size_t kMostBlocks = 4096;
void* ledger[kMostBlocks];
size_t ledgerEntries = 0;
std::atomic<bool> isAnyLedgerKept{false};
std::atomic_flag ledgerLock = ATOMIC_FLAG_INIT;

class LedgerLock {
  public:
    LedgerLock() {
        while (ledgerLock.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~LedgerLock() {
        ledgerLock.clear(std::memory_order_release);
    }
    LedgerLock(const LedgerLock&) = delete;
    LedgerLock& operator=(const LedgerLock&) = delete;
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
    bool fails = threadState().strikes > 0 && threadState().andAllLater;
    if (threadState().countdown > 0) {
        --threadState().countdown;
        fails = fails || threadState().countdown == 0;
    }
    threadState().strikes += fails ? 1 : 0;
    return fails;
}

// A ledger without room counts the block, and never sees its release: the test then fails.
void* entered(void* block) {
    if (block != nullptr && isAnyLedgerKept.load(std::memory_order_relaxed) && threadState().isLedgerKept) {
        const LedgerLock lock;
        if (ledgerEntries < kMostBlocks) {
            ledger[ledgerEntries] = block;
        }
        ++ledgerEntries;
    }
    return block;
}

void strike(const void* block) {
    if (block != nullptr && isAnyLedgerKept.load(std::memory_order_relaxed)) {
        const LedgerLock lock;
        const size_t known = std::min(ledgerEntries, kMostBlocks);
        void** const found = std::find(ledger, ledger + known, block);
        if (found != ledger + known) {
            *found = ledger[known - 1];
            ledger[known - 1] = nullptr;
            --ledgerEntries;
        }
    }
}

}  // namespace

extern "C" {

// Names that the linker's wrapping prescribes.
void* __real_calloc(size_t count, size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __real_realloc(void* block, size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __wrap_calloc(size_t count, size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __wrap_realloc(void* block, size_t size);  // NOLINT(bugprone-reserved-identifier)
void __real_free(void* block);                   // NOLINT(bugprone-reserved-identifier)
void __wrap_free(void* block);                   // NOLINT(bugprone-reserved-identifier)

void* __wrap_calloc(size_t count, size_t size) {
    return shallFail() ? nullptr : entered(__real_calloc(count, size));
}

void* __wrap_realloc(void* block, size_t size) {
    void* enlarged = nullptr;
    if (!shallFail()) {
        strike(block);
        enlarged = entered(__real_realloc(block, size));
    }
    return enlarged;
}

void __wrap_free(void* block) {
    strike(block);
    __real_free(block);
}

}  // extern "C"

namespace test_support {

AllocationFault::AllocationFault(int64_t n, bool andAllLater) {
    threadState().countdown = n;
    threadState().andAllLater = andAllLater;
    threadState().strikes = 0;
}

AllocationFault::~AllocationFault() {
    threadState().countdown = 0;
    threadState().andAllLater = false;
    threadState().strikes = 0;
}

bool AllocationFault::hasStruck() const {
    return strikes() > 0;
}

int64_t AllocationFault::strikes() const {
    return threadState().strikes;
}

AllocationLedger::AllocationLedger() {
    const LedgerLock lock;
    ledgerEntries = 0;
    threadState().isLedgerKept = true;
    isAnyLedgerKept.store(true, std::memory_order_relaxed);
}

AllocationLedger::~AllocationLedger() {
    isAnyLedgerKept.store(false, std::memory_order_relaxed);
    threadState().isLedgerKept = false;
}

int64_t AllocationLedger::outstanding() const {
    const LedgerLock lock;
    return static_cast<int64_t>(ledgerEntries);
}

int64_t takeAllocationCount() {
    const int64_t count = threadState().allocations;
    threadState().allocations = 0;
    return count;
}

}  // namespace test_support
