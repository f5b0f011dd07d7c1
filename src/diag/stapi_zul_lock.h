// Process-wide locks that know whether they have been initialised.
#ifndef ZULSTATS_DIAG_STAPI_ZUL_LOCK_H
#define ZULSTATS_DIAG_STAPI_ZUL_LOCK_H

#include <atomic>
#include <cstdint>

#include "platform/platform.h"

namespace stapi {

constexpr uint32_t kLockInitialised = 0xFFEEDDCC;
constexpr uint32_t kLockDestroyed = 0xCCDDEEFF;
constexpr uint32_t kLockBeingInitialised = 0xCCDDEE00;  // passes at once; nobody sees the lock half made

struct LockRecord {
    platform::Mutex criticalSection;
    std::atomic<uint32_t> state;  // kLockInitialised, kLockDestroyed, or anything else: never initialised
};

// 0, or 1 when the lock was initialised already; then it is left as it is. Two threads at once: one gets 0, the
// other 1.
int32_t initializeLock(LockRecord* lockPtr);
// 0 with the lock held, waiting as long as needed; -1 when the lock is not initialised.
int32_t requestLock(LockRecord* lockPtr);
// 0, or -1 when the lock is not initialised. The lock must be held by the calling thread.
int32_t releaseLock(LockRecord* lockPtr);
// 0, or -1 when the lock is not initialised. Nobody may hold the lock.
int32_t destroyLock(LockRecord* lockPtr);
// In a forked child: makes a lock anew that the forking thread may hold, and takes back the initialising that another
// thread had begun.
void renewLock(LockRecord* lockPtr);
// The state marker as it stands.
uint32_t lockState(const LockRecord* lockPtr);

// Holds a lock for a scope, in which the thread cannot be cancelled.
class LockScope {
  public:
    explicit LockScope(LockRecord* lockPtr) : lock_(lockPtr) {
        requestLock(lock_);
    }
    ~LockScope() {
        releaseLock(lock_);
    }
    LockScope(const LockScope&) = delete;
    LockScope& operator=(const LockScope&) = delete;

  private:
    platform::CancellationHold cancellationHold_;
    LockRecord* lock_;
};

}  // namespace stapi

#endif
